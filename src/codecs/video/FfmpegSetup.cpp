#include "codecs/video/FfmpegSetup.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/log.h>
#include <libavutil/mem.h>
}

#include <cstring>
#include <mutex>

namespace Vorn::Vorncast::Decoders {

void QuietFfmpegLog() {
    static std::once_flag once;
    std::call_once(once, [] { av_log_set_level(AV_LOG_QUIET); });
}

bool AttachExtradata(AVCodecContext* context, ByteView extradata) {
    if (extradata.Empty()) {
        return true;
    }
    auto* bytes = static_cast<uint8_t*>(av_mallocz(extradata.Size() + AV_INPUT_BUFFER_PADDING_SIZE));
    if (bytes == nullptr) {
        return false;
    }
    std::memcpy(bytes, extradata.Data(), extradata.Size());
    context->extradata = bytes;
    context->extradata_size = static_cast<int>(extradata.Size());
    return true;
}

} // namespace Vorn::Vorncast::Decoders
