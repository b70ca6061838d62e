#include "formats/viseum/DecodeViseum.h"

#include "core/binary/FourCC.h"
#include "core/time/Ticks.h"
#include "formats/shared/FrameListQueries.h"
#include "formats/shared/IndexRows.h"

#include <cstring>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr const char* ReadFailure = "DecodeViseum::LoadingReadComplete failed with bad result\n";

// A chunk head: tag, size of what follows the first 8 bytes, and the sub-type of a "LIST".
struct ChunkHead {
    uint32_t tag;
    uint32_t size;
    uint32_t subType;
};

ChunkHead ParseChunkHead(ByteView bytes) {
    ByteReader r(bytes);
    ChunkHead head;
    head.tag = r.U32LE();
    head.size = r.U32LE();
    head.subType = r.U32LE();
    return head;
}

} // namespace

void DecodeViseum::ForgetRecording() {
    frames.Clear();
    cameras.Clear();
    fileId = -1;
    fileSize = 0;
    position = 0;
    indexOffset = 0;
    indexSize = 0;
    imageSize = 0;
}

// ---- query: the file's tag ----

DecoderAction DecodeViseum::QueryingCore() {
    return Open(loadName, &DecodeViseum::OnQueryOpened, nullptr);
}

DecoderAction DecodeViseum::OnQueryOpened(int32_t newFileId, uint64_t newFileSize) {
    if (newFileId == -1 || newFileSize < 4) {
        return DecoderFailure();
    }
    fileId = newFileId;
    return Read(fileId, 0, 4, &DecodeViseum::OnQueryMagic, nullptr);
}

DecoderAction DecodeViseum::OnQueryMagic(ByteView magic) {
    if (!magic.Matches(0, "VIS1")) {
        queryConfidence = 0;
        return DecoderFailure();
    }
    queryConfidence = 100;
    return Close(fileId, &DecodeViseum::OnQueryClosed);
}

// ---- loading: the camera lists on the way through the chunks, then the index the hint names ----

DecoderAction DecodeViseum::LoadingCore() {
    Reset();
    return Open(loadName, &DecodeViseum::OnOpened, nullptr);
}

DecoderAction DecodeViseum::OnOpened(int32_t newFileId, uint64_t newFileSize) {
    if (newFileId == -1 || newFileSize < 20) {
        return Fail("DecodeViseum::LoadingOpenComplete failed with bad fileId or fileSize\n");
    }
    fileId = newFileId;
    fileSize = newFileSize;
    return Read(fileId, 0, 4, &DecodeViseum::OnMagic, ReadFailure);
}

DecoderAction DecodeViseum::OnMagic(ByteView magic) {
    if (!magic.Matches(0, "VIS1")) {
        return Fail("DecodeViseum::LoadingReadComplete failing because file has no VIS1 tag\n");
    }
    position = 8;
    return WalkChunks();
}

DecoderAction DecodeViseum::WalkChunks() {
    if (position > fileSize - ChunkHeadSize) {
        return ReadHint();
    }
    ReportProgress(static_cast<double>(position) / static_cast<double>(fileSize));
    return Read(fileId, position, ChunkHeadSize, &DecodeViseum::OnChunkHead, ReadFailure);
}

// A chunk whose size carries the walk past the end is taken for a damaged one: the walk ends
// there, and the index is looked for where the hint says.
DecoderAction DecodeViseum::OnChunkHead(ByteView bytes) {
    ChunkHead head = ParseChunkHead(bytes);
    const uint64_t chunk = position;
    const uint64_t next = position + head.size + 8;
    if (head.tag == FourCCLE("LIST") && head.subType == FourCCLE("CAMI")) {
        position = next;
        return Read(fileId, chunk + ChunkHeadSize, head.size - 4, &DecodeViseum::OnCameraList, ReadFailure);
    }
    if (head.tag != FourCCLE("LIST") && next > fileSize - ChunkHeadSize) {
        Log(LogCore,
            "DecodeViseum::LoadingReadComplete suspect chunk encountered (tag 0x%x) high probability of "
            "failure\n",
            head.tag);
        return ReadHint();
    }
    position = next;
    return WalkChunks();
}

// The camera list entry: number at 8, the length of the name at 16, the name at 20.
DecoderAction DecodeViseum::OnCameraList(ByteView body) {
    if (!body.Matches(0, "CNUM")) {
        return Fail(
            "DecodeViseum::LoadingReadComplete failing because first camera list entry has bad tag\n");
    }
    CameraTag camera{};
    camera.number = body.U16LE(8);
    body.Text(20, body.U16LE(16), camera.name);
    cameras.Set(camera);
    return WalkChunks();
}

DecoderAction DecodeViseum::ReadHint() {
    return Read(fileId, fileSize - ChunkHeadSize, ChunkHeadSize, &DecodeViseum::OnHint, ReadFailure);
}

DecoderAction DecodeViseum::OnHint(ByteView hint) {
    if (!hint.Matches(0, "HINT")) {
        return Fail(
            "DecodeViseum::LoadingReadComplete failing because HINT was not found in expected location\n");
    }
    indexOffset = hint.U32LE(8);
    return Read(fileId, indexOffset, ChunkHeadSize, &DecodeViseum::OnIndexHead, ReadFailure);
}

DecoderAction DecodeViseum::OnIndexHead(ByteView bytes) {
    ChunkHead head = ParseChunkHead(bytes);
    if (head.tag != FourCCLE("LIST")) {
        return Fail("DecodeViseum::LoadingReadComplete failing because index list was not found in expected "
                    "location\n");
    }
    if (head.subType != FourCCLE("INDX")) {
        return Fail(
            "DecodeViseum::LoadingReadCOmplete failing because index list's stated type is invalid\n");
    }
    return Read(fileId, indexOffset + ChunkHeadSize, head.size - 8, &DecodeViseum::OnIndex, ReadFailure);
}

// Entries of 28 bytes: "IDX1", the offset of the picture's chunk at 12, the camera at 16, the time
// in tenths of milliseconds since 1970 at 20. Each chunk reaches to the next, the last to the index.
DecoderAction DecodeViseum::OnIndex(ByteView body) {
    if (!body.Matches(0, "IDX1")) {
        return Fail("DecodeViseum::LoadingReadComplete failing because index list entry had invalid tag\n");
    }
    IndexRows rows(body, 0, body.Size() / EntrySize, EntrySize);
    rows.ForEach([this](ByteReader& row) {
        if (!row.SkipIfMatches("IDX1")) {
            Log(LogCore, "DecodeViseum::LoadingReadComplete got invalid tag in the middle of a list\n");
            return;
        }
        row.Skip(8); // not read
        FrameInfo frame{};
        frame.offset = row.U32LE();
        frame.camera.number = row.U16LE();
        row.Skip(2); // kept by the recorder with the span's last word, not read here
        frame.recordedTime = TicksFromUnixMilliseconds(row.U64LE() / 10);
        frame.streamTime = frame.recordedTime;
        frames.Append(frame);
    });
    uint64_t end = indexOffset;
    for (int32_t index = frames.Count() - 1; index >= 0; --index) {
        FrameInfo* frame = frames.RecordAt(index);
        frame->size = static_cast<uint32_t>(end - frame->offset);
        end = frame->offset;
    }
    if (frames.Count() == 0) {
        return Fail("DecodeViseum::LoadingReadComplete failing because index list entry had invalid tag\n");
    }
    const FrameInfo* first = frames.RecordAt(0);
    return Read(fileId, first->offset, first->size, &DecodeViseum::OnFirstFrame, ReadFailure);
}

// The picture size comes from the first frame's JPEG, behind its chunk's head.
DecoderAction DecodeViseum::OnFirstFrame(ByteView chunk) {
    ByteView jpeg = chunk.From(8);
    int32_t width = 0, height = 0;
    JpegReadHeader(jpeg.Data(), static_cast<int32_t>(jpeg.Size()), &width, &height, nullptr);
    SetImageFormat(width, height, width, height, true, frames.Count());
    SetTimeSpan(TimesOfFrame(frames.GetAt(0)), TimesOfFrame(frames.GetAt(frames.Count() - 1)));
    ReportProgress(1.0);
    return DDA_COMPLETE;
}

// ---- fetching a frame: its chunk, behind the head ----

DecoderAction DecodeViseum::DecompressingCore() {
    imageSize = 0;
    FrameInfo frame = frames.GetAt(currentFrame);
    return Read(fileId, frame.offset + 8, frame.size, &DecodeViseum::OnFrame,
                "DecodeViseum::DecompressingReadComplete failed with bad result\n");
}

DecoderAction DecodeViseum::OnFrame(ByteView jpeg) {
    imageSize = static_cast<uint32_t>(jpeg.Size());
    return DDA_COMPLETE;
}

bool DecodeViseum::GetImage(int32_t bufferSize, uint8_t* buffer) {
    return imageSize > 0 && JpegDecodeToBuffer(jpegScratch, readBuffer.Data(),
                                               static_cast<int32_t>(imageSize), buffer, bufferSize);
}

// ---- times and cameras ----

FrameTimes DecodeViseum::GetFrameTimes() {
    return TimesOfFrame(frames.GetAt(currentFrame));
}

void DecodeViseum::GetFrameCamera(CameraTag* camera) {
    cameras.GetByNumber(frames.GetAt(currentFrame).camera.number, *camera);
}

int32_t DecodeViseum::GetPreviousFrame(int32_t frame, int32_t camera) {
    return PreviousFrameOfCamera(frames, frame, camera);
}

int32_t DecodeViseum::GetNextFrame(int32_t frame, int32_t camera) {
    return NextFrameOfCamera(frames, frame, camera);
}

void DecodeViseum::GetCameras(uint8_t* mask) {
    MarkFrameCameras(frames, mask);
}

} // namespace Vorn::Vorncast::Decoders
