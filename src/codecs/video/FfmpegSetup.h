#pragma once

#include "core/binary/ByteView.h"

struct AVCodecContext;

namespace Vorn::Vorncast::Decoders {

// Stops FFmpeg's default console logging, once for the process, so that damaged input decodes
// without printing. A log callback that another part of the library installs still receives
// every message: FFmpeg applies its level only in its own default callback.
void QuietFfmpegLog();

// Gives a decoder context, before it is opened, a copy of the codec's configuration bytes with the
// zero padding libavcodec reads past their end. Nothing to attach is no failure; false when the
// copy cannot be allocated.
bool AttachExtradata(AVCodecContext* context, ByteView extradata);

} // namespace Vorn::Vorncast::Decoders
