#include "support/Json.h"

#include <cinttypes>
#include <cmath>
#include <cstdio>

namespace VorncastTool {

std::string JsonQuote(std::string_view text) {
    std::string quoted = "\"";
    for (const char c : text) {
        switch (c) {
        case '"':
            quoted += "\\\"";
            break;
        case '\\':
            quoted += "\\\\";
            break;
        case '\n':
            quoted += "\\n";
            break;
        case '\r':
            quoted += "\\r";
            break;
        case '\t':
            quoted += "\\t";
            break;
        default:
            if (static_cast<unsigned char>(c) < 0x20) {
                char escape[8];
                std::snprintf(escape, sizeof(escape), "\\u%04x", static_cast<unsigned char>(c));
                quoted += escape;
            } else {
                quoted += c;
            }
        }
    }
    return quoted + "\"";
}

void JsonWriter::NewLine() {
    text += '\n';
    text.append(levels.size() * 2, ' ');
}

void JsonWriter::BeforeValue() {
    if (afterKey) {
        afterKey = false;
        return;
    }
    if (!levels.empty()) {
        if (!levels.back().empty) {
            text += ',';
        }
        levels.back().empty = false;
        NewLine();
    }
}

JsonWriter& JsonWriter::BeginObject() {
    BeforeValue();
    text += '{';
    levels.push_back({true, true});
    return *this;
}

JsonWriter& JsonWriter::EndObject() {
    const bool wasEmpty = levels.back().empty;
    levels.pop_back();
    if (!wasEmpty) {
        NewLine();
    }
    text += '}';
    if (levels.empty()) {
        text += '\n';
    }
    return *this;
}

JsonWriter& JsonWriter::BeginArray() {
    BeforeValue();
    text += '[';
    levels.push_back({false, true});
    return *this;
}

JsonWriter& JsonWriter::EndArray() {
    const bool wasEmpty = levels.back().empty;
    levels.pop_back();
    if (!wasEmpty) {
        NewLine();
    }
    text += ']';
    if (levels.empty()) {
        text += '\n';
    }
    return *this;
}

JsonWriter& JsonWriter::Key(std::string_view name) {
    BeforeValue();
    text += JsonQuote(name);
    text += ": ";
    afterKey = true;
    return *this;
}

JsonWriter& JsonWriter::String(std::string_view value) {
    BeforeValue();
    text += JsonQuote(value);
    return *this;
}

JsonWriter& JsonWriter::Integer(int64_t value) {
    BeforeValue();
    text += std::to_string(value);
    return *this;
}

JsonWriter& JsonWriter::Unsigned(uint64_t value) {
    BeforeValue();
    text += std::to_string(value);
    return *this;
}

JsonWriter& JsonWriter::Number(double value) {
    if (!std::isfinite(value)) {
        return Null();
    }
    BeforeValue();
    char number[40];
    std::snprintf(number, sizeof(number), "%.17g", value);
    text += number;
    return *this;
}

JsonWriter& JsonWriter::Boolean(bool value) {
    BeforeValue();
    text += value ? "true" : "false";
    return *this;
}

JsonWriter& JsonWriter::Null() {
    BeforeValue();
    text += "null";
    return *this;
}

} // namespace VorncastTool
