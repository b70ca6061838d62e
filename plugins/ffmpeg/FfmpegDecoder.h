#pragma once

#include "model/decoder/Decoder.h"

namespace Vorn::Vorncast::FfmpegPlugin {

// The file extensions of the containers the decoder is meant for; other files it refuses.
inline char ContainerExtensions[] = "dav;ts;mts;m2ts;h264;264;h265;265;hevc;mkv;mov;mp4;3gp;avi;mpg;vob;flv";

// Containers that libavformat reads: one track, a stream for each video and audio stream whose codec
// libavcodec decodes. Each frame's recorder time is the container's wall clock where it keeps one
// (the date and time of DHAV frames, the creation time of MP4, MOV and Matroska files plus the frame's
// stamp), else its stream time.
class FfmpegDecoder : public Decoder {
public:
    int Query(const Buffer& url, int32_t detail, QueryResult* result) override;
    int Load(const Buffer& url, ProgressCallback progress, MessageCallback message, AbortOperation abort,
             int32_t* resourceCount) override;
    // Files are closed with the streams that read them, when the decoder is released.
    int Close() override { return VC_Success; }
};

} // namespace Vorn::Vorncast::FfmpegPlugin
