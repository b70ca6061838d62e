#pragma once

#include "codecs/jpeg/JpegCodec.h"
#include "formats/shared/FolderFiles.h"
#include "formats/shared/GenericFileDecoder.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// Every "*.jpg" file of the folder of the loaded path is one frame, in the order of the listing.
// The folder has no clock: all times are 0. No file stays open between two calls: each fetch
// opens, reads whole and closes the frame's file.
class DecodeGenericFolderOfJpegs : public GenericFileDecoder {
public:
    using GenericFileDecoder::GenericFileDecoder;

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;
    int32_t IndexOfFrameAtStreamTime(int64_t) override { return 0; }
    void GetCameras(uint8_t* mask) override;

protected:
    void ForgetRecording() override;
    DecoderAction LoadingCore() override;
    DecoderAction DecompressingCore() override;

private:
    DecoderAction OnListed(bool ok, FileList& listed);
    DecoderAction OnFirstOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnFirstRead(ByteView bytes);
    DecoderAction OnFirstClosed(int32_t fileId);
    DecoderAction OnFrameOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction ReadFrameFile();
    DecoderAction OnFrameRead(ByteView bytes);
    DecoderAction OnFrameClosed(int32_t fileId);

    FolderFiles folderFiles;
    int32_t heldImage = -1;
    JpegDecoderScratch jpegScratch;
};

} // namespace Vorn::Vorncast::Decoders
