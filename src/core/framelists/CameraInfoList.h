#pragma once

#include "core/framelists/FrameRecords.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// A decoder's camera table: rows keyed by camera number, in the order they were first set. The
// array starts with room for 4 rows and doubles when full.
class CameraInfoList {
public:
    static constexpr int32_t StartCapacity = 4;

    CameraInfoList();
    CameraInfoList(const CameraInfoList&) = delete;
    CameraInfoList& operator=(const CameraInfoList&) = delete;
    ~CameraInfoList();

    // Overwrites the row with the same number, or adds one at the end.
    void Set(const CameraTag& camera);
    // Copies the row with this number; without one, out is zeroed with the number filled in.
    bool GetByNumber(uint16_t number, CameraTag& out) const;
    // Copies row index when it is in range; otherwise out is left as it was.
    bool GetByIndex(int32_t index, CameraTag& out) const;
    // Forgets every row; the storage is kept.
    void Clear() { count = 0; }

    int32_t Count() const { return count; }
    int32_t Capacity() const { return capacity; }

private:
    int32_t IndexOfNumber(uint16_t number) const;
    void Grow();

    CameraInfo* rows = nullptr;
    int32_t count = 0;
    int32_t capacity = 0;
};

} // namespace Vorn::Vorncast::Decoders
