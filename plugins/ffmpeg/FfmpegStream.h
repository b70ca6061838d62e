#pragma once

#include "MediaInput.h"

#include "model/decoder/Stream.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libswscale/swscale.h>
}

#include <string>

namespace Vorn::Vorncast::FfmpegPlugin {

// One video or audio stream of a container file. It keeps a demuxer and a decoder of its own, so that
// streams are stepped and sought independently. A frame is reached by decoding forward from the key
// packet before it: stepping forward goes on decoding, a seek or a step back starts again from a key.
class FfmpegStream : public Stream {
public:
    // `recorderClock` is added to each frame's stream time to give the recorder's time.
    FfmpegStream(const std::string& path, const AVStream* stream, StreamIndex index, int64_t recorderClock);
    ~FfmpegStream() override;

    // False when no decoder of the stream's codec opens.
    bool Ready() const { return codec != nullptr; }
    FrameTimes TimesOf(int32_t frame) const;
    int32_t FrameCount() const { return index.FrameCount(); }

    int GoToTime(SeekRequest request, Sample* sample) override;
    int GetNextSample(SampleRequest request, Sample* sample) override;
    int GetPreviousSample(SampleRequest request, Sample* sample) override;
    SampleDescription* GetSampleDescription(int descriptionHandle) override;

private:
    enum class Position { BeforeStart, OnSample, PastEnd };

    bool Aborted(AbortOperation abort) const { return abort != nullptr && abort() != 0; }
    int Deliver(int32_t frame, int32_t wantData, Sample* sample);
    uint32_t SampleBytes() const;

    // Leaves the decoded frame `frame` in `decoded`; false when the file does not give it (damage).
    bool DecodeFrame(int32_t frame);
    bool RestartAt(int32_t packet);
    bool SeekToPacket(int32_t packet);
    bool SkipToPacket(int32_t packet);
    // Decodes until a frame at or past `frame` is out; false at the end of the stream.
    bool DecodeUntil(int32_t frame);
    bool FeedNextPacket();
    void SendNextPacket();
    int32_t FrameOfDecoded();

    void WritePicture(uint8_t* picture);
    void WriteAudio(uint8_t* pcm, uint32_t capacity, uint32_t* size);

    std::string path;
    int32_t streamIndex;
    StreamIndex index;
    int64_t recorderClock;
    MediaInput input;
    AVCodecContext* codec = nullptr;
    AVPacket* packet = nullptr;
    AVFrame* decoded = nullptr;
    SwsContext* scaler = nullptr;
    VideoSampleDescription video;
    AudioSampleDescription audio;

    // The decoder's place: the next packet it reads, in decoding order, and the frame it last put out
    // (-1 none); for streams without stamps, the frame its next output will be.
    int32_t nextPacket = 0;
    int32_t decodedFrame = -1;
    int32_t nextOutput = 0;
    bool draining = false;
    bool decoderStarted = false;

    Position position = Position::BeforeStart;
    int32_t current = 0;
};

} // namespace Vorn::Vorncast::FfmpegPlugin
