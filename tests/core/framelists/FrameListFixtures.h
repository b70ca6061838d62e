#pragma once

#include "core/framelists/FrameInfoList.h"
#include "core/framelists/QuickFrameItemList.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace FrameListFixtures {

using namespace Vorn::Vorncast::Decoders;

// 2020-01-01 00:00:00 in ticks since 0001-01-01.
constexpr int64_t BaseTime = 637134336000000000;
constexpr int64_t Second = 10000000;
constexpr int64_t Millisecond = 10000;

// The list types of both families that the time operations must treat alike.
using LinkedFrames = BaseFrameInfoList<FrameInfo>;
using LinkedFileFrames = BaseFrameInfoList<MultiFileFrameInfo>;
using PagedFrames = QuickFrameItemList<QuickFrameItem>;
using PagedFileFrames = MultiFileImageInfoList64;
using AllFrameLists = ::testing::Types<LinkedFrames, LinkedFileFrames, PagedFrames, PagedFileFrames>;

// Appends one record for each stamp; offset and size tell the records apart.
template <class List> void AppendStamps(List& list, const std::vector<int64_t>& stamps) {
    for (size_t i = 0; i < stamps.size(); ++i) {
        auto record = list.GetAt(-1);
        record.recordedTime = stamps[i];
        record.offset = static_cast<uint32_t>(i * 7);
        record.size = static_cast<uint32_t>(i + 1);
        list.Append(record);
    }
}

template <class List> void AppendStreamTimes(List& list, const std::vector<int64_t>& streamTimes) {
    for (int64_t time : streamTimes) {
        auto record = list.GetAt(-1);
        record.streamTime = time;
        list.Append(record);
    }
}

// Reads every stream time back by index.
template <class List> std::vector<int64_t> StreamTimesOf(List& list) {
    std::vector<int64_t> times;
    for (int32_t i = 0; i < list.Count(); ++i) {
        times.push_back(list.GetAt(i).streamTime);
    }
    return times;
}

// n copies of one stamp.
inline void Repeat(std::vector<int64_t>& stamps, int n, int64_t stamp) {
    stamps.insert(stamps.end(), n, stamp);
}

} // namespace FrameListFixtures
