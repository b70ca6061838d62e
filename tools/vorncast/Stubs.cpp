#include "vorncast/Commands.h"
namespace VorncastTool {
int RunConvert(const CommandContext&) {
    return 1;
}
} // namespace VorncastTool
