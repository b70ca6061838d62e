#pragma once

#include "core/time/TimeZoneInformation.h"
#include "core/time/TimeZoneRules.h"
#include "formats/shared/FrameListDecoder.h"
#include "formats/synetics/SyneticsInputChannel.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Vorn::Vorncast::Decoders {

// A Synetics recording: pairs of MPEG-2 files, one of I frames and one of P and B frames, each
// with a 2288-byte header (the camera's name, its time zone) and an index of 36-byte records in
// front of the pictures. Every picture is a small piece of program stream. The indexes of all
// pairs make one list in time order; each camera is decoded by its own channel, which keeps its
// own pair of files open.
class DecodeSynetics : public FrameListDecoder<SyneticsFrameList> {
public:
    using FrameListDecoder::FrameListDecoder;

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;

protected:
    void ForgetRecording() override;
    DecoderAction LoadingCore() override;
    DecoderAction PositioningCore() override;
    DecoderAction DecompressingCore() override;
    FrameTimes GetFrameTimes() override;

private:
    // The I frame file and the P and B file of a pair, relative to the search root; the second
    // may be empty.
    struct FilePair {
        std::string names[2];
    };
    struct FileHeader {
        uint32_t riff;
        uint32_t mustBeZero;
        uint32_t indexBytes;
        uint32_t count;
        std::string camera;
    };
    static constexpr uint32_t HeaderSize = 2288;
    static constexpr uint32_t RecordSize = 36;

    DecoderAction OnListed(bool ok, FileList& listed);
    bool MakePairs(FileList& listed);
    DecoderAction OpenPairFile();
    DecoderAction OnPairFileOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnHeader(ByteView header);
    DecoderAction OnIndex(ByteView index);
    DecoderAction OnPairFileClosed(int32_t fileId);
    uint16_t CameraNumber(const std::string& name);
    DecoderAction FinishIndex();
    DecoderAction ProbeNextCamera();
    DecoderAction OnProbeOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnProbeFrame(ByteView bytes);
    DecoderAction OnProbeClosed(int32_t fileId);
    DecoderAction Finish();

    DecoderAction ReadWalkFrame();
    DecoderAction OnWalkFrame(bool ok, ByteView bytes);
    DecoderAction CloseChannelFiles();
    DecoderAction OnChannelFileClosed(int32_t fileId);
    DecoderAction OpenChannelFile(uint8_t kind);
    DecoderAction OnChannelFileOpened(int32_t fileId, uint64_t fileSize);
    std::string PathOf(int32_t pair, uint8_t kind) const;

    std::string root;
    std::vector<FilePair> pairs;
    std::vector<std::string> cameraNames;
    std::vector<std::unique_ptr<SyneticsInputChannel>> channels;
    TimeZoneInformation timeZone{};
    TimeZoneRules zoneRules;

    int32_t pairIndex = 0;
    uint8_t fileKind = 0;
    int32_t fileId = -1;
    uint32_t recordCount = 0;
    std::string pairCamera;
    size_t probedChannels = 0;
    SyneticsInputChannel* fetching = nullptr;
};

} // namespace Vorn::Vorncast::Decoders
