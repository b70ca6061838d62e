#include "support/Arguments.h"

#include "support/RecorderTime.h"

#include <algorithm>
#include <charconv>

namespace VorncastTool {

namespace {

const OptionSpec* FindOption(const std::vector<OptionSpec>& options, const std::string& name) {
    auto found = std::find_if(options.begin(), options.end(),
                              [&](const OptionSpec& option) { return option.name == name; });
    return found == options.end() ? nullptr : &*found;
}

} // namespace

Arguments Arguments::Parse(const std::vector<std::string>& words, const std::vector<OptionSpec>& options) {
    Arguments parsed;
    bool optionsEnded = false;
    for (size_t index = 0; index < words.size(); ++index) {
        const std::string& word = words[index];
        if (optionsEnded || word.size() < 2 || word.compare(0, 2, "--") != 0) {
            parsed.positional.push_back(word);
            continue;
        }
        if (word == "--") {
            optionsEnded = true;
            continue;
        }
        const size_t equals = word.find('=');
        const std::string name = word.substr(2, equals == std::string::npos ? std::string::npos : equals - 2);
        const OptionSpec* option = FindOption(options, name);
        if (option == nullptr) {
            throw UsageError("unknown option --" + name);
        }
        if (!option->takesValue) {
            if (equals != std::string::npos) {
                throw UsageError("option --" + name + " takes no value");
            }
            parsed.flags.insert(name);
        } else if (equals != std::string::npos) {
            parsed.values[name] = word.substr(equals + 1);
        } else if (index + 1 < words.size()) {
            parsed.values[name] = words[++index];
        } else {
            throw UsageError("option --" + name + " needs a value");
        }
    }
    return parsed;
}

const std::string& Arguments::Required(size_t index, const std::string& what) const {
    if (index >= positional.size()) {
        throw UsageError("missing " + what);
    }
    return positional[index];
}

std::optional<std::string> Arguments::Value(const std::string& name) const {
    auto found = values.find(name);
    if (found == values.end()) {
        return std::nullopt;
    }
    return found->second;
}

int64_t Arguments::Integer(const std::string& name, int64_t fallback, int64_t minimum,
                           int64_t maximum) const {
    const std::optional<std::string> text = Value(name);
    if (!text) {
        return fallback;
    }
    int64_t value = 0;
    const char* end = text->data() + text->size();
    const auto [last, error] = std::from_chars(text->data(), end, value);
    if (error != std::errc() || last != end || value < minimum || value > maximum) {
        throw UsageError("--" + name + " wants a whole number from " + std::to_string(minimum) + " to " +
                         std::to_string(maximum) + ", not \"" + *text + "\"");
    }
    return value;
}

std::optional<int64_t> Arguments::Time(const std::string& name) const {
    const std::optional<std::string> text = Value(name);
    if (!text) {
        return std::nullopt;
    }
    const std::optional<int64_t> ticks = ParseRecorderTime(*text);
    if (!ticks) {
        throw UsageError("--" + name + " wants a time as YYYY/MM/DD hh:mm:ss.mmm, not \"" + *text + "\"");
    }
    return ticks;
}

void Arguments::ExpectAtMost(size_t count) const {
    if (positional.size() > count) {
        throw UsageError("unexpected argument \"" + positional[count] + "\"");
    }
}

} // namespace VorncastTool
