#pragma once

#include "core/time/Ticks.h"

#include <algorithm>
#include <cstdint>
#include <optional>

// Time arithmetic shared by both frame list families. The algorithms take forward iterators
// over records with `recordedTime` and `streamTime`, so the linked and the paged lists run the
// same code, each walking its own storage in one pass.
namespace Vorn::Vorncast::Decoders::StreamTimes {

// Step between the frames of a recording whose stamps are all alike: 40 ms, 25 frames a second.
constexpr int64_t DefaultFrameStep = 400000;

// Stamps come straight from damaged files; arithmetic on them wraps instead of trapping.
inline int64_t Add(int64_t a, int64_t b) {
    return static_cast<int64_t>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b));
}
inline int64_t Subtract(int64_t a, int64_t b) {
    return static_cast<int64_t>(static_cast<uint64_t>(a) - static_cast<uint64_t>(b));
}

// How far a later stamp lies after an earlier one, at most one second.
inline int64_t GapUpToOneSecond(int64_t later, int64_t earlier) {
    uint64_t gap = static_cast<uint64_t>(later) - static_cast<uint64_t>(earlier);
    return static_cast<int64_t>(std::min<uint64_t>(gap, TicksPerSecond));
}

// Frame counts and tick sums of stamp intervals, sorted into classes by the rounded milliseconds
// per frame: a group goes to the lowest class k whose bound 2^k ms lies above its period. A median over the
// classes ignores both the whole-second coarseness of the stamps and the gaps of a recording.
class PeriodClasses {
public:
    static constexpr int ClassCount = 24;

    void AddGroup(int64_t frames, int64_t span) {
        int64_t milliseconds = Add(span, frames * 5000) / (frames * 10000);
        int k = 0;
        while (k < ClassCount - 1 && milliseconds >= (int64_t{1} << k)) {
            ++k;
        }
        frameCounts[k] += frames;
        tickSums[k] = Add(tickSums[k], span);
    }

    // The rounded mean period over the median class and the class above it; 0 without at
    // least two frames.
    int64_t MedianPeriod() const {
        int64_t total = 0;
        for (int k = 0; k < ClassCount; ++k) {
            total += frameCounts[k];
        }
        if (total <= 1) {
            return 0;
        }
        int m = 0;
        int64_t reached = frameCounts[0];
        while (reached < total / 2) {
            reached += frameCounts[++m];
        }
        int64_t frames = frameCounts[m] + frameCounts[m + 1];
        return Add(Add(tickSums[m], tickSums[m + 1]), frames / 2) / frames;
    }

private:
    // One class more than are filled: the neighbour of the top class reads as empty.
    int64_t frameCounts[ClassCount + 1] = {};
    int64_t tickSums[ClassCount + 1] = {};
};

// Frame period in ticks, estimated from the stamps. Runs of frames between two rising stamps form
// groups; stamps that are not positive are skipped, and a stamp that runs backwards only opens a
// new group.
template <class Iterator> int64_t EstimateFramePeriod(Iterator record, Iterator end, int32_t count) {
    if (count < 2) {
        return 0;
    }
    PeriodClasses classes;
    int32_t groupStart = 0;
    int64_t groupTime = record->recordedTime;
    // The final group closes at the last stamp that was looked at, so a trailing record without
    // a stamp cannot make its span negative.
    int64_t lastTime = groupTime;
    for (int32_t index = 0; record != end; ++record, ++index) {
        int64_t time = record->recordedTime;
        if (time <= 0 || time == groupTime) {
            continue;
        }
        if (time > groupTime) {
            classes.AddGroup(index - groupStart, Subtract(time, groupTime));
        }
        groupStart = index;
        groupTime = time;
        lastTime = time;
    }
    classes.AddGroup(count - groupStart, Subtract(lastTime, groupTime));
    return classes.MedianPeriod();
}

// Gives the records from first up to end the stream times start, start + step, ...
template <class Iterator> void SpaceEvenly(Iterator record, Iterator end, int64_t start, int64_t step) {
    for (int64_t position = start; record != end; ++record, position = Add(position, step)) {
        record->streamTime = position;
    }
}

// Uniform form: record i plays at the first record's stamp plus i periods.
template <class Iterator> void AssignUniform(Iterator first, Iterator end, int64_t period) {
    if (first != end) {
        SpaceEvenly(first, end, first->recordedTime, period);
    }
}

// The last group of a walk over stamp groups, still open when the records ran out.
template <class Iterator> struct OpenGroup {
    Iterator begin;
    int64_t time;
    int64_t count;
    bool only;
};

// Walks the records in groups of consecutive frames. A record whose stamp `joins(time,
// groupTime)` the open group belongs to it; any other closes the group, laid out by
// `close(groupBegin, groupEnd, groupTime, groupCount, time)`, and opens the next one. A lone group
// takes 40 ms steps from its own stamp; any other last group is handed back to the caller.
template <class Iterator, class Joins, class Close>
std::optional<OpenGroup<Iterator>> WalkStampGroups(Iterator first, Iterator end, Joins&& joins,
                                                   Close&& close) {
    if (first == end) {
        return std::nullopt;
    }
    OpenGroup<Iterator> group{first, first->recordedTime, 1, true};
    Iterator record = first;
    for (++record; record != end; ++record) {
        int64_t time = record->recordedTime;
        if (joins(time, group.time)) {
            ++group.count;
            continue;
        }
        close(group.begin, record, group.time, group.count, time);
        group = {record, time, 1, false};
    }
    if (group.only) {
        SpaceEvenly(group.begin, end, group.time, DefaultFrameStep);
        return std::nullopt;
    }
    return group;
}

// Spreading form: the frames that bear one stamp are spread over the interval up to the next
// later stamp, at most one second, half a step in from its start. A frame whose stamp is not
// later joins the open group. The last group takes one second, or 40 ms steps from its own
// stamp when it is the only one.
template <class Iterator> void AssignSpreading(Iterator first, Iterator end) {
    auto last = WalkStampGroups(
        first, end, [](int64_t time, int64_t groupTime) { return time <= groupTime; },
        [](Iterator begin, Iterator groupEnd, int64_t groupTime, int64_t count, int64_t nextTime) {
            int64_t step = GapUpToOneSecond(nextTime, groupTime) / count;
            SpaceEvenly(begin, groupEnd, Add(groupTime, step / 2), step);
        });
    if (last) {
        int64_t step = TicksPerSecond / last->count;
        SpaceEvenly(last->begin, end, Add(last->time, step / 2), step);
    }
}

// The form of the standard frame list. A frame without a stamp, or with the stamp of the group's
// first frame, joins the group; any other stamp closes it, one that runs backwards with a full
// second. Groups are laid out from a running position that starts at the first stamp, advances
// by each closed group's interval and is raised to a group's own stamp when that is later.
// Members sit at the position itself, not half a step in: the position is where the previous
// group's interval ended, so each group starts at or after the end of the one before, and
// stream times never run backwards, across backward jumps and stamp-less frames alike.
template <class Iterator> void AssignMonotonic(Iterator first, Iterator end) {
    int64_t position = first != end ? first->recordedTime : 0;
    auto last = WalkStampGroups(
        first, end, [](int64_t time, int64_t groupTime) { return time == 0 || time == groupTime; },
        [&position](Iterator begin, Iterator groupEnd, int64_t groupTime, int64_t count, int64_t nextTime) {
            int64_t interval = nextTime > groupTime ? GapUpToOneSecond(nextTime, groupTime) : TicksPerSecond;
            int64_t start = std::max(position, groupTime);
            SpaceEvenly(begin, groupEnd, start, interval / count);
            position = Add(start, interval);
        });
    if (last) {
        SpaceEvenly(last->begin, end, std::max(position, last->time), TicksPerSecond / last->count);
    }
}

// Binary search on stream times: the frame at or before `time` (never the nearer one after it),
// -1 before the first frame, the last frame at or after the last one. Among frames with equal
// stream times it answers the first one a probe hits. streamTimeAt(i) reads record i.
template <class StreamTimeAt>
int32_t SearchStreamTime(int32_t count, int64_t time, StreamTimeAt&& streamTimeAt) {
    if (count <= 0) {
        return -1;
    }
    int32_t high = count - 1;
    if (time >= streamTimeAt(high)) {
        return high;
    }
    int64_t first = streamTimeAt(0);
    if (time == first) {
        return 0;
    }
    if (time < first) {
        return -1;
    }
    int32_t low = 0;
    while (high - low > 1) {
        int32_t mid = (low + high) / 2;
        int64_t probed = streamTimeAt(mid);
        if (probed == time) {
            return mid;
        }
        if (probed < time) {
            low = mid;
        } else {
            high = mid;
        }
    }
    return low;
}

// The plain steps through an index of count frames.
inline int32_t PreviousIndex(int32_t index, int32_t count) {
    if (index < 1) {
        return -1;
    }
    return index >= count ? count - 1 : index - 1;
}
inline int32_t NextIndex(int32_t index, int32_t count) {
    if (index < 0) {
        return 0;
    }
    return index < count - 1 ? index + 1 : -1;
}

} // namespace Vorn::Vorncast::Decoders::StreamTimes
