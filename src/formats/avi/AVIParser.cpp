#include "formats/avi/AVIParser.h"

#include "formats/riff/RiffChunks.h"
#include "formats/shared/TypeDispatch.h"

#include <algorithm>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr uint32_t Avi = FourCCLE("AVI ");
constexpr uint32_t Movi = FourCCLE("movi");
constexpr uint32_t Idx1 = FourCCLE("idx1");
constexpr uint32_t Indx = FourCCLE("indx");
constexpr uint32_t Strh = FourCCLE("strh");
constexpr uint32_t StreamHeaderBytes = 64;
constexpr uint32_t IndexHeadBytes = 32;
constexpr uint32_t LegacyEntryBytes = 16;
constexpr uint8_t IndexOfIndexes = 0;
constexpr uint8_t IndexOfChunks = 1;

bool IsDigit(uint8_t c) {
    return c >= '0' && c <= '9';
}

// The stream number of the two leading digits of a chunk code, as "01wb" is stream 1.
int32_t DigitPair(uint32_t code) {
    return (static_cast<int32_t>(code & 0xFF) - '0') * 10 + (static_cast<int32_t>(code >> 8 & 0xFF) - '0');
}

bool StartsWithDigits(uint32_t code) {
    return IsDigit(code & 0xFF) && IsDigit(code >> 8 & 0xFF);
}

// The head of an OpenDML index chunk, super index ("indx") and standard index ("ix##") alike.
struct OdmlIndexHead {
    uint16_t longsPerEntry;
    uint8_t indexType;
    uint32_t entriesInUse;
    uint32_t chunkId;
    uint64_t baseOffset; // the standard index's; the super index keeps reserved bytes there
};

OdmlIndexHead ReadOdmlIndexHead(ByteView bytes) {
    ByteReader r(bytes);
    OdmlIndexHead head{};
    r.Skip(8); // fcc, cb
    head.longsPerEntry = r.U16LE();
    r.Skip(1); // bIndexSubType
    head.indexType = r.U8();
    head.entriesInUse = r.U32LE();
    head.chunkId = r.U32LE();
    head.baseOffset = r.U64LE();
    return head;
}

} // namespace

AviStreamHeader AviStreamHeader::Read(ByteView bytes) {
    ByteReader r(bytes);
    AviStreamHeader h{};
    h.fcc = r.U32LE();
    h.cb = r.U32LE();
    h.fccType = r.U32LE();
    h.fccHandler = r.U32LE();
    h.flags = r.U32LE();
    h.priority = r.U16LE();
    h.language = r.U16LE();
    h.initialFrames = r.U32LE();
    h.scale = r.U32LE();
    h.rate = r.U32LE();
    h.start = r.U32LE();
    h.length = r.U32LE();
    h.suggestedBufferSize = r.U32LE();
    h.quality = r.U32LE();
    h.sampleSize = r.U32LE();
    for (int16_t& edge : h.frame) {
        edge = r.I16LE();
    }
    return h;
}

void AVIParser::Reset() {
    const uint32_t magic = riffMagic;
    const bool forced = forceStreamCount;
    const int32_t forcedCount = forcedStreamCount;
    *this = AVIParser();
    riffMagic = magic;
    forceStreamCount = forced;
    forcedStreamCount = forcedCount;
}

AviParseRequest AVIParser::Start(ByteView bytes) {
    if (!fresh) {
        Reset();
    }
    fresh = false;
    position = 0;
    state = 0;
    return Step(bytes);
}

AviParseRequest AVIParser::Ask(int64_t offset, int64_t size, int32_t nextState) {
    if (size < 0 || size > INT32_MAX) {
        return Stop();
    }
    nextOffset = offset;
    nextSize = static_cast<int32_t>(size);
    state = nextState;
    return Current();
}

AviParseRequest AVIParser::Stop(int32_t code) {
    nextOffset = code;
    nextSize = code;
    state = code == MoviTooEarly ? MoviTooEarly : state;
    return Current();
}

AviParseRequest AVIParser::Step(ByteView bytes) {
    switch (state) {
    case 0:
        return ReadFileHead(bytes);
    case 1:
        return ReadChunkHead(bytes);
    case 2:
        return ReadChunkBody(bytes);
    case 3:
        return ReadListType(bytes);
    case 4:
        return ReadBehindFormat(bytes);
    case 5:
        return ReadSuperIndex(bytes);
    case 6:
        return ReadStandardIndex(bytes);
    case 8:
        return ReadIndexHead(bytes);
    case 9:
        return ReadLegacyIndex(bytes);
    case NoIndexState:
        // No index to read and no scan of movi: the same read again, until the host aborts.
        return Current();
    default:
        return Stop();
    }
}

AviParseRequest AVIParser::ReadFailed() {
    if (state == 8) {
        return Ask(static_cast<int64_t>(moviPosition), 4, NoIndexState);
    }
    return Stop();
}

AviParseRequest AVIParser::ReadFileHead(ByteView bytes) {
    if (!bytes.Has(0, 12) || bytes.U32LE(0) != riffMagic) {
        return Stop();
    }
    chunkId = riffMagic;
    riffSize = bytes.U32LE(4);
    position = 8;
    return Ask(8, 4, 2);
}

AviParseRequest AVIParser::ReadChunkHead(ByteView bytes) {
    if (!bytes.Has(0, RiffChunkHeaderSize)) {
        return Stop();
    }
    chunkId = bytes.U32LE(0);
    chunkSize = bytes.U32LE(4);
    switch (chunkId) {
    case FourCCLE("avih"):
    case FourCCLE("strd"):
    case Indx:
    case FourCCLE("strf"):
        position += RiffChunkHeaderSize;
        return Ask(static_cast<int64_t>(position), chunkSize, 2);
    case Strh:
        // The stream header is kept with its chunk head.
        return Ask(static_cast<int64_t>(position), chunkSize, 2);
    case FourCCLE("strn"):
        // One byte more tells a padded name from an unpadded one.
        position += RiffChunkHeaderSize;
        return Ask(static_cast<int64_t>(position), int64_t{chunkSize} + 1, 2);
    case ListTag:
        position += RiffChunkHeaderSize;
        return Ask(static_cast<int64_t>(position), 4, 3);
    default:
        position += uint64_t{chunkSize} + RiffChunkHeaderSize;
        return Ask(static_cast<int64_t>(position), RiffChunkHeaderSize, 1);
    }
}

AviParseRequest AVIParser::ReadListType(ByteView bytes) {
    listSeen = true;
    if (bytes.U32LE(0) == Movi && !allStreamsSeen) {
        return Stop(MoviTooEarly);
    }
    return Ask(static_cast<int64_t>(position), allStreamsSeen ? RiffChunkHeaderSize : chunkSize, 2);
}

AviParseRequest AVIParser::ReadChunkBody(ByteView bytes) {
    if (chunkId == riffMagic) {
        if (bytes.U32LE(0) != Avi) {
            return Stop();
        }
        position += 4;
        return Ask(static_cast<int64_t>(position), RiffChunkHeaderSize, 1);
    }
    switch (chunkId) {
    case FourCCLE("avih"):
        return ReadMainHeader(bytes);
    case Strh:
        return ReadStreamHeader(bytes);
    case FourCCLE("strn"):
        return ReadStreamName(bytes);
    case FourCCLE("strf"):
        if (streamIndex < StreamCount()) {
            streams[static_cast<size_t>(streamIndex)]->format.assign(bytes.begin(), bytes.end());
        }
        position += chunkSize;
        return Ask(static_cast<int64_t>(position), RiffChunkHeaderSize, 4);
    case ListTag:
        return ReadList(bytes);
    default: // strd, and an indx met outside its place behind strf
        position += chunkSize;
        return Ask(static_cast<int64_t>(position), RiffChunkHeaderSize, 1);
    }
}

AviParseRequest AVIParser::ReadMainHeader(ByteView bytes) {
    ByteReader r(bytes);
    mainHeader.microSecPerFrame = r.U32LE();
    mainHeader.maxBytesPerSec = r.U32LE();
    mainHeader.paddingGranularity = r.U32LE();
    mainHeader.flags = r.U32LE();
    mainHeader.totalFrames = r.U32LE();
    mainHeader.initialFrames = r.U32LE();
    mainHeader.streams = r.U32LE();
    mainHeader.suggestedBufferSize = r.U32LE();
    mainHeader.width = r.U32LE();
    mainHeader.height = r.U32LE();
    hasIndex = (mainHeader.flags & AviHasIndexFlag) != 0;
    const int64_t count = forceStreamCount ? forcedStreamCount : int64_t{mainHeader.streams};
    if (count < 0 || count > MaxStreams) {
        return Stop();
    }
    streams.clear();
    for (int64_t index = 0; index < count; ++index) {
        streams.push_back(std::make_unique<StreamInfo>());
    }
    position += chunkSize;
    return Ask(static_cast<int64_t>(position), RiffChunkHeaderSize, 1);
}

AviParseRequest AVIParser::ReadStreamHeader(ByteView bytes) {
    uint8_t image[StreamHeaderBytes] = {};
    std::copy_n(bytes.begin(), std::min<size_t>(bytes.Size(), StreamHeaderBytes), image);
    const AviStreamHeader header = AviStreamHeader::Read(ByteView(image, StreamHeaderBytes));
    position += uint64_t{header.cb} + RiffChunkHeaderSize;
    if (streamIndex < StreamCount()) {
        StreamInfo& stream = *streams[static_cast<size_t>(streamIndex)];
        stream.type = header.fccType;
        stream.header = header;
    }
    return Ask(static_cast<int64_t>(position), RiffChunkHeaderSize, 1);
}

// A name of odd length may lack its pad byte: then the extra byte read is the next chunk's first.
AviParseRequest AVIParser::ReadStreamName(ByteView bytes) {
    const bool padded = bytes.U8(chunkSize) == 0;
    position += uint64_t{chunkSize} + (padded ? 1 : 0);
    return Ask(static_cast<int64_t>(position), RiffChunkHeaderSize, 1);
}

AviParseRequest AVIParser::ReadList(ByteView bytes) {
    switch (bytes.U32LE(0)) {
    case FourCCLE("hdrl"):
        headerListEnd = position + chunkSize;
        position += 4;
        break;
    case FourCCLE("strl"):
    case FourCCLE("rec "):
        position += 4;
        break;
    case Movi:
        moviPosition = position;
        moviSize = chunkSize;
        if (!hasIndex) {
            return Ask(static_cast<int64_t>(moviPosition), 4, NoIndexState);
        }
        position += chunkSize;
        return Ask(static_cast<int64_t>(position), RiffChunkHeaderSize, 8);
    default: // INFO, info and any other list
        position += chunkSize;
        break;
    }
    return Ask(static_cast<int64_t>(position), RiffChunkHeaderSize, 1);
}

AviParseRequest AVIParser::ReadBehindFormat(ByteView bytes) {
    if (bytes.U32LE(0) == Indx) {
        // The whole chunk with its head: the super index's fields start at the head.
        return Ask(static_cast<int64_t>(position), int64_t{bytes.U32LE(4)} + RiffChunkHeaderSize, 5);
    }
    ++streamIndex;
    if (streamIndex >= StreamCount()) {
        allStreamsSeen = true;
        position = std::max(position, headerListEnd);
    }
    return Ask(static_cast<int64_t>(position), RiffChunkHeaderSize, 1);
}

AviParseRequest AVIParser::ReadIndexHead(ByteView bytes) {
    if (bytes.U32LE(0) != Idx1) {
        return Stop();
    }
    return Ask(static_cast<int64_t>(position + RiffChunkHeaderSize), bytes.U32LE(4), 9);
}

AviParseRequest AVIParser::ReadLegacyIndex(ByteView bytes) {
    for (size_t at = 0; at + LegacyEntryBytes <= bytes.Size(); at += LegacyEntryBytes) {
        ByteReader r(bytes, at);
        const uint32_t code = r.U32LE();
        const uint32_t flags = r.U32LE();
        const uint32_t chunkOffset = r.U32LE();
        const uint32_t length = r.U32LE();
        if (!StartsWithDigits(code)) {
            if (code == FourCCLE("rec ")) {
                continue;
            }
            break; // the index ends at a foreign entry; what came before stays
        }
        const int32_t stream = DigitPair(code);
        if (stream >= StreamCount()) {
            continue;
        }
        uint64_t offset = uint64_t{chunkOffset} + RiffChunkHeaderSize;
        // Offsets counted from movi put the first chunk just behind the list's type.
        if (streams[0]->frames.Count() == 0 && offset < 13) {
            relativeIndex = true;
        }
        if (relativeIndex) {
            offset += moviPosition;
        }
        AddFrame(stream, offset, length, code, flags);
    }
    return Finish();
}

void AVIParser::AddFrame(int32_t stream, uint64_t offset, uint32_t size, uint32_t code, uint32_t flags) {
    if (size == 0) {
        return;
    }
    StreamInfo& info = *streams[static_cast<size_t>(stream)];
    AVIMultiFileFrameInfo frame{};
    // Provisional: the decoder gives every frame its own time.
    frame.recordedTime = static_cast<int64_t>(uint64_t{mainHeader.microSecPerFrame} * 10 * entryCounter);
    frame.streamTime = frame.recordedTime;
    frame.offset = offset;
    frame.size = size;
    frame.chunkId = code;
    frame.indexFlags = flags;
    frame.cameraIndex = -1;
    frame.frameInFile = info.frames.Count();
    info.frames.Append(frame);
    ++entryCounter;
}

AviParseRequest AVIParser::ReadSuperIndex(ByteView bytes) {
    const OdmlIndexHead head = ReadOdmlIndexHead(bytes);
    superEntries.clear();
    const uint64_t words = uint64_t{head.longsPerEntry} * head.entriesInUse;
    for (uint64_t word = 0; word < words && bytes.Has(IndexHeadBytes + word * 4, 4); ++word) {
        superEntries.push_back(bytes.U32LE(IndexHeadBytes + word * 4));
    }
    if (head.indexType != IndexOfIndexes) {
        return Stop();
    }
    superEntry = 0;
    return AskSuperEntry();
}

// A super index entry is four words: the block's 64-bit offset, its size and its duration.
AviParseRequest AVIParser::AskSuperEntry() {
    if (uint64_t{superEntry} + 4 > superEntries.size()) {
        return Finish();
    }
    const uint64_t offset = uint64_t{superEntries[superEntry + 1]} << 32 | superEntries[superEntry];
    return Ask(static_cast<int64_t>(offset), superEntries[superEntry + 2], 6);
}

AviParseRequest AVIParser::ReadStandardIndex(ByteView bytes) {
    const OdmlIndexHead head = ReadOdmlIndexHead(bytes);
    if (head.indexType != IndexOfChunks || head.longsPerEntry != 2) {
        return Stop();
    }
    // Blocks of streams named by two digits are all credited to the first stream.
    const int32_t stream = StartsWithDigits(head.chunkId) ? 0 : DigitPair(head.chunkId);
    for (uint32_t entry = 0; entry < head.entriesInUse; ++entry) {
        const size_t at = IndexHeadBytes + size_t{entry} * 8;
        if (!bytes.Has(at, 8)) {
            break;
        }
        if (stream >= 0 && stream < StreamCount()) {
            // The size is taken whole: its top bit, the delta-frame mark, stays in it.
            AddFrame(stream, head.baseOffset + bytes.U32LE(at), bytes.U32LE(at + 4), head.chunkId, 0);
        }
    }
    superEntry += 4;
    return AskSuperEntry();
}

AviParseRequest AVIParser::Finish() {
    for (auto& stream : streams) {
        stream->frameCount = stream->frames.Count();
    }
    ComputeFrameDuration();
    nextOffset = Stopped;
    nextSize = Stopped;
    state = FinishedState;
    return Current();
}

// The video stream's length in seconds over its frame count; the last video stream decides.
void AVIParser::ComputeFrameDuration() {
    for (auto& stream : streams) {
        const AviStreamHeader& h = stream->header;
        if (stream->type != FourCCLE("vids") || h.scale == 0 || h.rate == 0 || stream->frameCount == 0) {
            continue;
        }
        frameDuration = static_cast<double>(h.length) /
                        (static_cast<double>(h.rate) / static_cast<double>(h.scale)) /
                        static_cast<double>(static_cast<uint32_t>(stream->frameCount)) * 10000000.0;
    }
}

} // namespace Vorn::Vorncast::Decoders
