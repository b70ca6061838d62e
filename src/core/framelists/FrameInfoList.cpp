#include "core/framelists/FrameInfoList.h"

namespace Vorn::Vorncast::Decoders {

template class TimeList<FrameInfo>;
template class FrameItemList<FrameInfo>;
template class BaseFrameInfoList<FrameInfo>;
template class TimeList<MultiFileFrameInfo>;
template class FrameItemList<MultiFileFrameInfo>;
template class BaseFrameInfoList<MultiFileFrameInfo>;

} // namespace Vorn::Vorncast::Decoders
