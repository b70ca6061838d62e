#pragma once

#include "codecs/adv601/ADV601Decoder.h"
#include "core/decoder/ReadBuffer.h"
#include "formats/darlex/DarlexDelegates.h"
#include "formats/darlex/DarlexRecords.h"
#include "formats/shared/LoadingDelegate.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// The disk image of a Tecton Darlex recorder: one ".VID" file, or ".000", ".001", ... files that
// follow one another, read as one stream of 512-byte sectors. Track directories near the end of
// the stream give ranges of sectors; each frame is a header sector followed by an ADV601 field.
// Variant 0 finds the frames inside the tracks' ranges; variant 1 also those the tracks leave out,
// as a last track. Frame numbers seen by the caller count from the selected track's first frame.
class DecodeDarlex : public DelegatedLoadingDecoder {
public:
    static constexpr int32_t StageCount = 4;

    explicit DecodeDarlex(const DecoderRow& row);

    const char* GetDecoderName() override;
    // Makes stage `n` (1 to 4) the running one and returns its first action; 0 for another n.
    DecoderAction StartLoadingDelegate(int32_t n);
    void ReportDelegateProgress(double fraction) override;
    int32_t Variant() const { return Row().variant; }

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;
    bool GetTrackInfo(int32_t track, char* name, FrameTimes* first, FrameTimes* last, int32_t* frames,
                      bool* hasAudio) override;
    void GetCameras(uint8_t* mask) override;
    int32_t IndexOfFrameAtStreamTime(int64_t streamTime) override;
    int32_t GetPreviousFrame(int32_t frame, int32_t cameraFilter) override;
    int32_t GetNextFrame(int32_t frame, int32_t cameraFilter) override;

protected:
    DecoderAction QueryingCore() override;
    DecoderAction LoadingCore() override;
    DecoderAction FinishDelegatedLoad() override;
    DecoderAction DecompressingCore() override;
    void ForgetRecording() override;
    FrameTimes GetFrameTimes() override;
    void GetFrameCamera(CameraTag* camera) override;

private:
    const Darlex::Track* SelectedTrack() const;
    // The frame's number in the whole list; -1 outside the selected track.
    int32_t ListIndex(int32_t frame) const;
    void AssignTrackStreamTimes();

    DecoderAction FetchFromFile(int32_t fileNumber);
    DecoderAction OnFetchClosed(int32_t fileId);
    DecoderAction OnFetchOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction ReadFetchPart();
    DecoderAction OnFetchRead(bool ok, ByteView bytes);
    DecoderAction FetchFromNextFile();

    Darlex::Tables tables;
    DecodeDarlexGettingFileSizes gettingFileSizes;
    DecodeDarlexFindingTracks findingTracks;
    DecodeDarlexIndexingTrackedFrames indexingTrackedFrames;
    DecodeDarlexIndexingUntrackedFrames indexingUntrackedFrames;
    int32_t runningStage = 0;

    // The frame being fetched: its bytes gather in frameBuffer, across files when it runs over.
    ReadBuffer frameBuffer;
    int32_t fetchFileId = -1;
    int32_t fetchFileNumber = -1;
    uint64_t fetchOffset = 0;
    uint32_t fetchFilled = 0;
    uint32_t fetchLeft = 0;
    uint32_t fetchPart = 0;
    int32_t fetchedFrame = -1;
    bool fetchReadFailed = false;
    bool imageGood = false;
    ADV601Decoder fieldDecoder;
};

} // namespace Vorn::Vorncast::Decoders
