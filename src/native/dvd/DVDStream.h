#pragma once

#include "model/decoder/SampleDescription.h"
#include "model/decoder/Stream.h"
#include "native/dvd/FFMpegFile.h"

#include <cstdint>
#include <memory>
#include <string>

struct AVCodec;
struct AVCodecContext;
struct AVFrame;
struct AVPacket;
struct AVStream;
struct SwsContext;

namespace Vorn::Vorncast {

class DVDDecoder;
class VOBUIndex;

// One elementary stream of a title set, video or audio, demultiplexed and decoded by FFmpeg from
// a chain of its own, so that the streams of a title seek independently. FFmpeg cannot step
// back, and a VOB has no frame index: every seek goes to the NAV pack of a VOBU of the index and
// decodes forward from there to the sample wanted.
class DVDStream : public Stream {
public:
    DVDStream();
    ~DVDStream() override;

    // Opens the chain `fileSet` (paths joined by ';') and takes FFmpeg's stream `ffmpegStream` of it.
    int Initialise(VOBUIndex* index, DVDDecoder* owner, const std::string& fileSet, int32_t ffmpegStream);
    void Close();

    int GoToTime(SeekRequest request, Sample* sample) override;
    int GetNextSample(SampleRequest request, Sample* sample) override;
    int GetPreviousSample(SampleRequest request, Sample* sample) override;
    SampleDescription* GetSampleDescription(int descriptionHandle) override;

private:
    struct FrameDeleter {
        void operator()(AVFrame* frame) const;
    };
    using FramePointer = std::unique_ptr<AVFrame, FrameDeleter>;
    // A decoded frame held until it is handed out or passed over.
    struct Decoded {
        FramePointer frame;
        int64_t time = 0;
        int64_t length = 0;
    };
    enum Position : int32_t { BeforeStart = 0, OnSample = 1, AfterEnd = 2 };

    int OpenFile(const std::string& fileSet);
    int Describe();
    void DescribeVideo();
    int DescribeAudio();
    int OpenCodec();

    int GoToVOBU(int32_t index);
    int SeekToVOBU(int32_t index);
    int DecodeNext(Decoded* out);
    int ReceiveFrame(AVFrame* frame);
    bool ReadOwnPacket();
    void RebasePacket();
    int64_t SampleLength(const AVFrame& frame) const;
    int StepWhileBefore(int64_t target, bool strictlyBefore, Decoded* held);
    int SampleAtOrBefore(int64_t target, int32_t firstVOBU, bool strictlyBefore, Decoded* found);
    int Deliver(Decoded& decoded, bool wantData, Sample* sample);
    int DeliverVideo(const AVFrame& frame, bool wantData, Sample* sample);
    int DeliverAudio(const AVFrame& frame, bool wantData, Sample* sample);
    int StepFromStart(const SampleRequest& request, Sample* sample);

    VOBUIndex* vobuIndex = nullptr;
    DVDDecoder* decoder = nullptr;
    Decoded pending; // decoded on the way to a sample, handed out by the next step forward
    int32_t currentVOBU = 0;
    int32_t position = BeforeStart;
    int64_t lastTime = 0;
    int64_t frameCounter = 0;
    int64_t firstPts = 0;
    int64_t decodedTime = 0; // of the frame decoded last, for one that comes without a time
    bool drained = false;

    FFMpegFile file;
    AVStream* stream = nullptr;
    int32_t streamIndex = -1;
    AVCodecContext* codecContext = nullptr;
    const AVCodec* codec = nullptr;
    SwsContext* scaler = nullptr;
    AVPacket* packet = nullptr;
    std::unique_ptr<SampleDescription> description;
};

} // namespace Vorn::Vorncast
