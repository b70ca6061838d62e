#pragma once

// Command-line parsing: a command word, positional arguments and --options, with "--name value" and
// "--name=value" forms and "--" to end the options.

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace VorncastTool {

// A mistake in the command line; the tool prints it with the command's usage and exits with 2.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct OptionSpec {
    std::string name; // without the leading "--"
    bool takesValue = false;
};

class Arguments {
public:
    // Splits `words` (the words behind the command) by `options`; unknown options, a missing value and
    // a value given to a flag are usage errors.
    static Arguments Parse(const std::vector<std::string>& words, const std::vector<OptionSpec>& options);

    const std::vector<std::string>& Positional() const { return positional; }
    // The positional argument at `index`, or a usage error naming `what` when there is none.
    const std::string& Required(size_t index, const std::string& what) const;
    bool Flag(const std::string& name) const { return flags.count(name) != 0; }
    std::optional<std::string> Value(const std::string& name) const;
    // An integer option within [minimum, maximum]; `fallback` when absent.
    int64_t Integer(const std::string& name, int64_t fallback, int64_t minimum, int64_t maximum) const;
    // A recorder time option; nothing when absent, a usage error when malformed.
    std::optional<int64_t> Time(const std::string& name) const;
    // A usage error when more positional arguments were given than `count`.
    void ExpectAtMost(size_t count) const;

private:
    std::vector<std::string> positional;
    std::map<std::string, std::string> values;
    std::set<std::string> flags;
};

} // namespace VorncastTool
