#include "codecs/video/FfmpegQuiet.h"

extern "C" {
#include <libavutil/log.h>
}

#include <mutex>

namespace Vorn::Vorncast::Decoders {

void QuietFfmpegLog() {
    static std::once_flag once;
    std::call_once(once, [] { av_log_set_level(AV_LOG_QUIET); });
}

} // namespace Vorn::Vorncast::Decoders
