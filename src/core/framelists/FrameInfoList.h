#pragma once

#include "core/framelists/TimeList.h"

namespace Vorn::Vorncast::Decoders {

// The standard frame list of the format decoders. Its AssignStreamTimes is the monotonic form:
// call it on the concrete type (through a base it is the spreading form of FrameItemList).
class FrameInfoList : public BaseFrameInfoList<FrameInfo> {
public:
    void AssignStreamTimes() { AssignMonotonicStreamTimes(); }
};

// The standard frame list of a file set, with the same stream time rule.
class MultiFileFrameInfoList : public BaseFrameInfoList<MultiFileFrameInfo> {
public:
    void AssignStreamTimes() { AssignMonotonicStreamTimes(); }
};

extern template class TimeList<FrameInfo>;
extern template class FrameItemList<FrameInfo>;
extern template class BaseFrameInfoList<FrameInfo>;
extern template class TimeList<MultiFileFrameInfo>;
extern template class FrameItemList<MultiFileFrameInfo>;
extern template class BaseFrameInfoList<MultiFileFrameInfo>;

} // namespace Vorn::Vorncast::Decoders
