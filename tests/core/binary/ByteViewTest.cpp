#include "core/binary/ByteView.h"
#include "core/binary/Bcd.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <vector>

using namespace Vorn::Vorncast::Decoders;

namespace {

const uint8_t Sample[8] = {0x01, 0x02, 0x03, 0x04, 0xF5, 0xF6, 0xF7, 0xF8};

} // namespace

namespace {

// Every reader at the last offset that fits, the first that does not, and an offset near the top
// of size_t (which must not wrap round into range).
template <class T>
void ExpectBoundary(const ByteView& view, T (ByteView::*plain)(size_t) const,
                    bool (ByteView::*checked)(size_t, T*) const) {
    size_t last = view.Size() - sizeof(T);
    for (size_t at : {last, last + 1, SIZE_MAX - 1}) {
        bool inside = at == last;
        T value = 99;
        EXPECT_EQ((view.*checked)(at, &value), inside) << sizeof(T) << " bytes at " << at;
        EXPECT_EQ(value, (view.*plain)(at));
        EXPECT_EQ(value != 0, inside) << sizeof(T) << " bytes at " << at;
    }
}

} // namespace

TEST(ByteView, FieldsAtAndPastTheEnd) {
    ByteView view(Sample, sizeof(Sample));
    ExpectBoundary(view, &ByteView::U8, &ByteView::U8);
    ExpectBoundary(view, &ByteView::I8, &ByteView::I8);
    ExpectBoundary(view, &ByteView::U16LE, &ByteView::U16LE);
    ExpectBoundary(view, &ByteView::U16BE, &ByteView::U16BE);
    ExpectBoundary(view, &ByteView::I16LE, &ByteView::I16LE);
    ExpectBoundary(view, &ByteView::I16BE, &ByteView::I16BE);
    ExpectBoundary(view, &ByteView::U32LE, &ByteView::U32LE);
    ExpectBoundary(view, &ByteView::U32BE, &ByteView::U32BE);
    ExpectBoundary(view, &ByteView::I32LE, &ByteView::I32LE);
    ExpectBoundary(view, &ByteView::I32BE, &ByteView::I32BE);
    ExpectBoundary(view, &ByteView::U64LE, &ByteView::U64LE);
    ExpectBoundary(view, &ByteView::U64BE, &ByteView::U64BE);
    ExpectBoundary(view, &ByteView::I64LE, &ByteView::I64LE);
    ExpectBoundary(view, &ByteView::I64BE, &ByteView::I64BE);
    EXPECT_FALSE(ByteView().Has(0, 1));
    EXPECT_TRUE(ByteView().Has(0, 0));
    EXPECT_EQ(ByteView(nullptr, 10).Size(), 0u);
    EXPECT_EQ(view.Bytes(6, 3), nullptr);
    EXPECT_EQ(view.Bytes(6, 2), Sample + 6);
}

TEST(ByteView, SubViewsTagsAndSearch) {
    ByteView view(Sample, sizeof(Sample));
    EXPECT_EQ(view.Sub(6, 10).Size(), 2u);
    EXPECT_EQ(view.Sub(6, 10).U16BE(0), 0xF7F8);
    EXPECT_TRUE(view.Sub(8, 1).Empty());
    EXPECT_TRUE(view.From(9).Empty());
    ByteView sub;
    EXPECT_FALSE(view.Sub(6, 3, &sub));
    EXPECT_TRUE(sub.Empty());
    ASSERT_TRUE(view.Sub(2, 4, &sub));
    EXPECT_EQ(sub.U32BE(0), 0x0304F5F6u);

    ByteView text("RIFF....AVI LIST", 16);
    EXPECT_TRUE(text.Matches(0, "RIFF"));
    EXPECT_TRUE(text.Matches(12, "LIST"));
    EXPECT_FALSE(text.Matches(13, "LIST"));
    EXPECT_FALSE(text.Matches(14, std::string_view("ST\0", 3)));
    EXPECT_TRUE(view.Matches(4, "\xF5\xF6"));
    using namespace std::literals;
    const uint8_t packHeader[] = {0xFF, 0x00, 0x00, 0x01, 0xBA};
    EXPECT_TRUE(ByteView(packHeader, 5).Matches(1, "\x00\x00\x01\xBA"sv));
    EXPECT_FALSE(ByteView(packHeader, 5).Matches(0, "\x00\x00\x01\xBA"sv));
    EXPECT_EQ(ByteView(packHeader, 5).Find("\x00\x01"sv), 2u);
    EXPECT_EQ(text.Find("LIST"), 12u);
    EXPECT_EQ(text.Find("RIFF", 1), ByteView::npos);
    EXPECT_EQ(text.Find("STX"), ByteView::npos);
    EXPECT_EQ(text.Find("R", 40), ByteView::npos);

    Vorn::Buffer buffer(4);
    buffer.Data()[3] = 0x7F;
    buffer.SetOffset(2);
    EXPECT_EQ(ByteView(buffer).Size(), 2u);
    EXPECT_EQ(ByteView(buffer).U8(1), 0x7F);
    EXPECT_FALSE(ByteView(buffer).Has(2, 1));
}

TEST(ByteView, TextFields) {
    const char fields[] = "CAM1\0xxxLONGNAME";
    ByteView view(fields, 16);
    char name[8];
    ASSERT_TRUE(view.Text(0, 8, name));
    EXPECT_STREQ(name, "CAM1");
    // No NUL inside the field: all of it, cut to the room there is, always terminated.
    ASSERT_TRUE(view.Text(8, 4, name));
    EXPECT_STREQ(name, "LONG");
    ASSERT_TRUE(view.Text(8, 8, name));
    EXPECT_STREQ(name, "LONGNAM");
    EXPECT_FALSE(view.Text(12, 5, name));
    EXPECT_STREQ(name, "");

    char tiny[1] = {'x'};
    EXPECT_EQ(CopyText(tiny, sizeof(tiny), reinterpret_cast<const uint8_t*>("abc"), 3), 0u);
    EXPECT_EQ(tiny[0], '\0');
}

TEST(ByteView, SystemTimeRecord) {
    std::vector<uint8_t> bytes(17);
    const uint16_t words[8] = {2004, 10, 0, 31, 23, 59, 58, 999};
    for (int i = 0; i < 8; ++i) {
        Store<uint16_t, ByteOrder::Little>(bytes.data() + 1 + 2 * i, words[i]);
    }
    ByteView view(bytes.data(), bytes.size());
    Vorn::SystemTime time{};
    ASSERT_TRUE(view.SystemTimeLE(1, &time));
    const uint16_t read[8] = {time.wYear, time.wMonth,  time.wDayOfWeek, time.wDay,
                              time.wHour, time.wMinute, time.wSecond,    time.wMilliseconds};
    EXPECT_TRUE(std::equal(read, read + 8, words));
    EXPECT_FALSE(view.SystemTimeLE(2, &time));
    EXPECT_EQ(time.wYear, 0);
    EXPECT_EQ(view.SystemTimeLE(2).wMilliseconds, 0);
}

TEST(ByteReader, ReadsARecordStraightThrough) {
    const uint8_t record[] = {'V',  'S', 'M', 'P',  0x10, 0x00, 0x00, 0x00, 0x12, 0x34, 0xFF,
                              0xFF, 'a', 'b', 0x00, 'c',  0x20, 0x04, 0x05, 0x06, 0x07, 0x08};
    ByteReader reader(ByteView(record, sizeof(record)));
    EXPECT_FALSE(reader.SkipIfMatches("VSMX"));
    EXPECT_TRUE(reader.Ok());
    EXPECT_TRUE(reader.SkipIfMatches("VSMP"));
    EXPECT_EQ(reader.U32LE(), 16u);
    EXPECT_EQ(reader.U16BE(), 0x1234);
    EXPECT_EQ(reader.I16LE(), -1);
    char text[8];
    EXPECT_TRUE(reader.Text(4, text));
    EXPECT_STREQ(text, "ab");
    EXPECT_EQ(reader.BcdRun(2), 2004u);
    EXPECT_EQ(reader.Position(), 18u);
    EXPECT_EQ(reader.Bytes(3).U8(2), 0x07);
    EXPECT_EQ(reader.Remaining(), 1u);
    EXPECT_TRUE(reader.Ok());

    // Past the end: 0, position kept, and the failure sticks even for reads that would fit.
    EXPECT_EQ(reader.U16LE(), 0);
    EXPECT_TRUE(reader.Failed());
    EXPECT_EQ(reader.Position(), 21u);
    EXPECT_EQ(reader.U8(), 0);
    EXPECT_FALSE(reader.Seek(0));
    EXPECT_EQ(reader.Position(), 21u);
}

TEST(ByteReader, SeekSkipAndFailures) {
    ByteReader reader(ByteView(Sample, sizeof(Sample)));
    EXPECT_TRUE(reader.Seek(8));
    EXPECT_TRUE(reader.AtEnd());
    EXPECT_TRUE(reader.Bytes(0).Empty());
    EXPECT_TRUE(reader.Seek(2));
    EXPECT_TRUE(reader.Skip(6));
    EXPECT_TRUE(reader.Ok());
    EXPECT_FALSE(reader.Skip(1));
    EXPECT_TRUE(reader.Failed());

    EXPECT_TRUE(ByteReader(ByteView(Sample, sizeof(Sample)), 9).Failed());
    ByteReader skipping(ByteView(Sample, sizeof(Sample)));
    EXPECT_FALSE(skipping.Skip(SIZE_MAX));
    EXPECT_EQ(skipping.Position(), 0u);

    const uint8_t badBcd[] = {0x12, 0x3A};
    ByteReader bcd(ByteView(badBcd, sizeof(badBcd)));
    bcd.BcdRun(2);
    EXPECT_TRUE(bcd.Failed());

    char text[4] = "xyz";
    ByteReader shortText(ByteView(Sample, 2));
    EXPECT_FALSE(shortText.Text(3, text));
    EXPECT_STREQ(text, "");
    EXPECT_EQ(shortText.SystemTimeLE().wYear, 0);
}

TEST(Bcd, EveryByteAndRuns) {
    for (int byte = 0; byte < 256; ++byte) {
        int high = byte >> 4;
        int low = byte & 0xF;
        EXPECT_EQ(Bcd::IsValid(byte), high <= 9 && low <= 9) << byte;
        EXPECT_EQ(Bcd::Value(byte), static_cast<uint64_t>(high * 10 + low)) << byte;
    }
    EXPECT_EQ(Bcd::Value(0x2004), 2004u);
    EXPECT_TRUE(Bcd::IsValid(0x19991231));
    EXPECT_FALSE(Bcd::IsValid(0x1999A231));

    const uint8_t run[] = {0x99, 0x99, 0x99, 0x99, 0x99, 0x99, 0x99, 0x99, 0x99, 0x99};
    EXPECT_EQ(Bcd::RunValue(run, 9), 999999999999999999u);
    const uint8_t date[] = {0x20, 0x04, 0x10, 0x31, 0x4F};
    EXPECT_EQ(Bcd::RunValue(date, 4), 20041031u);
    EXPECT_TRUE(Bcd::IsValidRun(date, 4));
    EXPECT_FALSE(Bcd::IsValidRun(date, 5));

    ByteView view(date, sizeof(date));
    uint64_t value = 1;
    EXPECT_TRUE(view.BcdRun(1, 3, &value));
    EXPECT_EQ(value, 41031u);
    EXPECT_FALSE(view.BcdRun(3, 2, &value));
    EXPECT_EQ(value, 0u);
    EXPECT_FALSE(view.BcdRun(4, 2, &value));
    ByteView nines(run, sizeof(run));
    EXPECT_TRUE(nines.BcdRun(0, 9, &value));
    EXPECT_FALSE(nines.BcdRun(0, 10, &value));
}
