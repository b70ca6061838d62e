#include "formats/DecodeGenericFolderOfJpegs.h"

#include "model/support/Path.h"

#include <cstdio>
#include <cstring>

namespace Vorn::Vorncast::Decoders {

namespace {

// Length of the folder part of a path, its final separator included; 0 without a separator.
size_t FolderLength(const char* path) {
    size_t length = 0;
    for (size_t index = 0; path[index] != '\0'; ++index) {
        if (Path::IsSeparator(path[index])) {
            length = index + 1;
        }
    }
    return length;
}

} // namespace

void DecodeGenericFolderOfJpegs::ForgetRecording() {
    ForgetFile();
    fileList.Clear();
    folder[0] = '\0';
    heldImage = -1;
}

template <class Step>
DecoderAction DecodeGenericFolderOfJpegs::OpenListed(int32_t index, Step opened, const char* failure) {
    char name[MaxPathLength] = {};
    const char* file = fileList.GetAt(index);
    if (file != nullptr && std::snprintf(name, MaxPathLength, "%s/%s", folder, file) >= MaxPathLength) {
        // A cut path could name another file: leave the name empty, which fails the open.
        name[0] = '\0';
    }
    return Open(name, opened, failure);
}

// ---- loading ----

// The folder is listed with its final separator, so that a file in the root lists "/".
DecoderAction DecodeGenericFolderOfJpegs::LoadingCore() {
    Reset();
    char directory[MaxPathLength] = {};
    size_t length = FolderLength(loadName);
    std::memcpy(directory, loadName, length);
    size_t withoutSeparator = length > 0 ? length - 1 : 0;
    std::memcpy(folder, loadName, withoutSeparator);
    folder[withoutSeparator] = '\0';
    return ListFiles(directory, "*.jpg", 0, &DecodeGenericFolderOfJpegs::OnListed);
}

DecoderAction DecodeGenericFolderOfJpegs::OnListed(bool ok, FileList& listed) {
    if (!ok) {
        return Fail("DecodeGenericFolderOfJpegs LoadingFileListComplete failed with bad result\n");
    }
    for (auto* node = listed.Head(); node != nullptr; node = node->next) {
        fileList.Add(*node->item);
    }
    if (fileList.Count() == 0) {
        return Fail("DecodeGenericFolderOfJpegs Failed to find any jpg files in the folder.\n");
    }
    return OpenListed(0, &DecodeGenericFolderOfJpegs::OnFirstOpened,
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
    totalFrames = fileList.Count();
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
    return OpenListed(
        currentFrame, &DecodeGenericFolderOfJpegs::OnFrameOpened,
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
