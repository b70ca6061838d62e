#include "formats/avi/DecodeAVerMediaUSBPlayback.h"

#include "core/time/Ticks.h"
#include "model/support/Limits.h"

#include <cstring>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr size_t CameraPlace = 22;

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

// "yyyy_mm_dd_hh_mm_ss_" and a camera digit at place 22.
bool IsRecorderName(const char* name) {
    if (std::strlen(name) <= CameraPlace || !IsDigit(name[CameraPlace])) {
        return false;
    }
    for (size_t at = 0; at < 20; ++at) {
        const bool separator = at == 4 || (at >= 7 && (at - 7) % 3 == 0);
        if (separator ? name[at] != '_' : !IsDigit(name[at])) {
            return false;
        }
    }
    return true;
}

int32_t Field(const char* name, size_t at, size_t count) {
    int32_t value = 0;
    for (size_t index = at; index < at + count; ++index) {
        value = value * 10 + (name[index] - '0');
    }
    return value;
}

} // namespace

DecodeAVerMediaUSBPlayback::DecodeAVerMediaUSBPlayback(const DecoderRow& row) : BaseAVIDecoder(row) {
    nameWithFourCC = false;
    multiFile = true;
    progressShare = 0.7;
    SetRiffMagic(FourCCLE("AVF0"));
}

void DecodeAVerMediaUSBPlayback::SetupCamera(PerCameraDatum& camera) {
    BaseAVIDecoder::SetupCamera(camera);
    const int64_t bytes = int64_t{camera.width} * camera.height * 3;
    if (bytes > 0 && bytes <= int64_t{MaxPictureBytes}) {
        camera.decodedImage.assign(static_cast<size_t>(bytes), 0);
    }
}

bool DecodeAVerMediaUSBPlayback::ValidateFourCC(uint32_t code) {
    BaseAVIDecoder::ValidateFourCC(code);
    return code == FourCCLE("xvid") || code == FourCCLE("XVID");
}

DecoderAction DecodeAVerMediaUSBPlayback::ListRecordingFiles() {
    return ListFiles(files.ListingDirectoryOf(loadName), "*.avf", 0,
                     &DecodeAVerMediaUSBPlayback::OnFilesListed);
}

DecoderAction DecodeAVerMediaUSBPlayback::OnFilesListed(bool ok, FileList& listed) {
    if (!ok) {
        return Fail(
            "DecodeAVerMediaUSBPlayback: Decode Failure (LoadingFileListComplete called with success == "
            "false)\n");
    }
    return BaseAVIDecoder::OnFilesListed(ok, listed);
}

// A folder whose names do not all follow the recorder's pattern gives only the loaded file, without
// times or cameras.
DecoderAction DecodeAVerMediaUSBPlayback::ProcessFileList(FileList& listed) {
    hasTimeStamps = true;
    hasCameraInfo = true;
    for (auto* node = listed.Head(); node != nullptr; node = node->next) {
        const char* name = node->item->path;
        if (!IsRecorderName(name)) {
            hasTimeStamps = false;
            hasCameraInfo = false;
        }
    }
    multiFile = hasTimeStamps;
    const DecoderAction action = BaseAVIDecoder::ProcessFileList(listed);
    multiFile = true;
    return action;
}

// The time in the file's name starts its frames; the digit behind it is the camera.
DecoderAction DecodeAVerMediaUSBPlayback::ProcessMetaData(ByteView) {
    if (!hasTimeStamps) {
        return DDA_NO_ACTION;
    }
    const char* name = CurrentFileName();
    const int64_t start = TicksFromSystemTime(Field(name, 0, 4), Field(name, 5, 2), Field(name, 8, 2),
                                              Field(name, 11, 2), Field(name, 14, 2), Field(name, 17, 2), 0);
    AVIMultiFileFrameInfoList* frames = CurrentFileFrames();
    if (frames != nullptr) {
        for (AVIMultiFileFrameInfo& frame : *frames) {
            // The first frame's mark for "no time" counts as the file's start.
            frame.recordedTime = SaturatingAdd(start, frame.recordedTime == -1 ? 0 : frame.recordedTime);
            frame.streamTime = frame.recordedTime;
            frame.camera.number = static_cast<uint16_t>(name[CameraPlace] - '0');
        }
    }
    return DDA_NO_ACTION;
}

} // namespace Vorn::Vorncast::Decoders
