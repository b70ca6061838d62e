#include "formats/avi/BaseAVIDecoder.h"

#include "codecs/jpeg2000/Jpeg2000Decoder.h"
#include "codecs/vfw/DibPicture.h"
#include "codecs/video/IppDecoderDV25.h"
#include "codecs/video/IppDecoderH263.h"
#include "codecs/video/IppDecoderMPEG2.h"
#include "codecs/video/IppDecoderMPEG4.h"
#include "core/framelists/StreamTimes.h"
#include "formats/shared/MergeByTime.h"
#include "model/support/Limits.h"
#include "model/support/LogLevels.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <strings.h>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr uint32_t Dvsd = FourCCLE("dvsd");
constexpr int64_t NoTime = -1; // all ones: a frame without a time of its own sorts first

bool IsMpeg4FourCC(uint32_t code) {
    for (uint32_t known : {FourCCLE("DIVX"), FourCCLE("DivX"), FourCCLE("divx"), FourCCLE("XVID"),
                           FourCCLE("xvid"), FourCCLE("DX50"), FourCCLE("dx50"), FourCCLE("MNM4")}) {
        if (code == known) {
            return true;
        }
    }
    return false;
}

bool IsDvFourCC(uint32_t code) {
    return code == Dvsd || code == FourCCLE("DVSD");
}

} // namespace

void AppendFourCCToName(char* name, size_t size, const char* base, uint32_t code) {
    if (code == 0 || code == FourCCLE("RGB2")) {
        std::snprintf(name, size, "%s (Uncompressed)", base);
        return;
    }
    const char text[5] = {static_cast<char>(code & 0xFF), static_cast<char>(code >> 8 & 0xFF),
                          static_cast<char>(code >> 16 & 0xFF), static_cast<char>(code >> 24), 0};
    std::snprintf(name, size, "%s (%s)", base, text);
}

BaseAVIDecoder::BaseAVIDecoder(const DecoderRow& row) : FrameListDecoder(row) {
    multiFileFlag = 1;
    frameAccurateFlag = 1;
}

// The row's name, with the FourCC of the last file's video once its headers have been read.
const char* BaseAVIDecoder::GetDecoderName() {
    if (!nameWithFourCC || (fourCC == 0 && cameras.empty())) {
        return FrameListDecoder::GetDecoderName();
    }
    AppendFourCCToName(decoderName, sizeof(decoderName), FrameListDecoder::GetDecoderName(), fourCC);
    return decoderName;
}

void BaseAVIDecoder::ForgetRecording() {
    frames.Clear();
    files.Clear();
    parser.Reset();
    videoStreams.clear();
    cameras.clear();
    std::fill(std::begin(cache), std::end(cache), CacheRow{});
    currentFileIndex = 0;
    currentFileId = -1;
    currentFileSize = 0;
    fourCC = 0;
    isDivX = false;
    hasAudio = false;
    filePathError = false;
    fileStreamsStart = 0;
    metaIndex = 0;
    loadProgress = 0.0;
    fetchFileId = -1;
    readingFrame = -1;
    imageBytes = 0;
    imageWidth = -1;
    imageHeight = -1;
}

// ---- hooks with their defaults ----

void BaseAVIDecoder::SetupCamera(PerCameraDatum& camera) {
    camera.outputFormat = BitmapInfoHeader::Read(ByteView(camera.format.data(), camera.format.size()));
    camera.width = camera.outputFormat.width;
    camera.height = camera.outputFormat.height == INT32_MIN ? 0 : std::abs(camera.outputFormat.height);
    if (camera.outputFormat.sizeImage <= MaxPictureBytes) {
        camera.decodedImage.assign(camera.outputFormat.sizeImage, 0);
    }
}

// A picture of no size, or above what the library hands out, cannot be shown.
bool BaseAVIDecoder::HasShowableSize(const PerCameraDatum& camera) {
    return camera.width > 0 && camera.height > 0 &&
           int64_t{camera.width} * camera.height * 3 <= int64_t{MaxPictureBytes};
}

bool BaseAVIDecoder::ValidateFourCC(uint32_t code) {
    isDivX = IsMpeg4FourCC(code);
    return true;
}

void BaseAVIDecoder::MetaDataReadParameters(uint64_t* offset, uint32_t* size) {
    *offset = 0;
    *size = 1;
}

DecoderAction BaseAVIDecoder::ProcessFileList(FileList& listed) {
    if (multiFile) {
        files.Take(listed);
        files.SortByName();
        if (files.Count() == 0) {
            return Fail("BaseAVIDecoder: Decode Failure (empty file list)\n");
        }
        return DDA_COMPLETE;
    }
    const char* slash = std::strrchr(loadName, '/');
    if (slash == nullptr) {
        return Fail("BaseAVIDecoder: Decode Failure (Error processing loadName)\n");
    }
    files.Names().Add(slash + 1);
    return DDA_COMPLETE;
}

// ---- loading: list, then each file's headers, index and metadata ----

DecoderAction BaseAVIDecoder::LoadingCore() {
    Reset();
    const char* dot = std::strrchr(loadName, '.');
    char extension[4] = {};
    if (dot != nullptr) {
        std::strncpy(extension, dot + 1, 3);
    }
    if (!IsExtension(extension)) {
        return Fail("BaseAVIDecoder::LoadingCore failed with unsupported file extension\n");
    }
    return ListRecordingFiles();
}

DecoderAction BaseAVIDecoder::ListRecordingFiles() {
    return ListFiles(files.ListingDirectoryOf(loadName), "*.avi", 0, &BaseAVIDecoder::OnFilesListed);
}

DecoderAction BaseAVIDecoder::OnFilesListed(bool ok, FileList& listed) {
    if (filePathError) {
        return Fail(
            ok ? "BaseAVIDecoder: Decode Failure (FileListComplete called with filePathError == true)\n"
               : "BaseAVIDecoder: Decode Failure (FileListComplete called with success==false and "
                 "filePathError==true)\n");
    }
    if (!ok) {
        return Fail("BaseAVIDecoder: Decode Failure (FileListComplete called with success==false)\n");
    }
    const DecoderAction action = ProcessFileList(listed);
    return action == DDA_COMPLETE ? ContinueWithFiles() : action;
}

DecoderAction BaseAVIDecoder::ContinueWithFiles() {
    currentFileIndex = 0;
    return OpenCurrentFile();
}

DecoderAction BaseAVIDecoder::OpenCurrentFile() {
    return Open(files.PathAt(currentFileIndex), &BaseAVIDecoder::OnFileOpened, nullptr);
}

DecoderAction BaseAVIDecoder::OnFileOpened(int32_t fileId, uint64_t fileSize) {
    if (fileId == -1) {
        return Fail("BaseAVIDecoder: Decode Failure (Bad fileId in LoadingOpenComplete)\n");
    }
    currentFileId = fileId;
    currentFileSize = fileSize;
    return TryRead(fileId, 0, static_cast<uint32_t>(std::min<uint64_t>(12, fileSize)),
                   &BaseAVIDecoder::OnRiffHead);
}

DecoderAction BaseAVIDecoder::OnRiffHead(bool ok, ByteView bytes) {
    const AviParseRequest request = parser.Start(ok ? bytes : ByteView());
    if (request.size < 0 && !parser.Finished()) {
        return Fail("BaseAVIDecoder: Decode Failure (Error when parsing AVI RIFF header)\n");
    }
    return ContinueParse(request);
}

DecoderAction BaseAVIDecoder::ContinueParse(AviParseRequest request) {
    while (request.size == 0) {
        request = parser.Step(ByteView());
    }
    if (request.size > 0) {
        if (static_cast<uint64_t>(request.offset) + static_cast<uint32_t>(request.size) > currentFileSize) {
            return OnParseRead(false, ByteView());
        }
        return TryRead(currentFileId, static_cast<uint64_t>(request.offset),
                       static_cast<uint32_t>(request.size), &BaseAVIDecoder::OnParseRead);
    }
    if (parser.Finished()) {
        return OnParsed();
    }
    if (request.size == AVIParser::MoviTooEarly) {
        return DecoderFailure();
    }
    Log(3, "AVI Parsing for this format failed.\nPlease report this as a bug for further investigation.");
    return Fail("BaseAVIDecoder: Decode Failure (AVIParser completed parsing prematurely or in error)\n");
}

DecoderAction BaseAVIDecoder::OnParseRead(bool ok, ByteView bytes) {
    return ContinueParse(ok ? parser.Step(bytes) : parser.ReadFailed());
}

DecoderAction BaseAVIDecoder::OnParsed() {
    if (!ValidateAVIStreams()) {
        return Fail("BaseAVIDecoder: Decode Failure (ValidateAVIStreams failed)\n");
    }
    fileStreamsStart = videoStreams.size();
    for (int32_t index = 0; index < parser.StreamCount(); ++index) {
        StreamInfo* stream = parser.GetStream(index);
        if (stream == nullptr) {
            return Fail("BaseAVIDecoder: Decode Failure (null STREAMINFO pointer)\n");
        }
        DecoderAction action = DDA_NO_ACTION;
        if (stream->type == FourCCLE("vids")) {
            Log(LogEvent, "Found a video stream in file %d\n", currentFileIndex);
            action = TakeVideoStream(
                index,
                BitmapInfoHeader::Read(ByteView(stream->format.data(), stream->format.size())).compression);
        } else if (stream->type == FourCCLE("iavs")) {
            Log(LogEvent, "Found a DV video stream in file %d\n", currentFileIndex);
            action = TakeVideoStream(index, stream->header.fccHandler);
        } else if (stream->type == FourCCLE("auds")) {
            hasAudio = true;
        }
        if (action != DDA_NO_ACTION) {
            return action;
        }
    }
    AddProgress(1.0 / files.Count() * progressShare * 0.8);
    return ReadMetaData();
}

// A video or DV stream joins the decoder's streams; its frames go to the file's camera at the
// times its rate gives.
DecoderAction BaseAVIDecoder::TakeVideoStream(int32_t index, uint32_t streamFourCC) {
    if (!ValidateFourCC(streamFourCC)) {
        return Fail("BaseAVIDecoder: Decode Failure (Failed to validate FourCC)\n");
    }
    fourCC = streamFourCC;
    StreamInfo* parsed = parser.GetStream(index);
    auto stream = std::make_unique<StreamInfo>();
    stream->type = parsed->type;
    stream->format = parsed->format;
    stream->header = parsed->header;
    int32_t k = 0;
    for (AVIMultiFileFrameInfo frame : parsed->frames) {
        frame.fileIndex = currentFileIndex;
        frame.camera.number = static_cast<uint16_t>(currentFileIndex);
        frame.frameInFile = k;
        frame.recordedTime = DurationTicks(parser.FrameDuration(), k);
        // 0 would read as "no time" to the stream times: the first frame of each file sorts first.
        if (frame.recordedTime == 0) {
            frame.recordedTime = NoTime;
        }
        frame.streamTime = frame.recordedTime;
        stream->frames.Append(frame);
        ++k;
    }
    stream->frameCount = k;
    videoStreams.push_back(std::move(stream));
    return DDA_NO_ACTION;
}

AVIMultiFileFrameInfoList* BaseAVIDecoder::CurrentFileFrames() {
    return fileStreamsStart < videoStreams.size() ? &videoStreams[fileStreamsStart]->frames : nullptr;
}

const char* BaseAVIDecoder::CurrentFileName() {
    const char* path = files.PathAt(currentFileIndex);
    const char* slash = std::strrchr(path, '/');
    return slash != nullptr ? slash + 1 : path;
}

int64_t BaseAVIDecoder::DurationTicks(double duration, double count) {
    const double ticks = duration * count;
    if (!(ticks > -4e18)) { // also a duration that is no number
        return ticks < 0 ? -4000000000000000000 : 0;
    }
    return ticks < 4e18 ? static_cast<int64_t>(ticks) : 4000000000000000000;
}

StreamInfo* BaseAVIDecoder::FindTextStream() {
    for (int32_t index = 0; index < parser.StreamCount(); ++index) {
        StreamInfo* stream = parser.GetStream(index);
        if (stream != nullptr && (stream->type == FourCCLE("txts") || stream->type == FourCCLE("TXTS"))) {
            return stream;
        }
    }
    return nullptr;
}

bool BaseAVIDecoder::TextFrameAt(StreamInfo* stream, uint64_t* offset, uint32_t* size, uint32_t less) {
    if (stream == nullptr || metaIndex < 0 || metaIndex >= stream->frames.Count()) {
        return false;
    }
    const AVIMultiFileFrameInfo frame = stream->frames.GetAt(metaIndex);
    *offset = frame.offset;
    *size = frame.size > less ? frame.size - less : 1;
    return true;
}

void BaseAVIDecoder::SetCurrentFileFrameTime(int32_t index, int64_t ticks) {
    AVIMultiFileFrameInfoList* list = CurrentFileFrames();
    if (list == nullptr || index < 0 || index >= list->Count()) {
        return;
    }
    AVIMultiFileFrameInfo frame = list->GetAt(index);
    frame.recordedTime = ticks;
    frame.streamTime = ticks;
    list->ReplaceAt(index, frame);
}

void BaseAVIDecoder::SetCurrentFileCamera(int32_t number, const char* name) {
    AVIMultiFileFrameInfoList* list = CurrentFileFrames();
    if (list == nullptr) {
        return;
    }
    for (AVIMultiFileFrameInfo& frame : *list) {
        if (number >= 0) {
            frame.camera.number = static_cast<uint16_t>(number);
        }
        std::snprintf(frame.camera.name, sizeof(frame.camera.name), "%s", name);
    }
}

DecoderAction BaseAVIDecoder::ReadMetaData() {
    uint64_t offset = 0;
    uint32_t size = 1;
    MetaDataReadParameters(&offset, &size);
    if (offset + size > currentFileSize) {
        return OnMetaData(false, ByteView());
    }
    return TryRead(currentFileId, offset, size, &BaseAVIDecoder::OnMetaData);
}

DecoderAction BaseAVIDecoder::OnMetaData(bool ok, ByteView bytes) {
    const DecoderAction action = ProcessMetaData(ok ? bytes : ByteView());
    if (action == DDA_READ) {
        return ReadMetaData();
    }
    if (action != DDA_NO_ACTION) {
        return action;
    }
    if (progressShare < 1.0) {
        AddProgress(1.0 / files.Count() * (1.0 - progressShare) * 0.8);
    }
    parser.Reset();
    metaIndex = 0;
    return Close(currentFileId, &BaseAVIDecoder::OnFileClosed);
}

DecoderAction BaseAVIDecoder::OnFileClosed(int32_t) {
    currentFileId = -1;
    if (++currentFileIndex < files.Count()) {
        return OpenCurrentFile();
    }
    return FinishLoad();
}

void BaseAVIDecoder::AddProgress(double share) {
    loadProgress += share;
    ReportProgress(std::min(1.0, loadProgress));
}

DecoderAction BaseAVIDecoder::FinishLoad() {
    if (const DecoderAction action = AssignCameras(); action != DDA_NO_ACTION) {
        return action;
    }
    PopulateFrameInfoList();
    videoStreams.clear();
    ReportProgress(1.0);
    totalFrames = frames.Count();
    if (totalFrames == 0) {
        return Fail("BaseAVIDecoder: Decode Failure (No frames in the frameInfoList!)\n");
    }
    const int64_t first = frames.GetFirstTime() == NoTime ? 0 : frames.GetFirstTime();
    SetTimeSpan(first, frames.GetLastTime());
    StreamTimes::AssignSpreading(frames.begin(), frames.end());
    const PerCameraDatum& camera = *cameras.front();
    SetImageFormat(camera.width, camera.height, 4, 3, colour, totalFrames);
    if (!hasTimeStamps && hasCameraInfo) {
        Log(LogEvent, "Timestamps could not be decoded for this format.");
    } else if (!hasCameraInfo && hasTimeStamps) {
        Log(LogEvent, "Camera information could not be decoded for this format.");
    } else if (!hasCameraInfo && !hasTimeStamps) {
        Log(LogEvent, "Neither camera information nor timestamps could be decoded for this format.");
    }
    return DDA_COMPLETE;
}

// Each camera number met gets its data and codec the first time; every frame learns its index.
DecoderAction BaseAVIDecoder::AssignCameras() {
    for (auto& stream : videoStreams) {
        for (AVIMultiFileFrameInfo& frame : stream->frames) {
            auto known = std::find_if(cameras.begin(), cameras.end(), [&](const auto& camera) {
                return camera->cameraNumber == frame.camera.number;
            });
            if (known == cameras.end()) {
                if (MakeCamera(*stream, frame.camera.number) == nullptr) {
                    return DecoderFailure();
                }
                known = cameras.end() - 1;
            }
            frame.cameraIndex = static_cast<int32_t>(known - cameras.begin());
        }
    }
    return DDA_NO_ACTION;
}

PerCameraDatum* BaseAVIDecoder::MakeCamera(const StreamInfo& stream, int32_t number) {
    auto camera = std::make_unique<PerCameraDatum>();
    camera->cameraNumber = number;
    camera->format = stream.format;
    const uint32_t compression =
        BitmapInfoHeader::Read(ByteView(stream.format.data(), stream.format.size())).compression;
    camera->fourCC = IsDvFourCC(stream.header.fccHandler) ? Dvsd : compression;
    SetupCamera(*camera);
    if (!HasShowableSize(*camera)) {
        Log(LogCore, "BaseAVIDecoder: Decode Failure (picture of %d x %d lines cannot be shown)\n",
            camera->width, camera->height);
        return nullptr;
    }
    if (!ChooseCodec(*camera)) {
        Log(LogCore, "BaseAVIDecoder: Decode Failure (VFW codec failed to initialise))\n");
        return nullptr;
    }
    cameras.push_back(std::move(camera));
    return cameras.back().get();
}

bool BaseAVIDecoder::ChooseCodec(PerCameraDatum& camera) {
    const uint32_t code = camera.fourCC;
    if (code == FourCCLE("MJPG")) {
        camera.codec = AviCodec::Jpeg;
    } else if (code == FourCCLE("MPEG")) {
        camera.codec = AviCodec::Mpeg2;
        camera.videoDecoder = MakeMpeg2Decoder();
    } else if (IsDvFourCC(code)) {
        camera.codec = AviCodec::Dv;
        camera.videoDecoder = std::make_unique<IppDecoderDV25>();
        camera.videoDecoder->Initialise(IppDecoderDV25::Width, IppDecoderDV25::Height50, 3, false);
    } else if (code == FourCCLE("MJ2C")) {
        camera.codec = AviCodec::Jpeg2000;
    } else if (code == FourCCLE("T263")) {
        camera.codec = AviCodec::H263;
        camera.videoDecoder = std::make_unique<IppDecoderH263>();
        camera.videoDecoder->Initialise(camera.width, camera.height, 3, false);
    } else if (IsMpeg4FourCC(code)) {
        camera.codec = AviCodec::Mpeg4;
        camera.videoDecoder = std::make_unique<IppDecoderMPEG4>();
    } else {
        camera.codec = AviCodec::Vfw;
        camera.vfwDecoder = std::make_unique<VFWDecoder>(this);
        uint8_t outFormat[VFWDecoder::CallerFormatBytes] = {};
        if (camera.vfwDecoder->Initialise(CodecFourCC(code), camera.format.data(),
                                          static_cast<uint32_t>(camera.format.size()), outFormat) != 0) {
            return VFWDecoder::IsUncompressedFourCC(code);
        }
        camera.outputFormat = BitmapInfoHeader::Read(ByteView(outFormat, sizeof(outFormat)));
        camera.decodedImage.assign(std::max<uint32_t>(camera.vfwDecoder->OutputImageSize(), 1), 0);
        colour = true;
    }
    return true;
}

std::unique_ptr<IppDecoder> BaseAVIDecoder::MakeMpeg2Decoder() {
    return std::make_unique<IppDecoderMPEG2>();
}

// Merges the video streams by time. On equal times the later stream wins, so the lists are
// handed to the merge, which prefers the earlier list, in reverse.
void BaseAVIDecoder::PopulateFrameInfoList() {
    std::vector<AVIMultiFileFrameInfoList*> lists;
    for (auto stream = videoStreams.rbegin(); stream != videoStreams.rend(); ++stream) {
        lists.push_back(&(*stream)->frames);
    }
    frames.Clear();
    if (lists.empty()) {
        return;
    }
    MergeByLowestTime(lists, [&](const AVIMultiFileFrameInfo& frame, size_t) {
        if (frame.size > 0) {
            frames.Append(frame);
        }
    });
}

// Without time stamps of its own a recording has only the play-back axis.
FrameTimes BaseAVIDecoder::GetFrameTimes() {
    const AVIMultiFileFrameInfo frame = frames.GetAt(currentFrame);
    FrameTimes times{};
    times.streamTime = frame.streamTime;
    if (hasTimeStamps) {
        times.recordedTime = frame.recordedTime == NoTime ? 0 : frame.recordedTime;
    }
    return times;
}

uint64_t BaseAVIDecoder::GetFramePeriod() {
    return static_cast<uint64_t>(frames.EstimateFramePeriod());
}

// The last file a failed load held is closed: the failure is final.
DecoderAction BaseAVIDecoder::FailingCloseComplete(int32_t fileId) {
    const DecoderAction action = FrameListDecoder::FailingCloseComplete(fileId);
    if (!HasOpenFiles()) {
        Log(LogCore,
            "BaseAVIDecoder: Decode Failure (Failing Close Complete, final call to DecoderFailure())\n");
    }
    return action;
}

// ---- fetching a frame through the cache of open files ----

DecoderAction BaseAVIDecoder::DecompressingCore() {
    imageBytes = 0;
    if (currentFrame < 0 || currentFrame >= frames.Count()) {
        Log(LogCore, "!\t\tDecompressingCore called with an out of range value of %d\n", currentFrame);
        return DDA_COMPLETE;
    }
    const int32_t fileIndex = frames.GetAt(currentFrame).fileIndex;
    for (const CacheRow& row : cache) {
        if (row.fileIndex == fileIndex) {
            fetchFileId = row.fileId;
            return PrepareFrameRead();
        }
    }
    if (cache[CacheRows - 1].fileId != -1) {
        return Close(cache[0].fileId, &BaseAVIDecoder::OnFetchEvicted);
    }
    return OpenFetchFile();
}

// The oldest file goes; the others move up a row.
DecoderAction BaseAVIDecoder::OnFetchEvicted(int32_t) {
    std::copy(std::begin(cache) + 1, std::end(cache), std::begin(cache));
    cache[CacheRows - 1] = CacheRow{};
    return OpenFetchFile();
}

DecoderAction BaseAVIDecoder::OpenFetchFile() {
    return Open(files.PathAt(frames.GetAt(currentFrame).fileIndex), &BaseAVIDecoder::OnFetchOpened, nullptr);
}

DecoderAction BaseAVIDecoder::OnFetchOpened(int32_t fileId, uint64_t) {
    if (fileId == -1) {
        return Fail("BaseAVIDecoder: Decode Failure (Bad fileId in DecompressingOpenComplete)\n");
    }
    CacheRow* row =
        std::find_if(std::begin(cache), std::end(cache), [](const CacheRow& r) { return r.fileId == -1; });
    *row = {fileId, frames.GetAt(currentFrame).fileIndex};
    fetchFileId = fileId;
    return PrepareFrameRead();
}

// A key frame, or a frame of a codec without predecessors, is read alone; the frame behind the
// one last read follows on; any other is reached by decoding from the last key frame.
DecoderAction BaseAVIDecoder::PrepareFrameRead() {
    const AVIMultiFileFrameInfo frame = frames.GetAt(currentFrame);
    PerCameraDatum& camera = *cameras[static_cast<size_t>(frame.cameraIndex)];
    camera.imageValid = false;
    if (frame.size == 0) {
        return DDA_COMPLETE;
    }
    const bool standsAlone =
        camera.codec == AviCodec::Jpeg || camera.codec == AviCodec::Jpeg2000 || camera.codec == AviCodec::Dv;
    if ((frame.indexFlags & AviKeyFrameFlag) != 0 || standsAlone) {
        if (camera.codec == AviCodec::Mpeg4 && !camera.videoDecoder->IsInitialised()) {
            return ReadFetchFrame(WalkStart(frame));
        }
        return ReadFetchFrame(currentFrame);
    }
    if (frame.frameInFile == camera.lastFrameRead + 1) {
        if (!camera.decoderReady) {
            camera.lastFrameRead = frame.frameInFile;
            return DDA_COMPLETE;
        }
        return ReadFetchFrame(currentFrame);
    }
    return ReadFetchFrame(WalkStart(frame));
}

// The camera's last key frame at or before the frame in its file; its first frame there when its
// decoder has not yet seen the stream's header.
int32_t BaseAVIDecoder::WalkStart(const AVIMultiFileFrameInfo& current) {
    PerCameraDatum& camera = *cameras[static_cast<size_t>(current.cameraIndex)];
    const bool fromFirst = camera.videoDecoder != nullptr && !camera.videoDecoder->IsInitialised();
    if (camera.videoDecoder != nullptr) {
        camera.videoDecoder->Reset();
    }
    int32_t start = currentFrame;
    for (int32_t index = currentFrame; index >= 0; --index) {
        const AVIMultiFileFrameInfo frame = frames.GetAt(index);
        if (frame.cameraIndex != current.cameraIndex || frame.fileIndex != current.fileIndex) {
            continue;
        }
        if (fromFirst) {
            start = index;
        } else if ((frame.indexFlags & AviKeyFrameFlag) != 0) {
            return index;
        }
    }
    return start;
}

int32_t BaseAVIDecoder::NextFrameInFile(int32_t frame) {
    const AVIMultiFileFrameInfo from = frames.GetAt(frame);
    for (int32_t index = frame + 1; index <= currentFrame; ++index) {
        const AVIMultiFileFrameInfo next = frames.GetAt(index);
        if (next.cameraIndex == from.cameraIndex && next.fileIndex == from.fileIndex) {
            return index;
        }
    }
    return currentFrame;
}

// The read takes the head of the following chunk too: 8 bytes more than the frame.
DecoderAction BaseAVIDecoder::ReadFetchFrame(int32_t frame) {
    readingFrame = frame;
    const AVIMultiFileFrameInfo record = frames.GetAt(frame);
    return Read(fetchFileId, record.offset, record.size + 8, &BaseAVIDecoder::OnFetchRead,
                "\t\tBaseAVIDecoder: Decode Failure (DecompressingReadComplete failed while positioning)\n");
}

DecoderAction BaseAVIDecoder::OnFetchRead(ByteView bytes) {
    const AVIMultiFileFrameInfo frame = frames.GetAt(readingFrame);
    PerCameraDatum& camera = *cameras[static_cast<size_t>(frame.cameraIndex)];
    camera.lastFrameRead = frame.frameInFile;
    if (readingFrame == currentFrame) {
        camera.imageValid = true;
        imageBytes = OwnFrameBytes(frame);
        return DDA_COMPLETE;
    }
    if (!AdvanceDecoder(camera, frame, bytes.Sub(0, frame.size))) {
        camera.decoderReady = false;
        return DDA_COMPLETE;
    }
    camera.decoderReady = true;
    return ReadFetchFrame(NextFrameInFile(readingFrame));
}

// A frame on the way to the wanted one: the codec's state moves on, its picture is dropped.
bool BaseAVIDecoder::AdvanceDecoder(PerCameraDatum& camera, const AVIMultiFileFrameInfo& frame,
                                    ByteView bytes) {
    const auto size = static_cast<int32_t>(bytes.Size());
    if (camera.vfwDecoder != nullptr) {
        uint8_t outFormat[VFWDecoder::CallerFormatBytes] = {};
        return camera.vfwDecoder->Decompress(bytes.Data(), static_cast<uint32_t>(size), outFormat,
                                             camera.decodedImage.data(),
                                             static_cast<uint32_t>(camera.decodedImage.size()),
                                             frame.indexFlags, static_cast<uint32_t>(frame.frameInFile)) == 0;
    }
    if (camera.videoDecoder == nullptr) {
        return true;
    }
    if (!camera.videoDecoder->IsInitialised() &&
        !camera.videoDecoder->Initialise(camera.width, camera.height, 3, false, bytes.Data(), size)) {
        return false;
    }
    return camera.videoDecoder->DecodeSkippingPicture(bytes.Data(), size);
}

bool BaseAVIDecoder::GetImage(int32_t bufferSize, uint8_t* buffer) {
    if (currentFrame < 0 || currentFrame >= frames.Count()) {
        Log(LogCore,
            "\t\tBaseAVIDecoder: Decode Failure (!!!GetImage called with an out of range value of %d)\n",
            currentFrame);
        return false;
    }
    const AVIMultiFileFrameInfo frame = frames.GetAt(currentFrame);
    PerCameraDatum& camera = *cameras[static_cast<size_t>(frame.cameraIndex)];
    if (!camera.imageValid || imageBytes == 0) {
        if (camera.codec == AviCodec::Vfw) {
            Log(LogCore, "\t\tBaseAVIDecoder: GetImage: Failed to get frame - image invalid: %d\n",
                currentFrame);
        }
        return false;
    }
    if (!DecodeToImage(camera, frame, bufferSize, buffer)) {
        camera.decoderReady = false;
        return false;
    }
    camera.lastFrameDecoded = frame.frameInFile;
    camera.decoderReady = true;
    return true;
}

bool BaseAVIDecoder::DecodeToImage(PerCameraDatum& camera, const AVIMultiFileFrameInfo& frame,
                                   int32_t bufferSize, uint8_t* buffer) {
    const uint8_t* data = readBuffer.Data();
    const auto size = static_cast<int32_t>(imageBytes);
    switch (camera.codec) {
    case AviCodec::Jpeg:
        return JpegDecodeToBuffer(camera.jpegScratch, data, size, buffer, bufferSize);
    case AviCodec::Jpeg2000:
        return Jpeg2000Decode(false, imageBytes, data, buffer, static_cast<uint32_t>(bufferSize));
    case AviCodec::Vfw:
        return DecodeThroughVfw(camera, frame, bufferSize, buffer);
    default:
        break;
    }
    IppDecoder& decoder = *camera.videoDecoder;
    if (!decoder.IsInitialised() && !decoder.Initialise(camera.width, camera.height, 3, false, data, size)) {
        return false;
    }
    return decoder.Decode(data, size, buffer, bufferSize);
}

// Pictures of a driver come as DIBs, bottom row first.
bool BaseAVIDecoder::DecodeThroughVfw(PerCameraDatum& camera, const AVIMultiFileFrameInfo& frame,
                                      int32_t bufferSize, uint8_t* buffer) {
    if (buffer == nullptr) {
        Log(LogCore, "\t\tBaseAVIDecoder: Decode Failure (GetImage: output buffer is null)\n");
        return false;
    }
    uint8_t outFormat[VFWDecoder::CallerFormatBytes] = {};
    if (camera.vfwDecoder->Decompress(readBuffer.Data(), imageBytes, outFormat, camera.decodedImage.data(),
                                      static_cast<uint32_t>(camera.decodedImage.size()), frame.indexFlags,
                                      static_cast<uint32_t>(frame.frameInFile)) != 0) {
        Log(LogCore, "\t\tBaseAVIDecoder: GetImage: Failed to get frame %d\n", currentFrame);
        return false;
    }
    return CopyDibTopDown(outFormat, sizeof(outFormat), camera.decodedImage.data(),
                          camera.decodedImage.size(), buffer, static_cast<size_t>(bufferSize));
}

} // namespace Vorn::Vorncast::Decoders
