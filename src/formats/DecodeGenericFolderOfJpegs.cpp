#include "formats/DecodeGenericFolderOfJpegs.h"

#include <cstring>

namespace Vorn::Vorncast::Decoders {

void DecodeGenericFolderOfJpegs::ForgetRecording() {
    ForgetFile();
    folderFiles.Clear();
    heldImage = -1;
}

// ---- loading ----

DecoderAction DecodeGenericFolderOfJpegs::LoadingCore() {
    Reset();
    return ListFiles(folderFiles.ListingDirectoryOf(loadName), "*.jpg", 0,
                     &DecodeGenericFolderOfJpegs::OnListed);
}

DecoderAction DecodeGenericFolderOfJpegs::OnListed(bool ok, FileList& listed) {
    if (!ok) {
        return Fail("DecodeGenericFolderOfJpegs LoadingFileListComplete failed with bad result\n");
    }
    folderFiles.Take(listed);
    if (folderFiles.Count() == 0) {
        return Fail("DecodeGenericFolderOfJpegs Failed to find any jpg files in the folder.\n");
    }
    return Open(folderFiles.PathAt(0), &DecodeGenericFolderOfJpegs::OnFirstOpened,
                "DecodeGenericFolderOfJpegs::LoadingOpenComplete failed with bad fileId or fileSize\n");
}

DecoderAction DecodeGenericFolderOfJpegs::OnFirstOpened(int32_t newFileId, uint64_t newFileSize) {
    TakeFile(newFileId, newFileSize);
    return Read(fileId, 0, static_cast<uint32_t>(fileSize), &DecodeGenericFolderOfJpegs::OnFirstRead,
                "DecodeGenericFolderOfJpegs::LoadingReadComplete failed with bad result\n");
}

// The picture size comes from the first file. A first file that is no JPEG still loads, with the
// size left at 0.
DecoderAction DecodeGenericFolderOfJpegs::OnFirstRead(ByteView) {
    int32_t width = 0, height = 0, planes = 0;
    JpegReadHeader(readBuffer.Data(), static_cast<int32_t>(readBuffer.Capacity()), &width, &height, &planes);
    imageWidth = width;
    imageHeight = height;
    colour = planes == 3;
    totalFrames = folderFiles.Count();
    return Close(fileId, &DecodeGenericFolderOfJpegs::OnFirstClosed);
}

DecoderAction DecodeGenericFolderOfJpegs::OnFirstClosed(int32_t) {
    ForgetFile();
    return DDA_COMPLETE;
}

// ---- fetching a frame ----

// A frame whose file is still open after a failed read is read again from it.
DecoderAction DecodeGenericFolderOfJpegs::DecompressingCore() {
    if (heldImage == currentFrame) {
        return ReadFrameFile();
    }
    return Open(folderFiles.PathAt(currentFrame), &DecodeGenericFolderOfJpegs::OnFrameOpened,
                "DecodeGenericFolderOfJpegs::DecompressingReadComplete failed with bad fileId or fileSize\n");
}

DecoderAction DecodeGenericFolderOfJpegs::OnFrameOpened(int32_t newFileId, uint64_t newFileSize) {
    TakeFile(newFileId, newFileSize);
    heldImage = currentFrame;
    return ReadFrameFile();
}

DecoderAction DecodeGenericFolderOfJpegs::ReadFrameFile() {
    return Read(fileId, 0, static_cast<uint32_t>(fileSize), &DecodeGenericFolderOfJpegs::OnFrameRead,
                "DecodeGenericFolderOfJpegs::DecompressingReadComplete failed with bad result\n");
}

DecoderAction DecodeGenericFolderOfJpegs::OnFrameRead(ByteView) {
    return Close(fileId, &DecodeGenericFolderOfJpegs::OnFrameClosed);
}

DecoderAction DecodeGenericFolderOfJpegs::OnFrameClosed(int32_t) {
    ForgetFile();
    heldImage = -1;
    return DDA_COMPLETE;
}

bool DecodeGenericFolderOfJpegs::GetImage(int32_t bufferSize, uint8_t* buffer) {
    return JpegDecodeToBuffer(jpegScratch, readBuffer.Data(), static_cast<int32_t>(readBuffer.Capacity()),
                              buffer, bufferSize);
}

// ---- cameras ----

void DecodeGenericFolderOfJpegs::GetCameras(uint8_t* mask) {
    std::memset(mask, 0, CameraMaskBytes);
    mask[0] = 1;
}

} // namespace Vorn::Vorncast::Decoders
