#pragma once

#include <cstddef>
#include <iterator>
#include <vector>

namespace Vorn::Vorncast::Decoders {

// Merges the frame lists of several cameras or channels into one order of recorder time: each
// round takes the head with the lowest signed recordedTime, and among equal times the head of the
// list that comes first. `take(record, listIndex)` receives the records in that order. Lists are
// usually few and already in time order each, so the heads are compared directly.
template <class List, class Take> void MergeByLowestTime(std::vector<List*>& lists, Take&& take) {
    using Iterator = decltype(std::begin(*lists.front()));
    std::vector<Iterator> heads, ends;
    for (List* list : lists) {
        heads.push_back(std::begin(*list));
        ends.push_back(std::end(*list));
    }
    for (;;) {
        size_t lowest = lists.size();
        for (size_t index = 0; index < lists.size(); ++index) {
            if (heads[index] != ends[index] &&
                (lowest == lists.size() || heads[index]->recordedTime < heads[lowest]->recordedTime)) {
                lowest = index;
            }
        }
        if (lowest == lists.size()) {
            return;
        }
        take(*heads[lowest], lowest);
        ++heads[lowest];
    }
}

} // namespace Vorn::Vorncast::Decoders
