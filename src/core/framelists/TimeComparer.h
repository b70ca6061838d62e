#pragma once

#include "model/support/Comparer.h"

namespace Vorn::Vorncast::Decoders {

// Orders frame records by their recorder's stamp; given to List<T>::Sort to put a merged index
// in time order.
template <class T> class TimeComparer : public Comparer<T> {
public:
    int Compare(const T* a, const T* b) override {
        if (a->recordedTime < b->recordedTime) {
            return -1;
        }
        return a->recordedTime > b->recordedTime ? 1 : 0;
    }
};

} // namespace Vorn::Vorncast::Decoders
