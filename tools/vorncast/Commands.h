#pragma once

// The tool's commands. Each reads its arguments, writes its report to standard output and returns
// the process exit status; failures are thrown and reported by main.

#include "support/Arguments.h"

#include <string>

namespace VorncastTool {

class Collection;

// Exit statuses.
constexpr int ExitSuccess = 0;
constexpr int ExitFailure = 1;
constexpr int ExitUsage = 2;
constexpr int ExitNoDecoder = 3;
constexpr int ExitInterrupted = 130;

struct CommandContext {
    const Arguments& arguments;
    const Collection& collection;
    // The command line as given, for manifests.
    const std::vector<std::string>& commandLine;
};

int RunDecoders(const CommandContext& context);
int RunProbe(const CommandContext& context);
int RunFrames(const CommandContext& context);
int RunExport(const CommandContext& context);
int RunSheet(const CommandContext& context);
int RunConvert(const CommandContext& context);
int RunSample(const CommandContext& context);

} // namespace VorncastTool
