// The box parser on payloads built here, for what the recording walks do not reach: wide headers,
// 64-bit chunk offsets, fixed and compact sample sizes, entries no recorder writes, and damaged boxes.
#include "fixtures/iso/IsoBoxWriter.h"
#include "formats/iso/ISOMediaFile.h"
#include "formats/iso/IsoBoxTypes.h"

#include <gtest/gtest.h>

#include <string>

using namespace Vorn::Vorncast::Decoders;
using namespace IsoTest;

namespace {

// Big-endian 32-bit words one after the other.
Bytes Words(std::initializer_list<uint32_t> words) {
    Bytes bytes;
    for (uint32_t word : words) {
        PutU32(bytes, word);
    }
    return bytes;
}

bool Parse(ISOMediaFile& movie, const Bytes& payload) {
    return movie.ParseMovieBox(payload.data(), payload.size());
}

} // namespace

TEST(IsoMovieParse, HeadersOfBothVersionsGiveTimescaleAndDuration) {
    for (uint8_t version : {0, 1}) {
        ISOMediaFile movie;
        ASSERT_TRUE(Parse(movie, Box("mvhd", MovieHeader(version, 1, 0, 90000, 180000))));
        EXPECT_EQ(movie.GetTimescale(), 90000u) << int(version);
        EXPECT_EQ(movie.GetDuration(), 180000u);
    }
    ISOMediaFile truncated;
    Bytes header = MovieHeader(1, 1, 1, 1, 1);
    header.resize(31);
    EXPECT_FALSE(Parse(truncated, Box("mvhd", header)));
}

TEST(IsoTrackParse, HeadersCutShortFail) {
    for (uint8_t version : {0, 1}) {
        ISOMediaTrack track;
        const Bytes header = TrackHeader(version, 0, 7, 1234, 0, 0);
        EXPECT_FALSE(track.ParseTrackHeader(header.data(), header.size() - 1)) << int(version);
    }
    ISOMediaTrack media;
    EXPECT_FALSE(media.ParseMediaHeader(MediaHeader(0, 0, 8000, 16000).data(), 23));
}

TEST(IsoSampleLookup, FixedSampleSizeServesEverySampleAndIsTheLargest) {
    ISOMediaTrack track;
    const Bytes sizes = Words({0, 160, 1000});
    ASSERT_TRUE(track.ParseSampleSizes(sizes.data(), sizes.size()));
    const Bytes chunks = Words({0, 1, 1, 4, 1});
    ASSERT_TRUE(track.ParseSampleToChunk(chunks.data(), chunks.size()));
    Bytes offsets = Words({0, 2});
    PutU64(offsets, 0x100000000);
    PutU64(offsets, 0x100001000);
    ASSERT_TRUE(track.ParseChunkOffsets64(offsets.data(), offsets.size()));
    EXPECT_EQ(track.GetSampleCount(), 1000u);
    EXPECT_EQ(track.GetLargestSampleSize(), 160u);
    EXPECT_EQ(track.GetSampleInfo(999).size, 160u);
    EXPECT_EQ(track.GetSampleInfo(3).offset, 0x100000000u + 3 * 160);
    EXPECT_EQ(track.GetSampleInfo(6).offset, 0x100001000u + 2 * 160);
    // Without "stss" every sample is its own sync sample.
    EXPECT_EQ(track.GetSampleInfo(11).syncSample, 11);
}

// Compact sizes of 4, 8 and 16 bits; a field of another width, or a table cut short, leaves the
// track without samples.
TEST(IsoSampleLookup, CompactSizesOfFourEightAndSixteenBits) {
    const struct {
        uint32_t fieldBits;
        uint32_t count;
        Bytes fields;
        std::vector<uint32_t> sizes;
    } cases[] = {
        {4, 5, {0x12, 0x34, 0x5F}, {1, 2, 3, 4, 5}},
        {4, 5, {0x12, 0x34}, {}}, // the fifth nibble is missing
        {8, 2, {200, 7}, {200, 7}},
        {16, 2, {0x9C, 0x40, 0, 3}, {40000, 3}},
        {12, 1, {0, 1}, {}},
    };
    for (const auto& [fieldBits, count, fields, sizes] : cases) {
        ISOMediaTrack track;
        const Bytes table = Join({Words({0, fieldBits, count}), fields});
        EXPECT_EQ(track.ParseCompactSampleSizes(table.data(), table.size()), !sizes.empty()) << fieldBits;
        ASSERT_EQ(track.GetSampleCount(), sizes.size()) << fieldBits;
        for (size_t sample = 0; sample < sizes.size(); ++sample) {
            EXPECT_EQ(track.GetSampleInfo(static_cast<int32_t>(sample)).size, sizes[sample]) << fieldBits;
        }
        if (!sizes.empty()) {
            EXPECT_EQ(track.GetLargestSampleSize(), *std::max_element(sizes.begin(), sizes.end()));
        }
    }
}

TEST(IsoSampleEntries, DecoderConfigurationsOfEveryKindOfEntry) {
    const Bytes vol = {0x00, 0x00, 0x01, 0x20, 0x08, 0xC8, 0x0D};
    const Bytes esds = Box("esds", Join({Bytes{0, 0, 0, 0}, EsDescriptors(vol, 0x80 | 0x20)}));
    Bytes d263;
    PutCode(d263, "FFMP");
    d263.insert(d263.end(), {0, 45, 3});
    MovieLayout layout;
    layout.tracks.resize(1);
    TrackLayout& track = layout.tracks[0];
    track.samples = {Bytes(10, 0)};
    track.deltas = {24};
    track.entries = {VisualEntry("mp4v", 176, 144, esds),
                     VisualEntry("xmp4", 1, 2, esds),
                     VisualEntry("s263", 176, 144, Box("d263", d263)),
                     VisualEntry("avc1", 320, 240, Box("avcC", {1, 2})),
                     VisualEntry("avc1", 320, 240, esds),
                     VisualEntry("jpeg", 8, 8, {}),
                     VisualEntry("abcd", 8, 8, {})};
    ISOMediaFile movie;
    ASSERT_TRUE(Parse(movie, MoviePayload(layout, 0)));
    const ISOMediaTrack& parsed = *movie.GetTrack(0);
    const uint32_t formats[] = {
        IsoBox::Mp4v, IsoBox::Mp4v, IsoBox::H263, IsoBox::Avc1, IsoBox::Avc1, IsoBox::Jpeg, 0};
    const size_t configSizes[] = {vol.size(), vol.size(), 0, 0, vol.size(), 0, 0};
    for (uint32_t index = 1; index <= 7; ++index) {
        EXPECT_EQ(parsed.GetSampleFormat(index), formats[index - 1]) << "entry " << index;
        const uint8_t* config = nullptr;
        int32_t length = -1;
        EXPECT_TRUE(parsed.GetDecoderConfig(index, &config, &length));
        ASSERT_EQ(static_cast<size_t>(length), configSizes[index - 1]) << "entry " << index;
        if (length > 0) {
            EXPECT_TRUE(std::equal(vol.begin(), vol.end(), config));
        }
    }
    EXPECT_EQ(parsed.GetVisualWidth(2), 176);
    EXPECT_EQ(parsed.GetVisualHeight(3), 240);
    EXPECT_EQ(parsed.GetVisualWidth(7), 0);
}

TEST(IsoEsDescriptors, AConfigurationRunningPastTheDataIsNone) {
    Bytes cut = EsDescriptors({9, 8, 7, 6, 5});
    cut.resize(cut.size() - 12);
    EXPECT_TRUE(ParseEsDescriptors(Vorn::Vorncast::Decoders::ByteView(cut.data(), cut.size())).Empty());
}
