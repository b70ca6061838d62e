#pragma once

namespace Vorn::Vorncast::Decoders {

// Stops FFmpeg's default console logging, once for the process, so that damaged input decodes
// without printing. A log callback that another part of the library installs still receives
// every message: FFmpeg applies its level only in its own default callback.
void QuietFfmpegLog();

} // namespace Vorn::Vorncast::Decoders
