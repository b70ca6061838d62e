#include "model/support/Buffer.h"
#include "model/support/Guid.h"
#include "model/support/HandleSource.h"
#include "model/support/Path.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

using Vorn::Buffer;
namespace Path = Vorn::Path;

TEST(Buffer, CopiesShareOneArrayAtTheirOwnOffsets) {
    Buffer a(8);
    Buffer b = a;
    b.SetOffset(4);
    EXPECT_TRUE(a.SharesArrayWith(b));
    b.Data()[0] = 0x5A;
    EXPECT_EQ(a.Data()[4], 0x5A);
    EXPECT_EQ(b.Length(), 4);

    uint8_t* shared = a.Data();
    EXPECT_TRUE(a.SetSize(8)); // same size: kept and zeroed, still shared
    EXPECT_EQ(a.Data(), shared);
    EXPECT_EQ(b.Data()[0], 0);

    EXPECT_TRUE(a.SetSize(16)); // new array, seen through the other copy as well
    EXPECT_EQ(b.Size(), 16);
    EXPECT_FALSE(a.SetSize(-1));
    EXPECT_EQ(a.Size(), 16);
}

TEST(Buffer, EmptyAndTextForms) {
    Buffer empty(0);
    EXPECT_EQ(empty.Data(), nullptr);
    EXPECT_EQ(empty.Length(), 0);
    Buffer text("camera 1");
    EXPECT_EQ(text.Size(), 9);
    EXPECT_STREQ(text.Text(), "camera 1");
    EXPECT_EQ(text.TerminatedLength(), 8);
    Buffer assigned;
    assigned = text;
    Buffer& same = assigned;
    assigned = same; // self-assignment keeps the value alive
    EXPECT_STREQ(assigned.Text(), "camera 1");
    Buffer raw = Buffer::FromBytes("abc", 3);
    EXPECT_EQ(raw.Size(), 4);
    EXPECT_STREQ(raw.Text(), "abc");
}

TEST(PathHelpers, NamesExtensionsAndTailsWithBothSeparators) {
    EXPECT_EQ(Path::PathPartLength("C:\\rec\\a.vid;1F0"), 12);
    EXPECT_EQ(Path::PathPartLength("C:\\rec\\;1F0"), 6);
    EXPECT_EQ(Path::PathPartLength("/rec/a.vid"), 10);
    EXPECT_EQ(Path::PathPartLength(static_cast<const Buffer*>(nullptr)), -1);

    Buffer path("/mnt/rec.d\\Cam01.VID;200");
    EXPECT_STREQ(Path::GetName(path).Text(), "Cam01.VID");
    EXPECT_STREQ(Path::GetExtension(path).Text(), "VID");
    EXPECT_STREQ(Path::GetDirectory(path).Text(), "/mnt/rec.d\\");
    EXPECT_TRUE(Path::ExtensionIs(path, "avi;vid"));
    EXPECT_FALSE(Path::ExtensionIs(path, "vi;vidx"));
    EXPECT_FALSE(Path::HasExtension(Buffer("/mnt/rec.d/noext")));
    EXPECT_TRUE(Path::HasExtension(Buffer("bare.jpg")));

    Vorn::Path::NameScan scan;
    EXPECT_FALSE(Path::ScanNameStrict("bare.jpg", &scan));
    EXPECT_TRUE(Path::ScanName("bare.jpg", &scan));
    EXPECT_EQ(scan.nameStart, 0);
    EXPECT_EQ(scan.extensionStart, 4);
    EXPECT_FALSE(Path::ScanName("/folder/", &scan));
    EXPECT_STREQ(Path::Join("/a", "b.jpg").Text(), "/a/b.jpg");
    EXPECT_STREQ(Path::Join("/a/", "b.jpg").Text(), "/a/b.jpg");
}

TEST(PathHelpers, UnterminatedBufferIsRefusedNotOverread) {
    Buffer unterminated(4);
    std::memcpy(unterminated.Data(), "a.bc", 4);
    EXPECT_EQ(Path::PathPartLength(&unterminated), -1);
    EXPECT_FALSE(Path::HasExtension(unterminated));
    EXPECT_FALSE(Path::ExtensionIs(unterminated, "bc"));
    EXPECT_EQ(Path::GetName(unterminated).Size(), 0);
    EXPECT_EQ(Path::GetDirectory(unterminated).Size(), 0);
}

TEST(GuidParser, WindowsLayoutAndRefusals) {
    Vorn::Guid guid;
    ASSERT_TRUE(Vorn::ParseGuid("{508C3FE8-0034-4216-8E06-0020b1619331}", &guid));
    EXPECT_EQ(guid.data1, 0x508C3FE8u);
    EXPECT_EQ(guid.data2, 0x0034);
    EXPECT_EQ(guid.data3, 0x4216);
    const uint8_t tail[8] = {0x8E, 0x06, 0x00, 0x20, 0xB1, 0x61, 0x93, 0x31};
    EXPECT_EQ(std::memcmp(guid.data4, tail, 8), 0);
    EXPECT_FALSE(Vorn::ParseGuid("508C3FE8-0034-4216-8E06-0020B1619331", &guid));
    EXPECT_FALSE(Vorn::ParseGuid("{508C3FE8-0034-4216-8E06-0020B161933G}", &guid));
    EXPECT_FALSE(Vorn::ParseGuid("{508C3FE8-0034-4216-8E0600-20B1619331}", &guid));
    EXPECT_EQ(guid.data1, 0u);
}

TEST(HandleSource, ReleasedHandlesResolveToNullAndAreNotReusedSoon) {
    int object = 0;
    std::set<int> seen;
    int first = Vorn::HandleSource::Create(&object);
    EXPECT_NE(first, 0);
    EXPECT_EQ(Vorn::HandleSource::Get(first), &object);
    Vorn::HandleSource::Destroy(first);
    EXPECT_EQ(Vorn::HandleSource::Get(first), nullptr);
    Vorn::HandleSource::Destroy(first); // twice is harmless
    seen.insert(first);
    for (int i = 0; i < 1000; ++i) {
        int handle = Vorn::HandleSource::Create(&object);
        ASSERT_GT(handle, 0);
        ASSERT_TRUE(seen.insert(handle).second) << "handle reused after " << i << " releases";
        Vorn::HandleSource::Destroy(handle);
    }
    EXPECT_EQ(Vorn::HandleSource::Get(0), nullptr);
    EXPECT_EQ(Vorn::HandleSource::Get(-5), nullptr);
    EXPECT_EQ(Vorn::HandleSource::Get(0x7FFFFFFF), nullptr);
}
