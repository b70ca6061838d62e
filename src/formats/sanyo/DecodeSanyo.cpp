#include "formats/sanyo/DecodeSanyo.h"

#include "codecs/jpeg2000/Jpeg2000Decoder.h"
#include "core/framelists/StreamTimes.h"
#include "core/time/Ticks.h"
#include "model/support/Path.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr uint64_t IndexMinimumSize = 592;
constexpr uint64_t IndexSizeLimit = 134217728;
constexpr size_t RecordsStart = 1024;
constexpr size_t RecordSize = 16;
constexpr size_t CameraTextsStart = 208;
constexpr size_t CameraTextSize = 16;
// The recorder counts seconds from 2000-01-01.
constexpr int64_t RecorderEpochSeconds = 946684800;
// A JPEG 2000 image file holds the recorder's own header in front of the picture.
constexpr size_t Jpeg2000Start = 129;
constexpr int64_t ImagesPerFolder = 200;
// The image folders are listed with what lies below them.
constexpr int32_t ImageListDepth = 4;
constexpr const char* FetchFailure = "DecodeSanyo::DecompressingReadComplete failed with bad result\n";

// The directory of `path` without its last `levels` components.
std::string_view CutLevels(std::string_view path, int levels) {
    for (; levels > 0 && !path.empty(); --levels) {
        size_t separator = path.find_last_of("\\/");
        path = path.substr(0, separator == std::string_view::npos ? 0 : separator);
    }
    return path;
}

} // namespace

void DecodeSanyo::ForgetRecording() {
    frames.Clear();
    root.clear();
    indexPath.clear();
    jpeg2000 = false;
    fileId = -1;
    heldImage = -1;
    heldSize = 0;
}

// ---- loading: the image folders listed, the index read whole, the first image's header ----

// The tree's root lies two levels above the loaded file, inside the SANYO folder; the index is
// INFO/<root's name>.inf below it, and the images lie in IMG<nnnnn> folders.
DecoderAction DecodeSanyo::LoadingCore() {
    Reset();
    if (!Path::ExtensionIs(loadName, "jpg;jp2;inf")) {
        return Fail("DecodeSanyo::LoadingCore: extension not recognised\n");
    }
    std::string_view loaded(loadName);
    if (loaded.find("SANYO") == std::string_view::npos) {
        return Fail("DecodeSanyo::LoadingCore() Not a valid Sanyo file structure\n");
    }
    std::string_view cut = CutLevels(loaded, 2);
    size_t sanyo = std::min(cut.rfind("SANYO\\"), cut.rfind("SANYO/"));
    if (sanyo == std::string_view::npos) {
        return Fail("DecodeSanyo::LoadingCore directory not valid\n");
    }
    root = cut;
    indexPath = root + "/INFO/" + std::string(cut.substr(sanyo + 6)) + ".inf";
    return ListFiles((root + "/IMG00001/").c_str(), "*.*", ImageListDepth, &DecodeSanyo::OnImagesListed);
}

// The first image's extension tells JPEG from JPEG 2000.
DecoderAction DecodeSanyo::OnImagesListed(bool ok, FileList& listed) {
    if (!ok || listed.Count() == 0) {
        return Fail("DecodeSanyo::LoadingFileListComplete failed because fileList had no entries\n");
    }
    FileListComparer byName;
    listed.Sort(byName);
    std::string_view first(listed.GetAt(0));
    size_t point = first.rfind('.');
    if (point == std::string_view::npos) {
        return Fail("DecodeSanyo::LoadingFileListComplete failed to find an image file with .jpg or .jp2 "
                    "extension\n");
    }
    jpeg2000 = Path::ExtensionIs(first, "jp2");
    return Open(indexPath.c_str(), &DecodeSanyo::OnIndexOpened, nullptr);
}

DecoderAction DecodeSanyo::OnIndexOpened(int32_t newFileId, uint64_t fileSize) {
    if (newFileId == -1 || fileSize < IndexMinimumSize || fileSize >= IndexSizeLimit) {
        return Fail("DecodeSanyo::LoadingOpenComplete failed with bad fileId or fileSize\n");
    }
    fileId = newFileId;
    return Read(fileId, 0, static_cast<uint32_t>(fileSize), &DecodeSanyo::OnIndex,
                "DecodeSanyo::LoadingReadComplete failed with bad result\n");
}

// Header: frame count, first and last time, 16-character camera texts from 208; records of 16
// bytes from 1024 up to the count or the end of the file: time, a second value, camera (shown one
// higher) and image number.
DecoderAction DecodeSanyo::OnIndex(ByteView bytes) {
    const uint32_t count = bytes.U32LE(0);
    for (size_t at = RecordsStart; frames.Count() < static_cast<int64_t>(count) && bytes.Has(at, RecordSize);
         at += RecordSize) {
        ByteReader r(bytes, at);
        SanyoFrameInfo frame{};
        const uint32_t seconds = r.U32LE();
        frame.extra = r.U32LE();
        const int32_t camera = r.I32LE();
        frame.imageNumber = r.U32LE();
        frame.recordedTime = (int64_t{seconds} + RecorderEpochSeconds + UnixEpochSeconds) * TicksPerSecond;
        frame.camera.number = static_cast<uint16_t>(camera + 1);
        const size_t text = CameraTextsStart + static_cast<size_t>(camera) * CameraTextSize;
        if (camera >= 0 && text + CameraTextSize <= RecordsStart) {
            bytes.Text(text, CameraTextSize, frame.camera.name);
        }
        frames.Append(frame);
    }
    if (frames.Count() == 0) {
        return Fail("DecodeSanyo::LoadingReadComplete no frames found\n");
    }
    return Close(fileId, &DecodeSanyo::OnIndexClosed);
}

// Image n lies in folder IMG<(n - 1) / 200 + 1>, in a file named by its number.
const char* DecodeSanyo::ImagePath(uint32_t imageNumber) {
    const int64_t folder = (int64_t{imageNumber} - 1) / ImagesPerFolder + 1;
    if (std::snprintf(path, sizeof path, "%s/IMG%05lld/%08u.%s", root.c_str(), static_cast<long long>(folder),
                      imageNumber, jpeg2000 ? "jp2" : "jpg") >= static_cast<int>(sizeof path)) {
        path[0] = '\0';
    }
    return path;
}

DecoderAction DecodeSanyo::OnIndexClosed(int32_t) {
    fileId = -1;
    return Open(ImagePath(frames.GetAt(0).imageNumber), &DecodeSanyo::OnFirstImageOpened,
                "DecodeSanyo::LoadReadComplete failed to decode first image header\n");
}

DecoderAction DecodeSanyo::OnFirstImageOpened(int32_t newFileId, uint64_t fileSize) {
    fileId = newFileId;
    return Read(fileId, 0, static_cast<uint32_t>(std::min<uint64_t>(fileSize, UINT32_MAX)),
                &DecodeSanyo::OnFirstImage,
                "DecodeSanyo::LoadReadComplete failed to decode first image header\n");
}

DecoderAction DecodeSanyo::OnFirstImage(ByteView bytes) {
    int32_t width = 0, height = 0, planes = 0;
    bool ok = false;
    if (jpeg2000) {
        Jpeg2000PictureInfo info;
        ByteView picture = bytes.From(Jpeg2000Start);
        ok = Jpeg2000ReadHeader(picture.Data(), static_cast<uint32_t>(picture.Size()), &info);
        width = info.width;
        height = info.height;
        planes = info.colour ? 3 : 1;
    } else {
        ok = JpegReadHeader(bytes.Data(), static_cast<int32_t>(bytes.Size()), &width, &height, &planes);
    }
    if (!ok) {
        return Fail("DecodeSanyo::LoadReadComplete failed to decode first image header\n");
    }
    SetImageFormat(width, height, aspectX, aspectY, planes != 1, frames.Count());
    return Close(fileId, &DecodeSanyo::Finish);
}

DecoderAction DecodeSanyo::Finish(int32_t) {
    fileId = -1;
    totalFrames = frames.Count();
    StreamTimes::AssignSpreading(frames.begin(), frames.end());
    SetTimeSpan(frames.GetAt(0).recordedTime, frames.GetAt(totalFrames - 1).recordedTime);
    ReportProgress(1.0);
    return DDA_COMPLETE;
}

// ---- fetching a frame: its image file, read whole ----

DecoderAction DecodeSanyo::DecompressingCore() {
    const uint32_t imageNumber = frames.GetAt(currentFrame).imageNumber;
    if (heldImage == static_cast<int64_t>(imageNumber)) {
        return DDA_COMPLETE;
    }
    heldImage = -1;
    heldSize = 0;
    return fileId != -1 ? Close(fileId, &DecodeSanyo::OnFetchClosed) : OpenFetchImage();
}

DecoderAction DecodeSanyo::OnFetchClosed(int32_t) {
    fileId = -1;
    return OpenFetchImage();
}

DecoderAction DecodeSanyo::OpenFetchImage() {
    return Open(ImagePath(frames.GetAt(currentFrame).imageNumber), &DecodeSanyo::OnFetchOpened, FetchFailure);
}

DecoderAction DecodeSanyo::OnFetchOpened(int32_t newFileId, uint64_t fileSize) {
    fileId = newFileId;
    return Read(fileId, 0, static_cast<uint32_t>(std::min<uint64_t>(fileSize, UINT32_MAX)),
                &DecodeSanyo::OnFetchImage, FetchFailure);
}

DecoderAction DecodeSanyo::OnFetchImage(ByteView bytes) {
    heldImage = frames.GetAt(currentFrame).imageNumber;
    heldSize = static_cast<uint32_t>(bytes.Size());
    return DDA_COMPLETE;
}

bool DecodeSanyo::GetImage(int32_t bufferSize, uint8_t* buffer) {
    if (heldImage < 0 || buffer == nullptr) {
        return false;
    }
    ByteView bytes(readBuffer.Data(), heldSize);
    if (!jpeg2000) {
        return JpegDecodeToBuffer(jpegScratch, bytes.Data(), static_cast<int32_t>(bytes.Size()), buffer,
                                  bufferSize);
    }
    ByteView picture = bytes.From(Jpeg2000Start);
    return JasperDecode(picture.Data(), static_cast<uint32_t>(picture.Size()), buffer,
                        static_cast<uint32_t>(bufferSize));
}

} // namespace Vorn::Vorncast::Decoders
