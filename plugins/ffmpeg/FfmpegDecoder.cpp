#include "FfmpegDecoder.h"

#include "FfmpegStream.h"
#include "MediaInput.h"

extern "C" {
#include <libavutil/parseutils.h>
}

#include <cstring>
#include <memory>
#include <strings.h>

namespace Vorn::Vorncast::FfmpegPlugin {

namespace {

bool HasContainerExtension(const char* path) {
    const char* dot = std::strrchr(path, '.');
    const char* slash = std::strrchr(path, '/');
    if (dot == nullptr || (slash != nullptr && dot < slash)) {
        return false;
    }
    const size_t length = std::strlen(dot + 1);
    for (const char* item = ContainerExtensions; *item != 0;) {
        const char* end = std::strchr(item, ';');
        const size_t itemLength = end != nullptr ? static_cast<size_t>(end - item) : std::strlen(item);
        if (itemLength == length && strncasecmp(item, dot + 1, length) == 0) {
            return true;
        }
        item += itemLength + (end != nullptr ? 1 : 0);
    }
    return false;
}

bool Decodable(const AVStream* stream) {
    const AVCodecParameters* parameters = stream->codecpar;
    const bool video =
        parameters->codec_type == AVMEDIA_TYPE_VIDEO && parameters->width > 0 && parameters->height > 0;
    const bool audio = parameters->codec_type == AVMEDIA_TYPE_AUDIO &&
                       parameters->ch_layout.nb_channels > 0 && parameters->sample_rate > 0;
    return (video || audio) && avcodec_find_decoder(parameters->codec_id) != nullptr;
}

bool HasDecodableVideo(const AVFormatContext* format) {
    for (unsigned stream = 0; stream < format->nb_streams; ++stream) {
        if (format->streams[stream]->codecpar->codec_type == AVMEDIA_TYPE_VIDEO &&
            Decodable(format->streams[stream])) {
            return true;
        }
    }
    return false;
}

// What is added to a frame's stream time to give the recorder's time. DHAV stamps are the recorder's
// date and time in milliseconds since 1970; a creation time counts from its own moment; without
// either the stream time stands as the recorder's.
int64_t RecorderClock(const AVFormatContext* format) {
    if (std::strcmp(format->iformat->name, "dhav") == 0) {
        return UnixEpochTicks;
    }
    const AVDictionaryEntry* creation = av_dict_get(format->metadata, "creation_time", nullptr, 0);
    int64_t microseconds = 0;
    if (creation != nullptr && av_parse_time(&microseconds, creation->value, 0) == 0) {
        return UnixEpochTicks + microseconds * 10;
    }
    return 0;
}

} // namespace

int FfmpegDecoder::Query(const Buffer& url, int32_t detail, QueryResult* result) {
    std::memset(result, 0, sizeof(*result));
    if (url.Text() == nullptr || !HasContainerExtension(url.Text())) {
        return VC_Success;
    }
    MediaInput input;
    result->canLoad =
        input.Open(url.Text(), detail != 0) && (detail == 0 || HasDecodableVideo(input.Format())) ? 1 : 0;
    return VC_Success;
}

int FfmpegDecoder::Load(const Buffer& url, ProgressCallback progress, MessageCallback, AbortOperation abort,
                        int32_t* resourceCount) {
    MediaInput input;
    std::vector<StreamIndex> indexes;
    if (url.Text() == nullptr || !input.Open(url.Text(), true) || !HasDecodableVideo(input.Format())) {
        return VC_GeneralFailure;
    }
    // The packets the probe read are handed out again, so the index starts at the file's first one.
    IndexStreams(input, &indexes);
    if (abort != nullptr && abort() != 0) {
        return VC_UserAborted;
    }
    const int64_t clock = RecorderClock(input.Format());
    bool timedByVideo = false;
    auto track = std::make_unique<Track>();
    track->SetName(Buffer(input.Format()->iformat->long_name != nullptr ? input.Format()->iformat->long_name
                                                                        : input.Format()->iformat->name));
    for (unsigned number = 0; number < input.Format()->nb_streams; ++number) {
        const AVStream* stream = input.Format()->streams[number];
        if (!Decodable(stream) || indexes[number].FrameCount() == 0) {
            continue;
        }
        auto ffmpegStream =
            std::make_unique<FfmpegStream>(url.Text(), stream, std::move(indexes[number]), clock);
        if (!ffmpegStream->Ready()) {
            continue;
        }
        // The track's span is its first video stream's.
        if (!timedByVideo) {
            track->startTime = ffmpegStream->TimesOf(0);
            track->endTime = ffmpegStream->TimesOf(ffmpegStream->FrameCount() - 1);
            timedByVideo = ffmpegStream->type == StreamVideo;
        }
        track->AddStream(ffmpegStream.release());
    }
    if (track->streamCount == 0) {
        return VC_GeneralFailure;
    }
    AddTrack(track.release());
    AddResource(url, 0);
    *resourceCount = GetResourceCount();
    if (progress != nullptr) {
        progress(1.0);
    }
    return VC_Success;
}

} // namespace Vorn::Vorncast::FfmpegPlugin
