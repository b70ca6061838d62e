#include "formats/DecodeGenericFolderOfJpegs.h"

#include "model/support/Path.h"

#include <strings.h>

#include <cstdio>
#include <cstring>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr int32_t LogFailure = 0;
constexpr const char* FolderPattern = "<a:n><b:+d1,0>.jpg";

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

DecodeGenericFolderOfJpegs::DecodeGenericFolderOfJpegs() {
    // Reads every image of a folder, chosen by hand only.
    infoFlagC = 1;
    infoFlagD = 1;
}

BaseDecoder* CreateDecodeGenericFolderOfJpegs(const DecoderRow&) {
    return new DecodeGenericFolderOfJpegs();
}

const char* DecodeGenericFolderOfJpegs::GetExtensions(int32_t* count) {
    *count = 1;
    return "jpg";
}

bool DecodeGenericFolderOfJpegs::IsExtension(const char* extension) {
    return extension != nullptr && strcasecmp(extension, "jpg") == 0;
}

const char* DecodeGenericFolderOfJpegs::GetPathPattern(int32_t index) {
    return index == 0 ? FolderPattern : "";
}

void DecodeGenericFolderOfJpegs::Reset() {
    ForgetFile();
    readBuffer.Free();
    fileList.Clear();
    folder[0] = '\0';
    indexToOpen = 0;
    heldImage = -1;
}

void DecodeGenericFolderOfJpegs::OpenName(char* name) {
    const char* file = fileList.GetAt(indexToOpen);
    if (file == nullptr) {
        std::memset(name, 0, MaxPathLength);
        return;
    }
    int32_t length = std::snprintf(name, MaxPathLength, "%s/%s", folder, file);
    if (length >= MaxPathLength) {
        // A cut path could name another file: leave the name empty, which fails the open.
        std::memset(name, 0, MaxPathLength);
    }
}

// ---- loading ----

DecoderAction DecodeGenericFolderOfJpegs::LoadingCore() {
    Reset();
    return DDA_LIST_FILES;
}

// The folder is listed with its final separator, so that a file in the root lists "/".
void DecodeGenericFolderOfJpegs::LoadingGetListPath(char* directory, char* pattern, int32_t* depth) {
    size_t length = FolderLength(loadName);
    std::memcpy(directory, loadName, length);
    directory[length] = '\0';
    size_t withoutSeparator = length > 0 ? length - 1 : 0;
    std::memcpy(folder, loadName, withoutSeparator);
    folder[withoutSeparator] = '\0';
    std::snprintf(pattern, MaxPathLength, "*.jpg");
    *depth = 0;
}

DecoderAction DecodeGenericFolderOfJpegs::LoadingFileListComplete(bool ok, FileList& listed) {
    if (!ok) {
        Log(LogFailure, "DecodeGenericFolderOfJpegs LoadingFileListComplete failed with bad result\n");
        return DecoderFailure();
    }
    for (auto* node = listed.Head(); node != nullptr; node = node->next) {
        fileList.Add(*node->item);
    }
    if (fileList.Count() == 0) {
        Log(LogFailure, "DecodeGenericFolderOfJpegs Failed to find any jpg files in the folder.\n");
        return DecoderFailure();
    }
    indexToOpen = 0;
    return DDA_OPEN;
}

DecoderAction DecodeGenericFolderOfJpegs::LoadingOpenComplete(int32_t newFileId, uint64_t newFileSize) {
    return TakeOpenedFile(
        newFileId, newFileSize,
        "DecodeGenericFolderOfJpegs::LoadingOpenComplete failed with bad fileId or fileSize\n");
}

void DecodeGenericFolderOfJpegs::LoadingGetReadParameters(int32_t* outFileId, uint64_t* offset,
                                                          uint32_t* size, uint8_t** buffer) {
    ReadWholeFile(outFileId, offset, size, buffer);
}

// The picture size comes from the first file. A first file that is no JPEG still loads, with the
// size left at 0.
DecoderAction DecodeGenericFolderOfJpegs::LoadingReadComplete(int32_t, bool ok) {
    if (!ok) {
        Log(LogFailure, "DecodeGenericFolderOfJpegs::LoadingReadComplete failed with bad result\n");
        return DecoderFailure();
    }
    int32_t width = 0, height = 0, planes = 0;
    JpegReadHeader(readBuffer.Data(), static_cast<int32_t>(readBuffer.Capacity()), &width, &height, &planes);
    imageWidth = width;
    imageHeight = height;
    colour = planes == 3;
    totalFrames = fileList.Count();
    return DDA_CLOSE;
}

DecoderAction DecodeGenericFolderOfJpegs::LoadingCloseComplete(int32_t) {
    ForgetFile();
    return DDA_COMPLETE;
}

// ---- fetching a frame ----

DecoderAction DecodeGenericFolderOfJpegs::DecompressingCore() {
    if (heldImage == currentFrame) {
        return DDA_READ;
    }
    indexToOpen = currentFrame;
    return DDA_OPEN;
}

DecoderAction DecodeGenericFolderOfJpegs::DecompressingOpenComplete(int32_t newFileId, uint64_t newFileSize) {
    DecoderAction action = TakeOpenedFile(
        newFileId, newFileSize,
        "DecodeGenericFolderOfJpegs::DecompressingReadComplete failed with bad fileId or fileSize\n");
    if (action == DDA_READ) {
        heldImage = indexToOpen;
    }
    return action;
}

void DecodeGenericFolderOfJpegs::DecompressingGetReadParameters(int32_t* outFileId, uint64_t* offset,
                                                                uint32_t* size, uint8_t** buffer) {
    ReadWholeFile(outFileId, offset, size, buffer);
}

DecoderAction DecodeGenericFolderOfJpegs::DecompressingReadComplete(int32_t, bool ok) {
    if (!ok) {
        Log(LogFailure, "DecodeGenericFolderOfJpegs::DecompressingReadComplete failed with bad result\n");
        return DecoderFailure();
    }
    return DDA_CLOSE;
}

DecoderAction DecodeGenericFolderOfJpegs::DecompressingCloseComplete(int32_t) {
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
