#pragma once

#include "model/support/Limits.h"
#include <vorncast/VorncastDecoders.h>

namespace Vorn::Vorncast {

// The records that travel between host and decoders are the C records of the public header.
using FrameTimes = VcFrameTimes;
using Sample = VcSample;
using SampleRequest = VcSampleRequest;
using SeekRequest = VcSeekRequest;
using QueryResult = VcQueryResult;
using TrackInfo = VcTrackInfo;
using StreamInfo = VcStreamInfo;
using AbortOperation = VcAbortOperation;
using ProgressCallback = VcProgressCallback;
using MessageCallback = VcMessageCallback;

enum StreamType : int32_t {
    StreamVideo = VC_StreamVideo,
    StreamAudio = VC_StreamAudio,
};

constexpr int32_t MaxNativeImageBytes = 0x9000000;

} // namespace Vorn::Vorncast
