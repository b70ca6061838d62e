#pragma once

// A small streaming JSON writer with two-space indentation, for the tool's --json output, its
// manifests and frame logs.

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace VorncastTool {

class JsonWriter {
public:
    JsonWriter& BeginObject();
    JsonWriter& EndObject();
    JsonWriter& BeginArray();
    JsonWriter& EndArray();
    // The name of the next member of the open object.
    JsonWriter& Key(std::string_view name);
    JsonWriter& String(std::string_view text);
    JsonWriter& Integer(int64_t value);
    JsonWriter& Unsigned(uint64_t value);
    JsonWriter& Number(double value);
    JsonWriter& Boolean(bool value);
    JsonWriter& Null();

    // Key and value in one call.
    template <class Value> JsonWriter& Member(std::string_view name, const Value& value);

    // The document; complete once every object and array is closed.
    const std::string& Text() const { return text; }

private:
    void BeforeValue();
    void NewLine();

    struct Level {
        bool isObject = false;
        bool empty = true;
    };
    std::string text;
    std::vector<Level> levels;
    bool afterKey = false;
};

// `text` as a quoted JSON string.
std::string JsonQuote(std::string_view text);

template <class Value> JsonWriter& JsonWriter::Member(std::string_view name, const Value& value) {
    Key(name);
    if constexpr (std::is_same_v<Value, bool>) {
        return Boolean(value);
    } else if constexpr (std::is_floating_point_v<Value>) {
        return Number(value);
    } else if constexpr (std::is_unsigned_v<Value>) {
        return Unsigned(value);
    } else if constexpr (std::is_integral_v<Value>) {
        return Integer(value);
    } else {
        return String(value);
    }
}

} // namespace VorncastTool
