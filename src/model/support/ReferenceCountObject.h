#pragma once

#include "model/support/Visibility.h"

#include <cstdint>

namespace Vorn {

// Base of shared values. The count is plain: shared values never cross threads. A new object
// has count 0 until its first holder counts itself; the holder that brings it back to 0 deletes it.
class VORN_PLUGIN_API ReferenceCountObject {
public:
    virtual ~ReferenceCountObject() = 0;

    void AddReference() { ++count; }
    void ReleaseReference() {
        if (--count == 0) {
            delete this;
        }
    }
    int32_t Count() const { return count; }

private:
    int32_t count = 0;
};

inline ReferenceCountObject::~ReferenceCountObject() = default;

} // namespace Vorn
