#pragma once

#include "codecs/jpeg/JpegCodec.h"
#include "core/client/DecoderRows.h"
#include "formats/shared/GenericFileDecoder.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// JPEG images anywhere inside any file, found by scanning it for start-of-image markers in blocks
// of 4096 bytes. The file holds no clock: frames are stepped by index and all their times are 0.
// The file stays open from load to unload.
class DecodeGenericJPEG : public ScannedFileDecoder {
public:
    static constexpr uint32_t ScanBlockSize = 4096;

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;
    void Reset() override;
    const char* GetDecoderName() override { return "Generic JPEG"; }
    void GetDecoderGuid(const char** guid) override { *guid = "8923E98A-F163-4ae9-815A-FFB2D3FFF934"; }

protected:
    DecoderAction LoadingOpenComplete(int32_t fileId, uint64_t fileSize) override;
    void LoadingGetReadParameters(int32_t* fileId, uint64_t* offset, uint32_t* size,
                                  uint8_t** buffer) override;
    DecoderAction LoadingReadComplete(int32_t fileId, bool ok) override;

    void DecompressingGetReadParameters(int32_t* fileId, uint64_t* offset, uint32_t* size,
                                        uint8_t** buffer) override;
    DecoderAction DecompressingReadComplete(int32_t fileId, bool ok) override;

private:
    enum LoadingState : int32_t {
        LS_SCANNING = 0,
        LS_READING_FIRST_FRAME = 1,
    };

    DecoderAction ScanBlock();
    DecoderAction FinishScan();
    DecoderAction ReadFirstFrameHeader();

    int32_t loadingState = LS_SCANNING;
    int64_t readOffset = 0;
    bool imageValid = false;
    JpegDecoderScratch jpegScratch;
};

BaseDecoder* CreateDecodeGenericJPEG(const DecoderRow& row);

} // namespace Vorn::Vorncast::Decoders
