#pragma once

#include "codecs/jpeg/JpegCodec.h"
#include "core/filelists/FileList.h"
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

    // Opens the listed file at `index` for `opened`; a path too long to name it opens nothing.
    template <class Step> DecoderAction OpenListed(int32_t index, Step opened, const char* failure);

    FileList fileList;
    // The folder of the loaded path, without its final separator: names are joined to it by '/'.
    char folder[MaxPathLength] = {};
    int32_t heldImage = -1;
    JpegDecoderScratch jpegScratch;
};

} // namespace Vorn::Vorncast::Decoders
