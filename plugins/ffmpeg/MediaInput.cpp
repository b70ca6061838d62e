#include "MediaInput.h"

#include <algorithm>

namespace Vorn::Vorncast::FfmpegPlugin {

MediaInput::~MediaInput() {
    Close();
}

bool MediaInput::Open(const std::string& path, bool probeStreams) {
    Close();
    if (avformat_open_input(&format, path.c_str(), nullptr, nullptr) < 0) {
        format = nullptr;
        return false;
    }
    if (probeStreams && avformat_find_stream_info(format, nullptr) < 0) {
        Close();
        return false;
    }
    return true;
}

void MediaInput::Close() {
    if (format != nullptr) {
        avformat_close_input(&format);
    }
}

bool MediaInput::ReadPacketOf(int32_t streamIndex, AVPacket* packet) {
    while (av_read_frame(format, packet) >= 0) {
        if (packet->stream_index == streamIndex) {
            return true;
        }
        av_packet_unref(packet);
    }
    return false;
}

int64_t StampTicks(int64_t stamp, AVRational base) {
    return av_rescale_q(stamp, base, AVRational{1, static_cast<int>(TicksPerSecond)});
}

namespace {

// The frame rate a stream declares, for stepping through an elementary stream without stamps.
int64_t DeclaredFrameTicks(const AVStream* stream) {
    for (AVRational rate : {stream->avg_frame_rate, stream->r_frame_rate}) {
        if (rate.num > 0 && rate.den > 0) {
            return av_rescale(TicksPerSecond, rate.den, rate.num);
        }
    }
    return TicksPerSecond / 25;
}

void FinishIndex(const AVStream* stream, StreamIndex* index) {
    const bool stamped = !index->packets.empty() &&
                         std::all_of(index->packets.begin(), index->packets.end(),
                                     [](const PacketEntry& packet) { return packet.pts != AV_NOPTS_VALUE; });
    index->frameTicks = DeclaredFrameTicks(stream);
    if (stamped) {
        for (const PacketEntry& packet : index->packets) {
            index->frameStamps.push_back(packet.pts);
        }
        std::sort(index->frameStamps.begin(), index->frameStamps.end());
        index->frameStamps.erase(std::unique(index->frameStamps.begin(), index->frameStamps.end()),
                                 index->frameStamps.end());
        for (int64_t stamp : index->frameStamps) {
            index->frameTimes.push_back(StampTicks(stamp, stream->time_base));
        }
        return;
    }
    for (size_t frame = 0; frame < index->packets.size(); ++frame) {
        index->frameTimes.push_back(static_cast<int64_t>(frame) * index->frameTicks);
    }
}

} // namespace

// Containers without a header make a stream when its first packet comes, so the index grows with them.
void IndexStreams(MediaInput& input, std::vector<StreamIndex>* indexes) {
    indexes->clear();
    AVPacket* packet = av_packet_alloc();
    while (packet != nullptr && av_read_frame(input.Format(), packet) >= 0) {
        indexes->resize(input.Format()->nb_streams);
        if (packet->stream_index >= 0 && packet->stream_index < static_cast<int>(indexes->size())) {
            (*indexes)[packet->stream_index].packets.push_back(
                {packet->pts, packet->dts, packet->pos, (packet->flags & AV_PKT_FLAG_KEY) != 0});
        }
        av_packet_unref(packet);
    }
    indexes->resize(input.Format()->nb_streams);
    av_packet_free(&packet);
    for (size_t stream = 0; stream < indexes->size(); ++stream) {
        FinishIndex(input.StreamAt(static_cast<int32_t>(stream)), &(*indexes)[stream]);
    }
}

int32_t StreamIndex::FrameAtOrBefore(int64_t ticks) const {
    auto after = std::upper_bound(frameTimes.begin(), frameTimes.end(), ticks);
    return static_cast<int32_t>(after - frameTimes.begin()) - 1;
}

int32_t StreamIndex::FrameOfStamp(int64_t stamp) const {
    auto found = std::lower_bound(frameStamps.begin(), frameStamps.end(), stamp);
    return found != frameStamps.end() && *found == stamp ? static_cast<int32_t>(found - frameStamps.begin())
                                                         : -1;
}

// A frame shown before a key packet belongs to an earlier key: decoding from the last key shown at or
// before the frame reaches it, also where leading pictures of an open group refer further back.
int32_t StreamIndex::StartPacketFor(int32_t frame) const {
    int32_t start = 0;
    for (int32_t packet = 0; packet < static_cast<int32_t>(packets.size()); ++packet) {
        const PacketEntry& entry = packets[packet];
        // A packet decoded after the frame's time, or after the frame itself, is shown after it too.
        if (Timed() ? entry.dts != AV_NOPTS_VALUE && entry.dts > frameStamps[frame] : packet > frame) {
            break;
        }
        const bool shownNoLater = Timed() ? entry.pts <= frameStamps[frame] : packet <= frame;
        if (entry.key && shownNoLater) {
            start = packet;
        }
    }
    return start;
}

} // namespace Vorn::Vorncast::FfmpegPlugin
