#include "core/client/ClientFixture.h"

#include <chrono>
#include <cstring>
#include <ostream>
#include <thread>

using namespace ClientTests;

namespace {

class FileClientExecutorTest : public ClientFixture {};

// One row of the read checks: a read step after "a.bin" (100 bytes) is open, then a failure, so
// that the result tells which kind of failure the read left behind.
struct ReadCase {
    const char* label;
    Step read;
    bool expectedOk;
    std::vector<std::string> expectedLines;
    FileClientResult expectedResult;
    FileFaults faults = {};
};

void PrintTo(const ReadCase& row, std::ostream* out) {
    *out << row.label;
}

class ReadRangeTest : public ClientFixture, public ::testing::WithParamInterface<ReadCase> {};

Step NullBufferRead(int64_t offset, uint32_t size) {
    Step step = Step::Read(offset, size);
    step.nullBuffer = true;
    return step;
}

// One case a line.
// clang-format off
const ReadCase readCases[] = {
    {"IdNotOpen", Step::Read(0, 10, 5), false, {"ExecuteRead() got bad file id from decoder 5\n"}, FCR_FAILURE},
    {"IdPastTable", Step::Read(0, 10, 2048), false, {"ExecuteRead() got bad file id from decoder 2048\n"}, FCR_FAILURE},
    {"IdNegative", Step::Read(0, 10, -1), false, {"ExecuteRead() got bad file id from decoder -1\n"}, FCR_FAILURE},
    {"ZeroSizeNeedsNoBufferNorRange", NullBufferRead(500, 0), true, {}, FCR_FAILURE},
    {"NullBuffer", NullBufferRead(0, 10), false, {"ExecuteRead() got null buffer from decoder\n"}, FCR_FAILURE},
    {"NegativeOffset", Step::Read(-1, 10), false, {"ExecuteRead() decoder tried to seek to negative offset\n"}, FCR_FAILURE},
    {"OffsetAtEnd", Step::Read(100, 1), false, {"ExecuteRead() decoder tried to seek beyond the end of the file\n"}, FCR_FAILURE},
    {"OneBytePastEnd", Step::Read(90, 11), false, {"ExecuteRead() decoder tried to read past the end of the file\n"}, FCR_FAILURE},
    {"EndingExactlyAtEnd", Step::Read(90, 10), true, {}, FCR_FAILURE},
    {"ReadError", Step::Read(10, 20), false,
     {"ExecuteRead() FileHandler::Read failed with fileId 0 for 20 bytes (0 bytes read)\n",
      "                                read position was 10, file size was 100\n",
      "                                filename was a.bin\n"},
     FCR_CATASTROPHIC, {.readFails = true}},
    {"ShortRead", Step::Read(10, 20), false,
     {"ExecuteRead() FileHandler::Read failed with fileId 0 for 20 bytes (5 bytes read)\n",
      "                                read position was 10, file size was 100\n",
      "                                filename was a.bin\n"},
     FCR_CATASTROPHIC, {.readLimit = 5}},
};
// clang-format on

} // namespace

TEST_P(ReadRangeTest, EachCheckGivesItsTextOkAndKindOfFailure) {
    const ReadCase& row = GetParam();
    files.AddPatterned("a.bin", 100, row.faults);
    decoder.loadScript = {Step::Open("a.bin"), row.read, Step::Fail()};

    EXPECT_EQ(Load(), row.expectedResult);

    ASSERT_GE(decoder.completions.size(), 2u);
    const CallRecord& read = decoder.completions[1];
    EXPECT_EQ(read.kind, CallRecord::Read);
    EXPECT_EQ(read.ok, row.expectedOk);
    for (const std::string& line : row.expectedLines) {
        EXPECT_TRUE(WasLogged(line)) << line;
    }
    for (const std::string& line : LoggedLines()) {
        EXPECT_EQ(line.rfind("ExecuteRead()", 0) == 0 || line.rfind("        ", 0) == 0,
                  std::find(row.expectedLines.begin(), row.expectedLines.end(), line) !=
                      row.expectedLines.end())
            << "unexpected read text: " << line;
    }
    EXPECT_EQ(client->OpenFileCount(), 0);
}

INSTANTIATE_TEST_SUITE_P(ReadChecks, ReadRangeTest, ::testing::ValuesIn(readCases),
                         [](const ::testing::TestParamInfo<ReadCase>& info) { return info.param.label; });

TEST_F(FileClientExecutorTest, SuccessfulReadDeliversTheFileBytes) {
    files.AddPatterned("a.bin", 100);
    decoder.loadScript = {Step::Open("a.bin"), Step::Read(90, 10)};
    ASSERT_EQ(Load(), FCR_SUCCESS);
    ASSERT_EQ(decoder.readBuffer.size(), 10u);
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(decoder.readBuffer[i], ScriptedFiles::Pattern(90 + i)) << i;
    }
    EXPECT_FALSE(client->IsCatastrophic());
}

TEST_F(FileClientExecutorTest, ZeroSizeReadKeepsTheKindOfTheEarlierFailure) {
    files.AddPatterned("a.bin", 100);
    decoder.loadScript = {Step::Open("a.bin"), Step::Open("missing.bin"), Step::Read(0, 0, 0), Step::Fail()};
    EXPECT_EQ(Load(), FCR_CATASTROPHIC);
    ASSERT_EQ(decoder.completions.size(), 4u) << "two opens, the read, the close of the failing phase";
    EXPECT_TRUE(decoder.completions[2].ok);
}

TEST_F(FileClientExecutorTest, FailedOpenReportsMinusOneAndTheDecoderMaySkipTheFile) {
    decoder.loadScript = {Step::Open("missing.bin"), Step::Fail()};
    EXPECT_EQ(Load(), FCR_CATASTROPHIC);
    ASSERT_EQ(decoder.completions.size(), 1u);
    EXPECT_EQ(decoder.completions[0].fileId, -1);
    EXPECT_TRUE(WasLogged("Error during fileHandler->Open()\n"));

    files.AddPatterned("b.bin", 64);
    decoder.completions.clear();
    decoder.loadScript = {Step::Open("missing.bin"), Step::Open("b.bin"), Step::Close()};
    EXPECT_EQ(Load(), FCR_SUCCESS);
    ASSERT_EQ(decoder.completions.size(), 3u);
    EXPECT_EQ(decoder.completions[1].fileId, 0);
    EXPECT_EQ(decoder.completions[1].size, 64u);
    EXPECT_EQ(client->OpenFileCount(), 0);
}

TEST_F(FileClientExecutorTest, OpenTakesTheLowestFreeEntry) {
    files.AddPatterned("a.bin", 10);
    files.AddPatterned("b.bin", 20);
    files.AddPatterned("c.bin", 30);
    decoder.loadScript = {Step::Open("a.bin"), Step::Open("b.bin"), Step::Close(0), Step::Open("c.bin")};
    ASSERT_EQ(Load(), FCR_SUCCESS);
    ASSERT_EQ(decoder.completions.size(), 4u);
    EXPECT_EQ(decoder.completions[0].fileId, 0);
    EXPECT_EQ(decoder.completions[1].fileId, 1);
    EXPECT_EQ(decoder.completions[3].fileId, 0);
    ASSERT_NE(client->GetFile(0), nullptr);
    EXPECT_STREQ(client->GetFile(0)->GetName(), "c.bin");
    EXPECT_TRUE(client->Close());
    EXPECT_EQ(files.LiveFiles(), 0);
}

TEST_F(FileClientExecutorTest, The2049thOpenEndsTheLoadAsANormalFailure) {
    files.AddPatterned("a.bin", 8);
    decoder.loadScript.assign(FileClient::MaxOpenFiles + 1, Step::Open("a.bin"));
    decoder.closeFilesOnFailure = false;

    EXPECT_EQ(Load(), FCR_FAILURE);

    ASSERT_EQ(decoder.completions.size(), static_cast<size_t>(FileClient::MaxOpenFiles))
        << "the decoder hears nothing of the refused open";
    for (int32_t id = 0; id < FileClient::MaxOpenFiles; ++id) {
        ASSERT_EQ(decoder.completions[static_cast<size_t>(id)].fileId, id);
    }
    EXPECT_EQ(CountLogged("Too many files open\n"), 1);
    EXPECT_TRUE(WasLogged("Unexpected DDA_NO_ACTION\n"));
    EXPECT_TRUE(WasLogged("After unloading the decoder, there were 2048 files left open!\n"));
    EXPECT_EQ(client->OpenFileCount(), 0);
    EXPECT_EQ(files.LiveFiles(), 0);
}

TEST_F(FileClientExecutorTest, CloseOfUnknownIdIsLoggedAndStillCompleted) {
    decoder.loadScript = {Step::Close(7), Step::Close(5000)};
    EXPECT_EQ(Load(), FCR_SUCCESS);
    EXPECT_TRUE(WasLogged("ExecuteClose() got bad file id from decoder 7\n"));
    EXPECT_TRUE(WasLogged("ExecuteClose() got bad file id from decoder 5000\n"));
    ASSERT_EQ(decoder.completions.size(), 2u);
    EXPECT_EQ(decoder.completions[0].fileId, 7);
    EXPECT_EQ(decoder.completions[1].fileId, 5000);
}

namespace {

struct ListCall {
    std::string directory;
    std::string pattern;
    int32_t depth = -1;
};
ListCall lastListCall;

void ListTwoFiles(const char* directory, const char* pattern, int32_t depth, bool* ok, uint32_t* length,
                  char** list) {
    lastListCall = {directory, pattern, depth};
    const char text[] = "a.jpg;sub/b.jpg;";
    *list = new char[sizeof(text)];
    std::memcpy(*list, text, sizeof(text));
    *length = sizeof(text) - 1;
    *ok = true;
}

} // namespace

TEST_F(FileClientExecutorTest, ListHandsTheDecoderWhatTheListerFoundOrNothingWithoutOne) {
    decoder.loadScript = {Step::List("/rec/", "*.jpg", 0)};
    ASSERT_EQ(Load(), FCR_SUCCESS);
    ASSERT_EQ(decoder.completions.size(), 1u);
    EXPECT_FALSE(decoder.completions[0].ok);
    ASSERT_TRUE(client->Close());

    client->SetListCallback(ListTwoFiles);
    decoder.completions.clear();
    decoder.loadScript = {Step::List("/rec/", "*.jpg", 2)};
    ASSERT_EQ(Load(), FCR_SUCCESS);
    EXPECT_EQ(lastListCall.directory, "/rec/");
    EXPECT_EQ(lastListCall.pattern, "*.jpg");
    EXPECT_EQ(lastListCall.depth, 2);
    ASSERT_EQ(decoder.completions.size(), 1u);
    EXPECT_TRUE(decoder.completions[0].ok);
    EXPECT_EQ(decoder.completions[0].list, "a.jpg|sub/b.jpg|");
}

// The LJD Leviathan row has a wait object of its own, which a wait would take in; the wait cases
// stand a decoder without one in its place.
class WithoutLjdWaitObject {
public:
    WithoutLjdWaitObject() {
        for (int32_t index = 0; index < DecoderTable::Count(); ++index) {
            if (std::string(DecoderTable::RowAt(index)->className) == "DecodeLjdLeviathan") {
                row = index;
                previous = DecoderTable::Swap(row, &standIn);
            }
        }
    }
    ~WithoutLjdWaitObject() { DecoderTable::Swap(row, previous); }

private:
    ScriptedDecoder standIn;
    int32_t row = -1;
    BaseDecoder* previous = nullptr;
};

TEST_F(FileClientExecutorTest, WaitEndsWhenTheDecodersEventIsSetFromAnotherThreadOrAtOnceWithoutOne) {
    WithoutLjdWaitObject withoutLjd;
    RemakeClient();
    EXPECT_EQ(client->GetWaitObjectListCount(), 0);
    decoder.loadScript = {Step::Wait()};
    ASSERT_EQ(Load(), FCR_SUCCESS);
    ASSERT_EQ(decoder.completions.size(), 1u);
    EXPECT_EQ(decoder.completions[0].signalled, nullptr);

    ASSERT_TRUE(client->Close());
    WaitEvent event;
    decoder.waitObject = &event;
    decoder.completions.clear();
    RemakeClient();
    EXPECT_EQ(client->GetWaitObjectListCount(), 1);
    std::thread worker([&event] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        event.Set();
    });
    FileClientResult result = Load();
    worker.join();
    EXPECT_EQ(result, FCR_SUCCESS);
    ASSERT_EQ(decoder.completions.size(), 1u);
    EXPECT_EQ(decoder.completions[0].kind, CallRecord::Event);
    EXPECT_EQ(decoder.completions[0].signalled, &event);
}
