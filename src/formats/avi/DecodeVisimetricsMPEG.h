#pragma once

#include "codecs/audio/IppDecoderMP3Audio.h"
#include "formats/avi/DecodeOctarIESS.h"

namespace Vorn::Vorncast::Decoders {

// Visimetrics MPEG-2 recordings: one AVI file of MPEG-2 video, a "txts" stream whose first
// SYSTEMTIME starts the recording, and MP3 audio, which is the clock: the video's frames are
// spread over the time its audio frames take.
class DecodeVisimetricsMPEG : public DecodeOctarIESS {
public:
    explicit DecodeVisimetricsMPEG(const DecoderRow& row);

    bool GetAudio(int32_t size, uint8_t* buffer) override;
    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;
    int32_t IndexOfAudioFrameAtStreamTime(int64_t streamTime) override;
    int32_t GetAudioFrameAtOrBefore(int32_t frame, int32_t camera) override;
    int32_t GetPreviousAudioFrame(int32_t frame, int32_t camera) override;
    int32_t GetNextAudioFrame(int32_t frame, int32_t camera) override;

protected:
    // An MPEG audio frame of 1152 samples at 48 kHz.
    static constexpr int64_t AudioFrameTicks = 240000;

    void ForgetRecording() override;
    bool ValidateFourCC(uint32_t code) override { return code == FourCCLE("MPEG"); }
    DecoderAction ListRecordingFiles() override { return BaseAVIDecoder::ListRecordingFiles(); }
    DecoderAction ProcessFileList(FileList& listed) override;
    std::unique_ptr<IppDecoder> MakeMpeg2Decoder() override;
    void MetaDataReadParameters(uint64_t* offset, uint32_t* size) override;
    DecoderAction ProcessMetaData(ByteView bytes) override;
    FrameTimes GetAudioFrameTimes() override;
    uint32_t OwnFrameBytes(const AVIMultiFileFrameInfo& frame) override;
    DecoderAction DecompressingAudioCore() override;

private:
    void TakeAudioStream();
    DecoderAction SpreadTimes();
    DecoderAction OnAudioFileOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction ReadAudioFrame();
    DecoderAction OnAudioFrame(ByteView bytes);

    AVIMultiFileFrameInfoList audioFrames;
    bool audioTaken = false;
    int64_t firstTime = 0;
    int32_t audioFileId = -1;
    uint32_t audioBytes = 0;
    IppDecoderMP3Audio mp3;
    std::vector<uint8_t> pieces;
};

} // namespace Vorn::Vorncast::Decoders
