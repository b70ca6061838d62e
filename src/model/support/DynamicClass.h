#pragma once

#include "model/support/Visibility.h"

#include "model/support/HandleSource.h"

namespace Vorn {

// Root of every object that crosses the C boundary: it holds its handle for its whole life.
class VORN_PLUGIN_API DynamicClass {
public:
    DynamicClass() : handle(HandleSource::Create(this)) {}
    DynamicClass(const DynamicClass&) = delete;
    DynamicClass& operator=(const DynamicClass&) = delete;
    virtual ~DynamicClass() { HandleSource::Destroy(handle); }

    int Handle() const { return handle; }

    // The object behind a handle when it is of type T, else null.
    template <class T> static T* FromHandle(int handle) {
        return dynamic_cast<T*>(static_cast<DynamicClass*>(HandleSource::Get(handle)));
    }

private:
    int handle = -1;
};

} // namespace Vorn
