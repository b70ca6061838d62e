#pragma once

#include "core/framelists/FrameRecords.h"
#include "core/framelists/QuickList.h"
#include "core/framelists/StreamTimes.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// The paged frame index with the time operations of the linked one. Records of type T start
// with `recordedTime` and `streamTime`, then `offset` and `size`.
template <class T> class QuickFrameItemList : public QuickList<T, 256, 256> {
public:
    // The stamp of the first record that has one, else 0.
    virtual int64_t GetFirstTime();
    // The stamp of the last record that has one, else 0.
    virtual int64_t GetLastTime();
    virtual int64_t EstimateFramePeriod() {
        return StreamTimes::EstimateFramePeriod(this->begin(), this->end(), this->count);
    }

    // The spreading form, the usual one; see StreamTimes::AssignSpreading.
    void AssignStreamTimes() { StreamTimes::AssignSpreading(this->begin(), this->end()); }
    // Every record one estimated period after the one before, from the first record's stamp.
    void AssignUniformStreamTimes() {
        StreamTimes::AssignUniform(this->begin(), this->end(), this->EstimateFramePeriod());
    }
    // The form whose stream times never run backwards, as on the standard linked list.
    void AssignMonotonicStreamTimes() { StreamTimes::AssignMonotonic(this->begin(), this->end()); }

    // The frame at or before time on the play-back axis, by binary search; -1 before the first.
    int32_t IndexAtStreamTime(int64_t time) const {
        return StreamTimes::SearchStreamTime(
            this->count, time, [this](int32_t index) { return this->SlotOf(index).streamTime; });
    }

    int32_t PreviousIndex(int32_t index) const { return StreamTimes::PreviousIndex(index, this->count); }
    int32_t NextIndex(int32_t index) const { return StreamTimes::NextIndex(index, this->count); }
};

// Adds the camera of a record.
template <class T> class BaseImageInfoList : public QuickFrameItemList<T> {
public:
    // The record's camera number; 0 for an index out of range.
    virtual uint16_t GetCamera(int32_t index) { return CameraNumberOf(this->ItemAt(index).camera); }
};

// The paged index of a file set with 64-bit offsets.
class MultiFileImageInfoList64 : public BaseImageInfoList<MultiFileImageInfo64> {};

template <class T> int64_t QuickFrameItemList<T>::GetFirstTime() {
    for (const T& record : *this) {
        if (record.recordedTime != 0) {
            return record.recordedTime;
        }
    }
    return 0;
}

template <class T> int64_t QuickFrameItemList<T>::GetLastTime() {
    for (int32_t index = this->count - 1; index >= 0; --index) {
        int64_t time = this->SlotOf(index).recordedTime;
        if (time != 0) {
            return time;
        }
    }
    return 0;
}

extern template class QuickFrameItemList<QuickFrameItem>;
extern template class QuickFrameItemList<MultiFileImageInfo64>;
extern template class BaseImageInfoList<MultiFileImageInfo64>;

} // namespace Vorn::Vorncast::Decoders
