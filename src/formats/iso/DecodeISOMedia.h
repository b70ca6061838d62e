#pragma once

#include "codecs/audio/IppDecoderAACAudio.h"
#include "codecs/audio/IppDecoderAMRAudio.h"
#include "codecs/video/IppDecoderH263.h"
#include "codecs/video/IppDecoderH264.h"
#include "codecs/video/IppDecoderMPEG4.h"
#include "core/decoder/FormatDecoder.h"
#include "formats/iso/ISOMediaFile.h"
#include "formats/shared/TypeDispatch.h"

#include <cstdint>
#include <memory>

namespace Vorn::Vorncast::Decoders {

// The decoder of ISO base media files: it walks the top-level boxes, reads "moov" into a movie,
// and decodes frames on demand from the movie's sample tables, which serve as its index. A frame
// is decoded by walking forward from its sync sample, and the walk goes on from the last decoded
// sample when that lies on the way, so that stepping forward decodes one sample a frame. Derived
// classes choose the codecs. The file stays open from load to unload.
class DecodeISOMedia : public FormatDecoder {
public:
    ~DecodeISOMedia() override;

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;
    bool GetAudio(int32_t size, uint8_t* buffer) override;
    int32_t IndexOfFrameAtStreamTime(int64_t streamTime) override;
    int32_t IndexOfAudioFrameAtStreamTime(int64_t streamTime) override;
    // None of the frame walks looks at the camera filter: the file has one camera.
    int32_t GetPreviousFrame(int32_t frame, int32_t cameraFilter) override;
    int32_t GetNextFrame(int32_t frame, int32_t cameraFilter) override;
    int32_t GetAudioFrameAtOrBefore(int32_t frame, int32_t cameraFilter) override;
    int32_t GetPreviousAudioFrame(int32_t frame, int32_t cameraFilter) override;
    int32_t GetNextAudioFrame(int32_t frame, int32_t cameraFilter) override;
    uint64_t GetFramePeriod() override;

    // The texts of the box walk, which the Vigilant variant words with its own name.
    struct LoadTexts {
        const char* readFailed;
        const char* endsAfterFile[2];
        const char* badMovie;
        const char* badFileType;
    };
    // The log texts of the phone formats' codec choice, worded with the class's name. A null text
    // leaves that codec out.
    struct CodecTexts {
        const char* mp4v;
        const char* h263;
        const char* h264;
        const char* samr;
        const char* mp4a;
        const char* failed;
    };

    static constexpr uint32_t FirstReadSize = 512;
    // A picture that has not been decoded yet shows this grey.
    static constexpr uint8_t UndecodedFill = 143;

protected:
    // Takes the movie object, which the variant chooses.
    DecodeISOMedia(const DecoderRow& row, ISOMediaFile* movie);

    void ForgetRecording() override;

    virtual FrameTimes GetFirstTimes();
    virtual FrameTimes GetLastTimes();
    // Chooses and initialises the active adapters for the current description index.
    virtual DecoderAction SetCodec() = 0;
    virtual void SetAspectRatio();
    // Refuses two foreign formats whose first bytes would pass as boxes.
    virtual bool IsValidHeader(const uint8_t* bytes, uint32_t size);

    virtual const LoadTexts& Texts() const;
    // True, after logging why, for a top-level box that the variant does not allow. `fromState` is
    // 1 for a box with a 32-bit size, 2 for one with a 64-bit size.
    virtual bool RefusesBox(uint32_t /*type*/, int32_t /*fromState*/) { return false; }
    virtual void BeforeMovieBox() {}
    virtual void ParseFreeBox(ByteView /*payload*/) {}

    FrameTimes GetFrameTimes() override;
    FrameTimes GetAudioFrameTimes() override;

    DecoderAction LoadingCore() override;
    DecoderAction PositioningCore() override;
    DecoderAction PositioningAudioCore() override;
    DecoderAction DecompressingCore() override;
    DecoderAction DecompressingAudioCore() override;
    DecoderAction UnloadingCore() override;

    // Starts the video adapter for the format of `track` at the current description index, with
    // the entry's configuration. DDA_FAILED for a format without a text, or when it cannot start.
    DecoderAction StartPhoneVideo(const ISOMediaTrack* track, const CodecTexts& texts);
    // Starts the audio adapter of each sound track in turn, so that the last one wins; the format
    // chosen, or 0 when the last sound track has none of this family's.
    uint32_t StartPhoneAudio(const CodecTexts& texts);

    // Frees the active video adapter's engine and clears it.
    void ReleaseVideo();
    // Initialises one video adapter with the current picture size and makes it the active one.
    bool StartVideo(IppDecoder& adapter, const uint8_t* config, int32_t configSize);
    // Initialises one audio adapter and makes it the active one.
    bool StartAudio(IppAudioDecoder& adapter);
    // The creation time of a track plus a time in ticks, saturated.
    static int64_t TrackTime(const ISOMediaTrack* track, int64_t ticks);

    int32_t fileId = -1;
    uint64_t fileSize = 0;
    uint64_t position = 0;
    uint32_t headerSize = 0;
    uint64_t boxSize = 0;
    uint32_t boxType = 0;
    uint64_t boxEnd = 0;
    std::unique_ptr<ISOMediaFile> movie;
    ISOMediaTrack* videoTrack = nullptr;
    ISOMediaTrack* audioTrack = nullptr;
    IppDecoderH263 h263Adapter;
    IppDecoderMPEG4 mpeg4Adapter;
    IppDecoderH264 h264Adapter;
    IppDecoderAMRAudio amrAdapter;
    IppDecoderAACAudio aacAdapter;
    IppDecoder* activeVideo = nullptr;
    IppAudioDecoder* activeAudio = nullptr;
    SampleInfo currentInfo = {};
    SampleInfo currentAudioInfo = {};
    uint32_t currentDescription = 0;
    int32_t nextVideoSample = -1;
    int32_t lastVideoSample = -1;
    int32_t nextAudioSample = -1;
    int32_t lastAudioSample = -1;
    std::unique_ptr<uint8_t[]> picture;
    int32_t pictureSize = 0;
    std::unique_ptr<uint8_t[]> audioBuffer;
    int32_t audioBufferSize = 0;
    // Bytes the walk to the current frame has read so far.
    uint64_t walkedBytes = 0;

private:
    using BoxStep = DecoderAction (DecodeISOMedia::*)(ByteView payload);
    static const TypeStep<BoxStep> TopLevelBoxes[];

    DecoderAction OnOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnFirstRead(ByteView bytes);
    DecoderAction ReadBoxHeader();
    DecoderAction OnBoxHeader(ByteView header);
    DecoderAction OnLargeSize(ByteView size);
    // `fromState` 1 for a box with a 32-bit size, 2 for one with a 64-bit size.
    DecoderAction WalkBox(int32_t fromState);
    DecoderAction OnMovie(ByteView payload);
    DecoderAction OnFileType(ByteView payload);
    DecoderAction OnFree(ByteView payload);
    DecoderAction NextBox();
    DecoderAction FinishLoading();
    void FindTracks();
    bool MakePictureBuffer();
    bool MakeAudioBuffer();
    int32_t ComputeAudioFrameBytes() const;
    void ReportPosition();

    DecoderAction ReadVideoSample();
    DecoderAction OnVideoSample(ByteView sample);
    DecoderAction ReadAudioSample();
    DecoderAction OnAudioSample(ByteView sample);
    // Reads one sample of a walk for `step`. A walk that has read more bytes than the file holds
    // reads no further.
    DecoderAction ReadSample(const SampleInfo& info, ReadStep<DecodeISOMedia> step, const char* failure);
    static int32_t IndexAtTime(const ISOMediaTrack* track, int32_t count, int64_t streamTime);
    static void LogFromParser(void* context, int32_t severity, const char* text);
};

} // namespace Vorn::Vorncast::Decoders
