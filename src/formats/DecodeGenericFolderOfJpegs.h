#pragma once

#include "codecs/jpeg/JpegCodec.h"
#include "core/client/DecoderRows.h"
#include "core/filelists/FileList.h"
#include "formats/shared/GenericFileDecoder.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// Every "*.jpg" file of the folder of the loaded path is one frame, in the order of the listing.
// The folder has no clock: all times are 0. No file stays open between two calls: each fetch
// opens, reads whole and closes the frame's file.
class DecodeGenericFolderOfJpegs : public GenericFileDecoder {
public:
    DecodeGenericFolderOfJpegs();

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;
    int32_t IndexOfFrameAtStreamTime(int64_t) override { return 0; }
    void GetCameras(uint8_t* mask) override;
    void Reset() override;
    const char* GetDecoderName() override { return "Generic Folder of Jpegs"; }
    void GetDecoderGuid(const char** guid) override { *guid = "4568BFE6-5117-490c-961C-2A7A91579834"; }
    const char* GetExtensions(int32_t* count) override;
    bool IsExtension(const char* extension) override;
    const char* GetPathPattern(int32_t index) override;

protected:
    DecoderAction LoadingCore() override;
    void LoadingGetListPath(char* directory, char* pattern, int32_t* depth) override;
    DecoderAction LoadingFileListComplete(bool ok, FileList& listed) override;
    void LoadingGetOpenName(char* name) override { OpenName(name); }
    DecoderAction LoadingOpenComplete(int32_t fileId, uint64_t fileSize) override;
    void LoadingGetReadParameters(int32_t* fileId, uint64_t* offset, uint32_t* size,
                                  uint8_t** buffer) override;
    DecoderAction LoadingReadComplete(int32_t fileId, bool ok) override;
    void LoadingGetFileToClose(int32_t* fileId) override { *fileId = this->fileId; }
    DecoderAction LoadingCloseComplete(int32_t fileId) override;

    DecoderAction DecompressingCore() override;
    void DecompressingGetOpenName(char* name) override { OpenName(name); }
    DecoderAction DecompressingOpenComplete(int32_t fileId, uint64_t fileSize) override;
    void DecompressingGetReadParameters(int32_t* fileId, uint64_t* offset, uint32_t* size,
                                        uint8_t** buffer) override;
    DecoderAction DecompressingReadComplete(int32_t fileId, bool ok) override;
    void DecompressingGetFileToClose(int32_t* fileId) override { *fileId = this->fileId; }
    DecoderAction DecompressingCloseComplete(int32_t fileId) override;

private:
    // The folder and the listed name at the index to open; an empty name outside the list.
    void OpenName(char* name);

    FileList fileList;
    // The folder of the loaded path, without its final separator: names are joined to it by '/'.
    char folder[MaxPathLength] = {};
    int32_t indexToOpen = 0;
    int32_t heldImage = -1;
    JpegDecoderScratch jpegScratch;
};

BaseDecoder* CreateDecodeGenericFolderOfJpegs(const DecoderRow& row);

} // namespace Vorn::Vorncast::Decoders
