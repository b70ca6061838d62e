#include "core/framelists/CameraInfoList.h"

#include <cstring>

namespace Vorn::Vorncast::Decoders {

CameraInfoList::CameraInfoList() : rows(new CameraInfo[StartCapacity]()), capacity(StartCapacity) {}

CameraInfoList::~CameraInfoList() {
    delete[] rows;
}

void CameraInfoList::Set(const CameraTag& camera) {
    int32_t index = IndexOfNumber(camera.number);
    if (index < 0) {
        if (count == capacity) {
            Grow();
        }
        index = count++;
    }
    rows[index] = camera;
}

bool CameraInfoList::GetByNumber(uint16_t number, CameraTag& out) const {
    int32_t index = IndexOfNumber(number);
    if (index < 0) {
        std::memset(&out, 0, sizeof out);
        out.number = number;
        return false;
    }
    out = rows[index];
    return true;
}

bool CameraInfoList::GetByIndex(int32_t index, CameraTag& out) const {
    if (index < 0 || index >= count) {
        return false;
    }
    out = rows[index];
    return true;
}

int32_t CameraInfoList::IndexOfNumber(uint16_t number) const {
    for (int32_t index = 0; index < count; ++index) {
        if (rows[index].number == number) {
            return index;
        }
    }
    return -1;
}

void CameraInfoList::Grow() {
    int32_t grown = capacity * 2;
    CameraInfo* larger = new CameraInfo[grown]();
    std::memcpy(larger, rows, sizeof(CameraInfo) * static_cast<size_t>(count));
    delete[] rows;
    rows = larger;
    capacity = grown;
}

} // namespace Vorn::Vorncast::Decoders
