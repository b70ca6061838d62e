#include "native/kodicom/BixBoxFile.h"

#include "core/binary/ByteView.h"
#include "interface/LibraryFrame.h"
#include "model/support/TimeText.h"
#include "native/NativeFailure.h"

#include <algorithm>
#include <cstring>

namespace Vorn::Vorncast {
namespace {

using Decoders::ByteView;

constexpr const char* SourceFile = "Decoders\\Kodicom\\BixBoxFile";
constexpr uint32_t BixMagic = 0x4B444249;
constexpr int32_t BixHeaderBytes = 32;
constexpr int64_t BixEntriesAt = 1116;
constexpr int32_t BixEntryBytes = 60;
constexpr uint32_t ShortestRecord = 44;
constexpr uint32_t BlockMapFlag = 1u << 12;
constexpr uint64_t HundredthsPerDay = 8640000;
constexpr uint64_t TicksPerHundredth = 100000;
constexpr int32_t PictureHeaderBytes = 40;
constexpr int32_t Block = 8;
// Frames the accumulator is carried forward over without first looking for a nearer key picture.
constexpr int32_t ShortRun = 8;
constexpr int32_t UnknownRoot = -1;
constexpr int32_t NoRoot = -2;

FrameTimes TimesAt(int64_t time) {
    FrameTimes times{};
    times.recordedTime = time;
    times.streamTime = time;
    return times;
}

// Line `y` of a decoded picture of `planes` bytes a pixel into blue-first pixels.
void CopyPixels(const uint8_t* from, int32_t planes, int32_t count, uint8_t* to) {
    if (planes == 3) {
        std::memcpy(to, from, static_cast<size_t>(count) * 3);
        return;
    }
    for (int32_t x = 0; x < count; ++x) {
        to[3 * x] = to[3 * x + 1] = to[3 * x + 2] = from[x];
    }
}

} // namespace

BixBoxFile::BixBoxFile(std::string bix, std::string boxFile)
    : bixPath(std::move(bix)), boxPath(std::move(boxFile)) {}

// ---- index ----

int BixBoxFile::Summarise() {
    int status = Use();
    if (status == Success) {
        LearnPictureSizes();
        Release();
    }
    return status;
}

int BixBoxFile::Use() {
    if (useCount == 0) {
        int status = LoadIndex();
        if (status != Success) {
            frames.clear();
            return status;
        }
        if (box.Open(nullptr, boxPath.c_str()) != Success) {
            frames.clear();
            return NativeFail(SourceFile, __LINE__, GeneralFailure, "BixBoxFile: Could not open box file %s",
                              boxPath.c_str());
        }
    }
    ++useCount;
    return Success;
}

void BixBoxFile::Release() {
    if (useCount > 0 && --useCount == 0) {
        frames.clear();
        accumulators.clear();
        std::vector<uint8_t>().swap(record);
        std::vector<uint8_t>().swap(decoded);
        recordOffset = -1;
        box = File();
    }
}

int BixBoxFile::LoadIndex() {
    File bix;
    uint8_t header[BixHeaderBytes] = {};
    uint32_t read = 0;
    if (bix.Open(nullptr, bixPath.c_str()) != Success) {
        return NativeFail(SourceFile, __LINE__, GeneralFailure, "BixBoxFile: Could not open bix file %s",
                          bixPath.c_str());
    }
    const ByteView view(header, sizeof header);
    if (bix.Read(header, BixHeaderBytes, &read) != Success || read != BixHeaderBytes ||
        view.U32LE(0) != BixMagic) {
        return NativeFail(SourceFile, __LINE__, GeneralFailure,
                          "BixBoxFile: Bix file %s has bad magic number", bixPath.c_str());
    }
    const uint32_t count = view.U32LE(28);
    if (count == 0) {
        return NativeFail(SourceFile, __LINE__, GeneralFailure,
                          "BixBoxFile: Bix file header has zero index size");
    }
    return ReadEntries(bix, count);
}

int BixBoxFile::ReadEntries(File& bix, int64_t count) {
    // An index that claims more entries than its file holds is read as far as it goes.
    count = std::min(count, std::max<int64_t>(0, (bix.Size() - BixEntriesAt) / BixEntryBytes));
    std::vector<uint8_t> entries(static_cast<size_t>(count * BixEntryBytes));
    uint32_t read = 0;
    if (count > 0 && (bix.Seek(BixEntriesAt, SeekFromStart, nullptr) != Success ||
                      bix.Read(entries.data(), static_cast<int32_t>(entries.size()), &read) != Success)) {
        return NativeFail(SourceFile, __LINE__, GeneralFailure, "BixBoxFile: Could not read the index of %s",
                          bixPath.c_str());
    }
    frames.clear();
    for (size_t at = 0; at + BixEntryBytes <= read && ByteView(&entries[at], 4).U32LE(0) != 0;
         at += BixEntryBytes) {
        AddEntry(&entries[at]);
    }
    LogSpans();
    return Success;
}

void BixBoxFile::AddEntry(const uint8_t* bytes) {
    const ByteView entry(bytes, BixEntryBytes);
    const uint32_t dayAndChannel = entry.U32LE(4);
    const uint32_t hundredths = entry.U32LE(8);
    const uint32_t flags = entry.U32LE(36);
    const uint32_t offset = entry.U32LE(40);
    const uint32_t length = entry.U32LE(44);
    if (length <= ShortestRecord) {
        return;
    }
    const int32_t channel = static_cast<int32_t>(dayAndChannel >> 24) + 1;
    const uint64_t day = dayAndChannel & 0xFFFFFF;
    const auto time = static_cast<int64_t>((day * HundredthsPerDay + hundredths) * TicksPerHundredth);
    std::vector<KodicomFrameItem>& items = frames[channel];
    items.push_back({TimesAt(time), offset, static_cast<int32_t>(std::min<uint32_t>(length, INT32_MAX)),
                     static_cast<int32_t>(items.size()), UnknownRoot, (flags & BlockMapFlag) != 0, channel});
    auto known = perChannel.find(channel);
    if (known == perChannel.end()) {
        perChannel[channel] = {TimesAt(time), TimesAt(time)};
    } else {
        known->second.first = TimesAt(std::min(known->second.first.streamTime, time));
        known->second.last = TimesAt(std::max(known->second.last.streamTime, time));
    }
    earliest = std::min(earliest, time);
    latest = std::max(latest, time);
}

void BixBoxFile::LogSpans() const {
    for (const auto& [channel, span] : perChannel) {
        Log(SourceFile, __LINE__, LogStartUp, "Channel %d    earliest %s    latest %s\n", channel,
            TimeToText(span.first.streamTime).text, TimeToText(span.last.streamTime).text);
    }
    Log(SourceFile, __LINE__, LogStartUp, "Global earliest %s      latest %s\n", TimeToText(earliest).text,
        TimeToText(latest).text);
}

// The picture size of each channel's first record, which the channel's stream describes first.
void BixBoxFile::LearnPictureSizes() {
    for (auto& [channel, items] : frames) {
        PictureHeader header;
        if (!items.empty() && ReadRecord(items.front()) == Success &&
            FindPictureHeader(items.front(), &header)) {
            perChannel[channel].width = header.width;
            perChannel[channel].height = header.height;
        }
    }
}

int32_t BixBoxFile::FrameCount(int32_t channel) const {
    auto found = frames.find(channel);
    return found != frames.end() ? static_cast<int32_t>(found->second.size()) : 0;
}

const KodicomFrameItem* BixBoxFile::Frame(int32_t channel, int32_t index) const {
    auto found = frames.find(channel);
    if (found == frames.end() || index < 0 || index >= static_cast<int32_t>(found->second.size())) {
        return nullptr;
    }
    return &found->second[static_cast<size_t>(index)];
}

int BixBoxFile::FindFrame(int32_t channel, int64_t target, int32_t* index) const {
    auto found = frames.find(channel);
    if (found == frames.end() || found->second.empty()) {
        return NativeFail(SourceFile, __LINE__, GeneralFailure, "Frame info list appears to be broken");
    }
    const std::vector<KodicomFrameItem>& items = found->second;
    if (target < items.front().time.streamTime) {
        return NativeFail(SourceFile, __LINE__, EndOfStreamBeforeStart,
                          "User seeked to time before start of this BixBoxFile");
    }
    if (target > items.back().time.streamTime) {
        return NativeFail(SourceFile, __LINE__, GeneralFailure,
                          "User seeked to time after end of this BixBoxFile, which isn't allowed.");
    }
    auto after =
        std::upper_bound(items.begin(), items.end(), target, [](int64_t time, const KodicomFrameItem& item) {
            return time < item.time.streamTime;
        });
    *index = static_cast<int32_t>(after - items.begin()) - 1;
    if (*index < 0 || items[static_cast<size_t>(*index)].frameIndex != *index) {
        return NativeFail(SourceFile, __LINE__, GeneralFailure, "Frame info list appears to be broken");
    }
    return Success;
}

// ---- the accumulator ----

int BixBoxFile::Decompress(int32_t channel, int32_t index) {
    auto found = frames.find(channel);
    if (found == frames.end() || index < 0 || index >= static_cast<int32_t>(found->second.size())) {
        return NativeFail(SourceFile, __LINE__, InvalidArgument, "frameInfo must not be null\n");
    }
    std::vector<KodicomFrameItem>& items = found->second;
    const KodicomAccumulator& accumulator = accumulators[channel];
    if (accumulator.frame == index) {
        return Success;
    }
    // Going on from the accumulator is right whenever it stands before the frame: a key picture on
    // the way replaces it. A known key after it is a shorter way, and so is one found by looking
    // back when the way is long.
    int32_t from = accumulator.frame >= 0 && accumulator.frame < index ? accumulator.frame + 1 : -1;
    int32_t root = items[static_cast<size_t>(index)].rootIndex;
    if (from >= 0 && root == UnknownRoot && index - from > ShortRun &&
        FindRoot(items, index, &root) != Success) {
        root = UnknownRoot;
    }
    if (from < 0 || root >= from) {
        if (root < 0 && FindRoot(items, index, &root) != Success) {
            Log(SourceFile, __LINE__, LogCore, "Failed to root accumulator\n");
            return GeneralFailure;
        }
        from = root;
    }
    return ApplyFrames(channel, from, index, root);
}

// The key picture that frame `index` rests on, read backwards record by record; what is learnt on
// the way is kept in the frames, so that no record is looked at twice for it.
int BixBoxFile::FindRoot(std::vector<KodicomFrameItem>& items, int32_t index, int32_t* root) {
    int32_t found = NoRoot;
    int32_t at = index;
    for (; at >= 0; --at) {
        const KodicomFrameItem& item = items[static_cast<size_t>(at)];
        PictureHeader header;
        if (item.rootIndex != UnknownRoot) {
            found = item.rootIndex;
            break;
        }
        const int status = ReadRecord(item);
        if (status != Success) {
            Log(SourceFile, __LINE__, LogCore, "Failed to re-root accumulator\n");
            return status;
        }
        if (!FindPictureHeader(item, &header)) {
            return NativeFail(SourceFile, __LINE__, GeneralFailure, "Failed to re-root accumulator\n");
        }
        if (header.changedBlocks == 0) {
            found = at;
            break;
        }
    }
    for (int32_t learnt = std::max(at, 0); learnt <= index; ++learnt) {
        items[static_cast<size_t>(learnt)].rootIndex = found;
    }
    *root = found;
    return found >= 0 ? Success
                      : NativeFail(SourceFile, __LINE__, GeneralFailure,
                                   "BixBoxFile: Partial picture at 0x%llx has no key picture before it",
                                   static_cast<unsigned long long>(items[static_cast<size_t>(index)].offset));
}

int BixBoxFile::ApplyFrames(int32_t channel, int32_t from, int32_t to, int32_t root) {
    std::vector<KodicomFrameItem>& items = frames[channel];
    KodicomAccumulator& accumulator = accumulators[channel];
    accumulator.frame = -1;
    for (int32_t at = from; at <= to; ++at) {
        KodicomFrameItem& item = items[static_cast<size_t>(at)];
        bool whole = false;
        int status = DecompressPartial(item, &accumulator, &whole);
        if (status != Success) {
            accumulator.frame = -1;
            Log(SourceFile, __LINE__, LogCore,
                at == root ? "Failed to decompress new accumulator root\n"
                           : "Failed to obtain required frame info\n");
            return status;
        }
        if (whole) {
            item.rootIndex = at;
        } else if (at > from && items[static_cast<size_t>(at) - 1].rootIndex >= 0) {
            item.rootIndex = items[static_cast<size_t>(at) - 1].rootIndex;
        }
        accumulator.frame = at;
    }
    return Success;
}

int BixBoxFile::ReadRecord(const KodicomFrameItem& item) {
    // The search for a key picture ends on the record that is decoded next.
    if (item.offset == recordOffset && static_cast<size_t>(item.length) == record.size()) {
        return Success;
    }
    recordOffset = -1;
    if (box.Seek(item.offset, SeekFromStart, nullptr) != Success) {
        return NativeFail(SourceFile, __LINE__, GeneralFailure, "Problem seeking to offset in boxFile");
    }
    // A record that would run past the end of the file is refused before anything is allocated.
    uint32_t read = 0;
    if (item.offset + item.length > box.Size()) {
        return NativeFail(SourceFile, __LINE__, GeneralFailure, "Problem reading compressed jpeg data");
    }
    record.resize(static_cast<size_t>(item.length));
    if (box.Read(record.data(), item.length, &read) != Success ||
        read != static_cast<uint32_t>(item.length)) {
        return NativeFail(SourceFile, __LINE__, GeneralFailure, "Problem reading compressed jpeg data");
    }
    recordOffset = item.offset;
    return Success;
}

// The picture header of the record read last. Behind a block map it is found by search: the place
// where the map's length is the header's count of blocks and the header's length fits the record.
// The map of the picture size seen last is tried first, which spares the search on every frame.
bool BixBoxFile::FindPictureHeader(const KodicomFrameItem& item, PictureHeader* header,
                                   int32_t likelyMap) const {
    const ByteView view(record.data(), record.size());
    const int64_t length = static_cast<int64_t>(record.size());
    auto headerAt = [&](int64_t at) {
        const int32_t width = view.I32LE(static_cast<size_t>(at) + 28);
        const int32_t height = view.I32LE(static_cast<size_t>(at) + 32);
        const int64_t blocks = int64_t{width / Block} * (height / Block);
        const int64_t changed = view.U32LE(static_cast<size_t>(at) + 16);
        const bool fits = at + PictureHeaderBytes + 1 <= length && width > 0 && height > 0 &&
                          width % Block == 0 && height % Block == 0 &&
                          view.U32LE(static_cast<size_t>(at)) + at + 4 <= length &&
                          (!item.hasBlockMap || at == blocks);
        *header = {static_cast<int32_t>(at), static_cast<int32_t>(std::min<int64_t>(changed, INT32_MAX)),
                   width, height};
        return fits;
    };
    auto valid = [&] {
        return int64_t{header->changedBlocks} <= int64_t{header->width / Block} * (header->height / Block) &&
               header->mapLength + PictureHeaderBytes + 2 * int64_t{header->changedBlocks} < length;
    };
    if (!item.hasBlockMap || (likelyMap > 0 && headerAt(likelyMap))) {
        return headerAt(item.hasBlockMap ? likelyMap : 0) && valid();
    }
    for (int64_t at = 0; at + PictureHeaderBytes + 1 <= length; ++at) {
        if (headerAt(at)) {
            return valid();
        }
    }
    return false;
}

int BixBoxFile::DecompressPartial(const KodicomFrameItem& item, KodicomAccumulator* picture, bool* whole) {
    int status = ReadRecord(item);
    if (status != Success) {
        return status;
    }
    PictureHeader header;
    if (!FindPictureHeader(item, &header, picture->width / Block * (picture->height / Block))) {
        return NativeFail(SourceFile, __LINE__, GeneralFailure,
                          "BixBoxFile: Record at 0x%llx has no valid picture header",
                          static_cast<unsigned long long>(item.offset));
    }
    const int64_t size = int64_t{header.width} * header.height * 3;
    if (size > MaxNativeImageBytes) {
        return NativeFail(SourceFile, __LINE__, GeneralFailure,
                          "Uncompressed image size was out of sensible range %d",
                          static_cast<int32_t>(std::min<int64_t>(size, INT32_MAX)));
    }
    if (picture->width != header.width || picture->height != header.height) {
        picture->pixels = std::make_shared<std::vector<uint8_t>>(static_cast<size_t>(size), 0);
        picture->width = header.width;
        picture->height = header.height;
    }
    *whole = header.changedBlocks == 0;
    return DecodeJpeg(header, *whole, picture);
}

// The record's JPEG: a whole picture into the accumulator, straight when its lines fit it as they
// are, or the strip of changed blocks, which are then pasted.
int BixBoxFile::DecodeJpeg(const PictureHeader& header, bool whole, KodicomAccumulator* picture) {
    const int32_t start = header.mapLength + PictureHeaderBytes + 2 * header.changedBlocks;
    const uint8_t* jpeg = record.data() + start;
    const auto jpegSize = static_cast<int32_t>(record.size()) - start;
    int32_t jpegWidth = 0, jpegHeight = 0, planes = 0;
    if (!Decoders::JpegReadHeader(jpeg, jpegSize, &jpegWidth, &jpegHeight, &planes) ||
        (planes != 1 && planes != 3)) {
        return NativeFail(SourceFile, __LINE__, GeneralFailure, "Failed to decode JPEG header");
    }
    if (whole && (jpegWidth != header.width || jpegHeight != header.height)) {
        return NativeFail(SourceFile, __LINE__, GeneralFailure, "Kodicom::DecompressPartial failed\n");
    }
    const int64_t stride = (int64_t{jpegWidth} * planes + 3) / 4 * 4;
    if (stride * jpegHeight > MaxNativeImageBytes) {
        return NativeFail(SourceFile, __LINE__, GeneralFailure,
                          "Uncompressed image size was out of sensible range %d",
                          static_cast<int32_t>(std::min<int64_t>(stride * jpegHeight, INT32_MAX)));
    }
    const bool straight = whole && stride == int64_t{jpegWidth} * 3;
    if (!straight) {
        decoded.resize(static_cast<size_t>(stride * jpegHeight));
    }
    std::vector<uint8_t>& pixels = picture->Writable(!whole);
    std::vector<uint8_t>& target = straight ? pixels : decoded;
    if (!Decoders::JpegDecodeToBuffer(scratch, jpeg, jpegSize, target.data(),
                                      static_cast<int32_t>(target.size()))) {
        return NativeFail(SourceFile, __LINE__, GeneralFailure, "Failed to decompress JPEG data");
    }
    if (!whole) {
        return PasteBlocks(header, jpegWidth, jpegHeight, planes, picture);
    }
    for (int32_t y = 0; !straight && y < jpegHeight; ++y) {
        CopyPixels(&decoded[static_cast<size_t>(y * stride)], planes, jpegWidth,
                   &pixels[static_cast<size_t>(y) * header.width * 3]);
    }
    return Success;
}

// The changed blocks lie one after the other in the decoded strip, row by row in its own units of
// 8 x 8; the table says where each one goes in the picture.
int BixBoxFile::PasteBlocks(const PictureHeader& header, int32_t stripWidth, int32_t stripHeight,
                            int32_t planes, KodicomAccumulator* picture) const {
    const ByteView table(record.data() + header.mapLength + PictureHeaderBytes,
                         2 * size_t(header.changedBlocks));
    const int32_t columns = header.width / Block;
    const int32_t blocks = columns * (header.height / Block);
    const int32_t stripColumns = stripWidth / Block;
    const int64_t stride = (int64_t{stripWidth} * planes + 3) / 4 * 4;
    for (int32_t index = 0; index < header.changedBlocks; ++index) {
        const int32_t block = table.U16LE(2 * static_cast<size_t>(index));
        const int32_t stripRow = stripColumns > 0 ? index / stripColumns : stripHeight;
        if (block >= blocks || (stripRow + 1) * Block > stripHeight) {
            return NativeFail(SourceFile, __LINE__, GeneralFailure,
                              "BixBoxFile: Block %d of a partial picture lies outside it", index);
        }
        const int64_t fromX = int64_t{index % stripColumns} * Block * planes;
        const int32_t toX = block % columns * Block;
        const int32_t toY = block / columns * Block;
        for (int32_t y = 0; y < Block; ++y) {
            CopyPixels(&decoded[static_cast<size_t>((stripRow * Block + y) * stride + fromX)], planes, Block,
                       &(*picture->pixels)[(static_cast<size_t>(toY + y) * header.width + toX) * 3]);
        }
    }
    return Success;
}

} // namespace Vorn::Vorncast
