#pragma once

// One opened container file and the index of its packets, on libavformat.

extern "C" {
#include <libavformat/avformat.h>
}

#include <cstdint>
#include <string>
#include <vector>

namespace Vorn::Vorncast::FfmpegPlugin {

// Ticks of 100 ns in a second, and 1970-01-01 in ticks since 0001-01-01.
constexpr int64_t TicksPerSecond = 10000000;
constexpr int64_t UnixEpochTicks = 621355968000000000;

// A container opened for reading, closed with the object.
class MediaInput {
public:
    MediaInput() = default;
    ~MediaInput();
    MediaInput(const MediaInput&) = delete;
    MediaInput& operator=(const MediaInput&) = delete;

    // Opens `path`; with `probeStreams`, also reads ahead until every stream's parameters are known.
    bool Open(const std::string& path, bool probeStreams);
    void Close();
    AVFormatContext* Format() const { return format; }
    AVStream* StreamAt(int32_t index) const { return format->streams[index]; }
    // The next packet of stream `streamIndex`, into `packet`; false at the end or on a read error.
    bool ReadPacketOf(int32_t streamIndex, AVPacket* packet);

private:
    AVFormatContext* format = nullptr;
};

// Where a packet stands in its file, as the demuxer gives it.
struct PacketEntry {
    int64_t pts;
    int64_t dts;
    int64_t pos;
    bool key;
};

// The frames of one stream. Packets are kept in decoding order; frames in presentation order, each
// with its time in ticks. Where the container stamps every packet, a frame's time is its presentation
// stamp; an elementary stream without stamps is timed by the frame rate, its frames in decoding order.
struct StreamIndex {
    std::vector<PacketEntry> packets;
    std::vector<int64_t> frameTimes;
    // Presentation stamps of the frames, in the stream's time base; empty for streams without stamps.
    std::vector<int64_t> frameStamps;
    int64_t frameTicks = TicksPerSecond / 25;

    bool Timed() const { return !frameStamps.empty(); }
    int32_t FrameCount() const { return static_cast<int32_t>(frameTimes.size()); }
    // The last frame whose time is at or before `ticks`; -1 before the first.
    int32_t FrameAtOrBefore(int64_t ticks) const;
    // The presentation index of a decoded frame's stamp; -1 when no frame of the index has it.
    int32_t FrameOfStamp(int64_t stamp) const;
    // The packet decoding starts at to reach `frame`: the last key packet whose frame is shown no later.
    int32_t StartPacketFor(int32_t frame) const;
};

// Reads every packet of an opened file once, without decoding, and indexes each stream.
void IndexStreams(MediaInput& input, std::vector<StreamIndex>* indexes);

// The ticks of `stamp` in time base `base`.
int64_t StampTicks(int64_t stamp, AVRational base);

} // namespace Vorn::Vorncast::FfmpegPlugin
