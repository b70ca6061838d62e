#pragma once

#include "model/decoder/LentPictures.h"

#include "codecs/jpeg/JpegCodec.h"
#include "model/decoder/ModelTypes.h"
#include "model/files/File.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace Vorn::Vorncast {

// One frame of a `.bix` index: where its record lies in the `.box` file and the key picture it
// rests on, which is learnt as the channel's records are read (-1 not yet known, -2 none).
struct KodicomFrameItem {
    FrameTimes time;
    int64_t offset;
    int32_t length;
    int32_t frameIndex;
    int32_t rootIndex;
    bool hasBlockMap;
    int32_t channel;
};

// The picture a channel's partial pictures are pasted on, and the frame of the channel it shows.
struct KodicomAccumulator {
    // width x height, blue first, top line first; lent to the samples that show it
    LentPictures::Picture pixels = std::make_shared<std::vector<uint8_t>>();
    int32_t width = 0;
    int32_t height = 0;
    int32_t frame = -1;

    // The pixels to write into, copied first while a sample still shows them; `keep` false when
    // the whole picture is about to be written anew.
    std::vector<uint8_t>& Writable(bool keep) {
        if (pixels.use_count() > 1) {
            pixels = keep ? std::make_shared<std::vector<uint8_t>>(*pixels)
                          : std::make_shared<std::vector<uint8_t>>(pixels->size());
        }
        return *pixels;
    }
};

// One recording span: a `.bix` index and its `.box` records. The index is read when the first
// stream starts to use the span and dropped when the last one leaves it, so that only the spans in
// use hold their frames; what each channel covers is kept from the first reading on.
class BixBoxFile {
public:
    struct ChannelSpan {
        FrameTimes first;
        FrameTimes last;
        int32_t width = 0; // of the channel's first picture, 0 when it could not be read
        int32_t height = 0;
    };

    BixBoxFile(std::string bixPath, std::string boxPath);

    // Reads the index once to learn the channels and their spans, and drops the frames again.
    int Summarise();
    // The first use reads the index and opens the `.box` file; the last release frees them.
    int Use();
    void Release();

    const std::string& Url() const { return bixPath; }
    const std::string& BoxUrl() const { return boxPath; }
    bool HasChannel(int32_t channel) const { return perChannel.count(channel) != 0; }
    const std::map<int32_t, ChannelSpan>& Channels() const { return perChannel; }
    int64_t Earliest() const { return earliest; }
    int64_t Latest() const { return latest; }

    // Of a span in use.
    int32_t FrameCount(int32_t channel) const;
    const KodicomFrameItem* Frame(int32_t channel, int32_t index) const;
    // The channel's last frame at or before `target`.
    int FindFrame(int32_t channel, int64_t target, int32_t* index) const;
    // Brings the channel's accumulator onto frame `index`.
    int Decompress(int32_t channel, int32_t index);
    const KodicomAccumulator& Accumulator(int32_t channel) { return accumulators[channel]; }

private:
    struct PictureHeader {
        int32_t mapLength = 0;
        int32_t changedBlocks = 0;
        int32_t width = 0;
        int32_t height = 0;
    };

    int LoadIndex();
    int ReadEntries(File& bix, int64_t count);
    void AddEntry(const uint8_t* entry);
    void LogSpans() const;
    void LearnPictureSizes();
    int ReadRecord(const KodicomFrameItem& item);
    bool FindPictureHeader(const KodicomFrameItem& item, PictureHeader* header, int32_t likelyMap = 0) const;
    int FindRoot(std::vector<KodicomFrameItem>& items, int32_t index, int32_t* root);
    int ApplyFrames(int32_t channel, int32_t from, int32_t to, int32_t root);
    int DecompressPartial(const KodicomFrameItem& item, KodicomAccumulator* picture, bool* whole);
    int DecodeJpeg(const PictureHeader& header, bool whole, KodicomAccumulator* picture);
    int PasteBlocks(const PictureHeader& header, int32_t stripWidth, int32_t stripHeight, int32_t planes,
                    KodicomAccumulator* picture) const;

    std::string bixPath;
    std::string boxPath;
    File box;
    int32_t useCount = 0;
    std::map<int32_t, std::vector<KodicomFrameItem>> frames;
    std::map<int32_t, ChannelSpan> perChannel;
    std::map<int32_t, KodicomAccumulator> accumulators;
    int64_t earliest = INT64_MAX;
    int64_t latest = INT64_MIN;
    std::vector<uint8_t> record;
    int64_t recordOffset = -1; // of the record `record` holds
    std::vector<uint8_t> decoded;
    Decoders::JpegDecoderScratch scratch;
};

} // namespace Vorn::Vorncast
