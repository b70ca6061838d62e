#pragma once

#include "core/framelists/FrameRecords.h"
#include "core/framelists/StreamTimes.h"
#include "model/support/List.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// The linked frame index: one heap node and one heap record per frame, for indexes of moderate
// size with large records. Records of type T start with `recordedTime` and `streamTime`.
template <class T> class TimeList : public List<T> {
protected:
    using Node = typename List<T>::Node;

public:
    // Walks the records from head to tail; the list's cursor stays where it was.
    class Iterator {
    public:
        explicit Iterator(Node* node) : node(node) {}
        T& operator*() const { return *node->item; }
        T* operator->() const { return node->item; }
        Iterator& operator++() {
            node = node->next;
            return *this;
        }
        bool operator==(const Iterator& other) const = default;

    private:
        Node* node;
    };

    Iterator begin() { return Iterator(this->head); }
    Iterator end() { return Iterator(nullptr); }

    // The stamp of the first record that has one, else 0.
    virtual int64_t GetFirstTime();
    // The stamp of the last record that has one, else 0.
    virtual int64_t GetLastTime();
    virtual int64_t EstimateFramePeriod() {
        return StreamTimes::EstimateFramePeriod(begin(), end(), this->count);
    }

    uint32_t MaxFrameSize() const { return maxFrameSize; }
    void Clear() {
        List<T>::Clear();
        maxFrameSize = 0;
    }

protected:
    // The node at index, or null out of range. The walk starts from whichever of head, tail and
    // cursor lies nearest, so stepping either way and jumping to either end cost little; the
    // node becomes the cursor.
    Node* NodeAt(int32_t index);
    void RaiseMaxFrameSize(uint32_t size) {
        if (size > maxFrameSize) {
            maxFrameSize = size;
        }
    }

    uint32_t maxFrameSize = 0;
};

// Adds access by value, appending and stream time assignment.
template <class T> class FrameItemList : public TimeList<T> {
public:
    // A copy of the record; a zeroed record for an index out of range.
    T GetAt(int32_t index);
    // The record itself, to be changed in place; null out of range.
    T* RecordAt(int32_t index) {
        auto* node = this->NodeAt(index);
        return node != nullptr ? node->item : nullptr;
    }
    void Append(const T& record) {
        this->Add(record);
        this->RaiseMaxFrameSize(record.size);
    }
    // Does nothing for an index out of range.
    void ReplaceAt(int32_t index, const T& record);

    // The spreading form, the usual one; see StreamTimes::AssignSpreading.
    void AssignStreamTimes() { StreamTimes::AssignSpreading(this->begin(), this->end()); }
    // Every record one estimated period after the one before, from the first record's stamp.
    void AssignUniformStreamTimes() {
        StreamTimes::AssignUniform(this->begin(), this->end(), this->EstimateFramePeriod());
    }
    // The form of the standard frame list, whose stream times never run backwards.
    void AssignMonotonicStreamTimes() { StreamTimes::AssignMonotonic(this->begin(), this->end()); }

    // The frame at or before time on the play-back axis, by binary search; -1 before the first.
    // Each probe walks from the previous one, so a search costs about as many node steps as the
    // list has records; the found frame is left as the cursor, which makes the next steps cheap.
    int32_t IndexAtStreamTime(int64_t time);

    int32_t PreviousIndex(int32_t index) const { return StreamTimes::PreviousIndex(index, this->count); }
    int32_t NextIndex(int32_t index) const { return StreamTimes::NextIndex(index, this->count); }
};

// Adds the camera of a record.
template <class T> class BaseFrameInfoList : public FrameItemList<T> {
public:
    // The record's camera number; 0 for an index out of range.
    virtual uint16_t GetCamera(int32_t index) {
        const T* record = this->RecordAt(index);
        return record != nullptr ? CameraNumberOf(record->camera) : 0;
    }
};

template <class T> int64_t TimeList<T>::GetFirstTime() {
    for (const T& record : *this) {
        if (record.recordedTime != 0) {
            return record.recordedTime;
        }
    }
    return 0;
}

template <class T> int64_t TimeList<T>::GetLastTime() {
    for (Node* node = this->tail; node != nullptr; node = node->previous) {
        if (node->item->recordedTime != 0) {
            return node->item->recordedTime;
        }
    }
    return 0;
}

template <class T> typename TimeList<T>::Node* TimeList<T>::NodeAt(int32_t index) {
    if (index < 0 || index >= this->count) {
        return nullptr;
    }
    Node* node = this->head;
    int64_t distance = index;
    if (this->count - 1 - index < distance) {
        node = this->tail;
        distance = this->count - 1 - index;
    }
    if (this->cursor != nullptr) {
        int64_t fromCursor = static_cast<int64_t>(index) - this->cursor->index;
        if ((fromCursor < 0 ? -fromCursor : fromCursor) < distance) {
            node = this->cursor;
        }
    }
    while (node->index < index) {
        node = node->next;
        ++this->walkSteps;
    }
    while (node->index > index) {
        node = node->previous;
        ++this->walkSteps;
    }
    this->cursor = node;
    return node;
}

template <class T> T FrameItemList<T>::GetAt(int32_t index) {
    const T* record = RecordAt(index);
    return record != nullptr ? *record : T{};
}

template <class T> void FrameItemList<T>::ReplaceAt(int32_t index, const T& record) {
    T* target = RecordAt(index);
    if (target != nullptr) {
        *target = record;
        this->RaiseMaxFrameSize(record.size);
    }
}

template <class T> int32_t FrameItemList<T>::IndexAtStreamTime(int64_t time) {
    // Every probe moves the cursor, so the next probe walks from the end of the interval that
    // the previous one left: half the interval each time.
    int32_t found = StreamTimes::SearchStreamTime(
        this->count, time, [this](int32_t index) { return RecordAt(index)->streamTime; });
    if (found >= 0) {
        this->NodeAt(found);
    }
    return found;
}

} // namespace Vorn::Vorncast::Decoders
