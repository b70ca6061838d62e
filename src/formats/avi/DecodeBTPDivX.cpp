#include "formats/avi/DecodeBTPDivX.h"

#include "core/time/Ticks.h"

#include <cstdio>
#include <cstring>
#include <string>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr uint32_t RecordBytes = 420;
constexpr uint8_t VopStart[] = {0x00, 0x00, 0x01, 0xB6};
constexpr size_t StemPlace = 5;
constexpr size_t StemLength = 8;

// The time of a metadata record: BCD hour, minute, second at 16, milliseconds of four digits at 19,
// day, month at 21 and a four-digit year at 23. False when a field is out of range.
bool ReadRecordTime(ByteView record, int64_t* ticks) {
    uint64_t hour = 0, minute = 0, second = 0, milliseconds = 0, day = 0, month = 0, year = 0;
    const bool digits = record.BcdRun(16, 1, &hour) && record.BcdRun(17, 1, &minute) &&
                        record.BcdRun(18, 1, &second) && record.BcdRun(19, 2, &milliseconds) &&
                        record.BcdRun(21, 1, &day) && record.BcdRun(22, 1, &month) &&
                        record.BcdRun(23, 2, &year);
    if (!digits || month < 1 || month > 12 || day < 1 || day > 31 || hour > 23 || minute > 59 ||
        second > 59 || milliseconds > 999) {
        return false;
    }
    *ticks = TicksFromSystemTime(static_cast<int32_t>(year), static_cast<int32_t>(month),
                                 static_cast<int32_t>(day), static_cast<int32_t>(hour),
                                 static_cast<int32_t>(minute), static_cast<int32_t>(second),
                                 static_cast<int32_t>(milliseconds));
    return true;
}

} // namespace

DecodeBTPDivX::DecodeBTPDivX(const DecoderRow& row) : BaseAVIDecoder(row) {
    nameWithFourCC = false;
    multiFile = true;
}

void DecodeBTPDivX::ForgetRecording() {
    BaseAVIDecoder::ForgetRecording();
    records.clear();
}

bool DecodeBTPDivX::ValidateFourCC(uint32_t code) {
    BaseAVIDecoder::ValidateFourCC(code);
    return code == FourCCLE("divx") || code == FourCCLE("DIVX");
}

bool DecodeBTPDivX::ValidateAVIStreams() {
    bool video = false;
    for (int32_t index = 0; index < parser.StreamCount(); ++index) {
        video = video || parser.GetStream(index)->type == FourCCLE("vids");
    }
    if (!video) {
        Log(0, "DecodeBTPDivX: DecoderFailure() called due to no video stream being found\n");
        return false;
    }
    if (FindTextStream() == nullptr) {
        Log(0, "DecodeBTPDivX: DecoderFailure() called due to no metadata stream being found\n");
        return false;
    }
    return true;
}

// The files of one recording share the eight characters from place 5 of their names.
DecoderAction DecodeBTPDivX::ListRecordingFiles() {
    const char* slash = std::strrchr(loadName, '/');
    const std::string name = slash != nullptr ? slash + 1 : "";
    if (slash == nullptr || name.size() < StemPlace + StemLength) {
        return Fail("DecodeGenericAVI: Decode Failure (Error processing loadName)\n");
    }
    const std::string mask = "*" + name.substr(StemPlace, StemLength) + "*.avi";
    return ListFiles(files.ListingDirectoryOf(loadName), mask.c_str(), 0, &DecodeBTPDivX::OnFilesListed);
}

// Names that share their stem sort by what follows it, which is the order of the whole names.
DecoderAction DecodeBTPDivX::ProcessFileList(FileList& listed) {
    files.Take(listed);
    files.SortByName();
    if (files.Count() == 0) {
        return Fail("DecodeGenericAVI: Decode Failure (empty file list)\n");
    }
    return DDA_COMPLETE;
}

int32_t DecodeBTPDivX::VideoFrameCount() {
    AVIMultiFileFrameInfoList* frames = CurrentFileFrames();
    return frames != nullptr ? frames->Count() : 0;
}

// First every video frame, for its picture type; then every metadata record.
void DecodeBTPDivX::MetaDataReadParameters(uint64_t* offset, uint32_t* size) {
    const int32_t videoFrames = VideoFrameCount();
    if (metaIndex < videoFrames) {
        const AVIMultiFileFrameInfo frame = CurrentFileFrames()->GetAt(metaIndex);
        *offset = frame.offset;
        *size = frame.size;
        return;
    }
    const int32_t saved = metaIndex;
    metaIndex -= videoFrames;
    if (!TextFrameAt(FindTextStream(), offset, size)) {
        *offset = 0;
        *size = 1;
    }
    metaIndex = saved;
}

DecoderAction DecodeBTPDivX::ProcessMetaData(ByteView bytes) {
    const int32_t videoFrames = VideoFrameCount();
    const int32_t textFrames = FindTextStream() != nullptr ? FindTextStream()->frames.Count() : 0;
    const DecoderAction action = metaIndex < videoFrames ? MarkKeyFrame(bytes) : ReadRecord(bytes);
    if (action != DDA_READ) {
        return action;
    }
    if (++metaIndex < videoFrames + textFrames) {
        return DDA_READ;
    }
    TagVideoFrames();
    records.clear();
    return DDA_NO_ACTION;
}

// A VOP whose coding type is I starts a key frame; a frame of four bytes holds no picture.
DecoderAction DecodeBTPDivX::MarkKeyFrame(ByteView bytes) {
    if (!isDivX || bytes.Size() == 4) {
        return DDA_READ;
    }
    const size_t start =
        bytes.Find(std::string_view(reinterpret_cast<const char*>(VopStart), sizeof(VopStart)));
    if (start == ByteView::npos || !bytes.Has(start + 4, 1)) {
        return Fail("DecodeBTPDivX: DecoderFailure() called due to a video frame without a picture start\n");
    }
    AVIMultiFileFrameInfoList* frames = CurrentFileFrames();
    AVIMultiFileFrameInfo frame = frames->GetAt(metaIndex);
    frame.indexFlags = bytes.U8(start + 4) < 64 ? AviKeyFrameFlag : 0;
    frames->ReplaceAt(metaIndex, frame);
    return DDA_READ;
}

DecoderAction DecodeBTPDivX::ReadRecord(ByteView bytes) {
    Record record{};
    const AVIMultiFileFrameInfo text = FindTextStream()->frames.GetAt(metaIndex - VideoFrameCount());
    record.offset = text.offset;
    if (bytes.Size() < RecordBytes || !ReadRecordTime(bytes, &record.time)) {
        return Fail("DecodeBTPDivX: DecoderFailure() called due to out of range metadata\n");
    }
    bytes.Text(0, 8, record.name);
    records.push_back(record);
    return DDA_READ;
}

// Each video frame takes the record last before it in the file; frames before the first record
// take the first.
void DecodeBTPDivX::TagVideoFrames() {
    AVIMultiFileFrameInfoList* frames = CurrentFileFrames();
    if (frames == nullptr || records.empty()) {
        return;
    }
    size_t record = 0;
    for (AVIMultiFileFrameInfo& frame : *frames) {
        while (record + 1 < records.size() && records[record + 1].offset < frame.offset) {
            ++record;
        }
        frame.recordedTime = records[record].time;
        frame.streamTime = frame.recordedTime;
        frame.camera.number = 1;
        std::snprintf(frame.camera.name, sizeof(frame.camera.name), "%s", records[record].name);
    }
}

} // namespace Vorn::Vorncast::Decoders
