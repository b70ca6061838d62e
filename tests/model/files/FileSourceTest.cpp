#include "model/files/FileTestSupport.h"
#include "model/files/MemoryFileSource.h"
#include "model/files/NativeFileSource.h"

#include <gmock/gmock.h>

using namespace Vorn;
using namespace FileTesting;
using ::testing::ElementsAre;

namespace {

std::vector<std::string> Names(const std::vector<DirectoryEntry>& entries) {
    std::vector<std::string> names;
    for (const DirectoryEntry& entry : entries) {
        names.push_back(entry.name + (entry.isDirectory ? "/" : ""));
    }
    return names;
}

std::string ReadWhole(FileSource& source, const std::string& path) {
    std::unique_ptr<SourceFile> file = source.Open(path);
    if (file == nullptr) {
        return "<none>";
    }
    std::string bytes(static_cast<size_t>(file->Size()), '\0');
    EXPECT_EQ(file->ReadAt(0, bytes.data(), file->Size()), file->Size());
    return bytes;
}

struct TwinTree {
    TemporaryDirectory disk;
    MemoryFileSource memory;

    TwinTree() {
        Add("Store/SubDir/storeCfg.vsb", PatternBytes(300, 1));
        Add("Store/SubDir/VIDEO_TS.IFO", PatternBytes(40, 2));
        Add("Store/b.txt", PatternBytes(5, 3));
        Add("Store/_x", PatternBytes(0, 4));
        Add("Store/a1", PatternBytes(7, 5));
        Add("Store/Data.bin", PatternBytes(9, 6));
        Add("Store/DATA.BIN", PatternBytes(11, 7));
        disk.MakeDirectory("Store/Empty");
        memory.AddDirectory("Store/Empty");
    }
    void Add(const std::string& path, const std::vector<uint8_t>& bytes) {
        disk.WriteFile(path, bytes);
        memory.AddFile(path, AsText(bytes));
    }
};

} // namespace

TEST(FileSources, MemoryServesWhatTheDiskServes) {
    TwinTree tree;
    NativeFileSource native;
    const char* queries[] = {"Store",
                             "store/subdir/STORECFG.VSB",
                             "STORE\\SubDir\\video_ts.ifo",
                             "Store//b.txt",
                             "Store/./a1",
                             "Store/SubDir/../DATA.bin",
                             "Store/data.bin",
                             "Store/Empty/",
                             "Store/_X",
                             "Store/missing",
                             "Store/b.txt/x",
                             "Store/SubDir/storeCfg.vsb/..",
                             "nothing/..",
                             "Store/Empty/../../Store"};
    for (const char* query : queries) {
        SCOPED_TRACE(query);
        std::string onDisk = tree.disk / query;
        EXPECT_EQ(tree.memory.Exists(query), native.Exists(onDisk));
        EXPECT_EQ(tree.memory.IsDirectory(query), native.IsDirectory(onDisk));
        EXPECT_EQ(ReadWhole(tree.memory, query), ReadWhole(native, onDisk));
        std::vector<DirectoryEntry> inMemory;
        std::vector<DirectoryEntry> inNative;
        EXPECT_EQ(tree.memory.List(query, &inMemory), native.List(onDisk, &inNative));
        EXPECT_EQ(Names(inMemory), Names(inNative));
    }
    // Both sources list names compared as upper case (so that "_" follows the letters), bytes breaking a tie.
    std::vector<DirectoryEntry> entries;
    ASSERT_TRUE(native.List(tree.disk / "Store", &entries));
    EXPECT_THAT(Names(entries),
                ElementsAre("a1", "b.txt", "DATA.BIN", "Data.bin", "Empty/", "SubDir/", "_x"));
}

TEST(NativeFileSource, ReadAtStopsAtTheEnd) {
    TwinTree tree;
    std::unique_ptr<SourceFile> file = NativeFileSource().Open(tree.disk / "Store/SubDir/VIDEO_TS.IFO");
    ASSERT_NE(file, nullptr);
    std::vector<uint8_t> bytes(16);
    EXPECT_EQ(file->ReadAt(30, bytes.data(), 16), 10);
    EXPECT_EQ(Slice(bytes, 0, 10), Slice(PatternBytes(40, 2), 30, 10));
    EXPECT_EQ(file->ReadAt(40, bytes.data(), 16), 0);
    EXPECT_EQ(file->ReadAt(-1, bytes.data(), 16), -1);
}
