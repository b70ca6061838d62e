#include "core/framelists/QuickFrameItemList.h"

namespace Vorn::Vorncast::Decoders {

template class QuickFrameItemList<QuickFrameItem>;
template class QuickFrameItemList<MultiFileImageInfo64>;
template class BaseImageInfoList<MultiFileImageInfo64>;

} // namespace Vorn::Vorncast::Decoders
