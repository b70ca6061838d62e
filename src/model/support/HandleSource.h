#pragma once

#include "model/support/Visibility.h"

namespace Vorn {

// Turns objects into the 32-bit handles that cross the C boundary. A handle is nonzero and
// carries a generation, so that a released handle resolves to null and the same value is not
// handed out again for a long while.
class VORN_PLUGIN_API HandleSource {
public:
    static int Create(void* object);
    static void* Get(int handle);
    static void Destroy(int handle);
    // Number of live handles; for tests and leak checks.
    static int LiveCount();
};

} // namespace Vorn
