#include "vorncast/Commands.h"
namespace VorncastTool {
int RunSheet(const CommandContext&) {
    return 1;
}
int RunConvert(const CommandContext&) {
    return 1;
}
int RunSample(const CommandContext&) {
    return 1;
}
} // namespace VorncastTool
