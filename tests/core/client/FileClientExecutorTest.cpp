#include "core/client/ClientFixture.h"

#include <chrono>
#include <ostream>
#include <thread>

using namespace ClientTests;

namespace {

class FileClientExecutorTest : public ClientFixture {};

// One row of the load checks: the decoder's steps over "a.bin" (100 bytes, meeting `faults`) and
// "b.bin", the load's result, whether its read (if any) was reported good, and the lines logged.
struct LoadCase {
    const char* label;
    std::vector<Step> script;
    FileClientResult expectedResult;
    int readOk; // -1: no read
    std::vector<std::string> expectedLines;
    FileFaults faults = {};
    bool closeFilesOnFailure = true;
};

void PrintTo(const LoadCase& row, std::ostream* out) {
    *out << row.label;
}

class LoadCheckTest : public ClientFixture, public ::testing::WithParamInterface<LoadCase> {};

// A read after "a.bin" is open, then a failure, so that the result tells which kind of failure the
// read left behind.
std::vector<Step> ReadThenFail(Step read, bool nullBuffer = false) {
    read.nullBuffer = nullBuffer;
    return {Step::Open("a.bin"), read, Step::Fail()};
}

std::vector<std::string> ReadErrorLines(int bytesRead) {
    return {"ExecuteRead() FileHandler::Read failed with fileId 0 for 20 bytes (" +
                std::to_string(bytesRead) + " bytes read)\n",
            "                                read position was 10, file size was 100\n",
            "                                filename was a.bin\n"};
}

// clang-format off
const LoadCase loadCases[] = {
    {"IdNotOpen", ReadThenFail(Step::Read(0, 10, 5)), FCR_FAILURE, 0, {"ExecuteRead() got bad file id from decoder 5\n"}},
    {"IdPastTable", ReadThenFail(Step::Read(0, 10, 2048)), FCR_FAILURE, 0, {"ExecuteRead() got bad file id from decoder 2048\n"}},
    {"IdNegative", ReadThenFail(Step::Read(0, 10, -1)), FCR_FAILURE, 0, {"ExecuteRead() got bad file id from decoder -1\n"}},
    {"ZeroSizeNeedsNoBufferNorRange", ReadThenFail(Step::Read(500, 0), true), FCR_FAILURE, 1, {}},
    {"NullBuffer", ReadThenFail(Step::Read(0, 10), true), FCR_FAILURE, 0, {"ExecuteRead() got null buffer from decoder\n"}},
    {"NegativeOffset", ReadThenFail(Step::Read(-1, 10)), FCR_FAILURE, 0, {"ExecuteRead() decoder tried to seek to negative offset\n"}},
    {"OffsetAtEnd", ReadThenFail(Step::Read(100, 1)), FCR_FAILURE, 0, {"ExecuteRead() decoder tried to seek beyond the end of the file\n"}},
    {"OneBytePastEnd", ReadThenFail(Step::Read(90, 11)), FCR_FAILURE, 0, {"ExecuteRead() decoder tried to read past the end of the file\n"}},
    {"EndingExactlyAtEnd", ReadThenFail(Step::Read(90, 10)), FCR_FAILURE, 1, {}},
    {"ReadError", ReadThenFail(Step::Read(10, 20)), FCR_CATASTROPHIC, 0, ReadErrorLines(0), {.readFails = true}},
    {"ShortRead", ReadThenFail(Step::Read(10, 20)), FCR_CATASTROPHIC, 0, ReadErrorLines(5), {.readLimit = 5}},
    {"ZeroSizeReadKeepsTheKindOfAnEarlierFailure", {Step::Open("a.bin"), Step::Open("missing.bin"), Step::Read(0, 0, 0), Step::Fail()}, FCR_CATASTROPHIC, 1, {}},
    {"FailedOpen", {Step::Open("missing.bin"), Step::Fail()}, FCR_CATASTROPHIC, -1, {"Error during fileHandler->Open()\n"}},
    {"UnmeasurableFile", {Step::Open("a.bin"), Step::Fail()}, FCR_CATASTROPHIC, -1, {"Error during fileHandler->Open()\n"}, {.sizeFails = true}},
    {"CloseOfUnknownIdsIsStillCompleted", {Step::Close(7), Step::Close(5000)}, FCR_SUCCESS, -1, {"ExecuteClose() got bad file id from decoder 7\n", "ExecuteClose() got bad file id from decoder 5000\n"}},
    {"ActionOutsideTheProtocol", {Step::Close(3), Step::Raw(9)}, FCR_CATASTROPHIC, -1, {"Unexpected DecoderAction 9\n"}},
    {"NegativeAction", {Step::Close(3), Step::Raw(-4)}, FCR_CATASTROPHIC, -1, {"Unexpected DecoderAction -4\n"}},
    {"NoAction", {Step::Close(3), Step::Raw(DDA_NO_ACTION)}, FCR_FAILURE, -1, {"Unexpected DDA_NO_ACTION\n"}},
    {"FilesTheDecoderForgets", {Step::Open("a.bin"), Step::Open("b.bin"), Step::Fail()}, FCR_FAILURE, -1, {"Load failed\n", "Dangling file handle 1 (b.bin)\n"}, {}, false},
};
// clang-format on

} // namespace

TEST_P(LoadCheckTest, EachCheckGivesItsTextOkAndKindOfFailure) {
    const LoadCase& row = GetParam();
    files.AddPatterned("a.bin", 100, row.faults);
    files.AddPatterned("b.bin", 10);
    decoder.loadScript = row.script;
    decoder.closeFilesOnFailure = row.closeFilesOnFailure;

    EXPECT_EQ(Load(), row.expectedResult);

    auto read = std::find_if(decoder.completions.begin(), decoder.completions.end(),
                             [](const CallRecord& call) { return call.kind == CallRecord::Read; });
    ASSERT_EQ(read != decoder.completions.end(), row.readOk >= 0);
    if (row.readOk >= 0) {
        EXPECT_EQ(read->ok, row.readOk == 1);
    }
    for (const std::string& line : row.expectedLines) {
        EXPECT_TRUE(log.Has(line)) << line;
    }
    for (const std::string& line : log.lines) {
        bool readText = line.rfind("ExecuteRead()", 0) == 0 || line.rfind("        ", 0) == 0;
        EXPECT_TRUE(!readText || std::find(row.expectedLines.begin(), row.expectedLines.end(), line) !=
                                     row.expectedLines.end())
            << "unexpected read text: " << line;
    }
    EXPECT_EQ(client->OpenFileCount(), 0);
    EXPECT_EQ(files.LiveFiles(), 0);
}

INSTANTIATE_TEST_SUITE_P(LoadChecks, LoadCheckTest, ::testing::ValuesIn(loadCases),
                         [](const ::testing::TestParamInfo<LoadCase>& info) { return info.param.label; });

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
    EXPECT_EQ(std::count(log.lines.begin(), log.lines.end(), "Too many files open\n"), 1);
    EXPECT_TRUE(log.Has("Unexpected DDA_NO_ACTION\n"));
    EXPECT_TRUE(log.Has("After unloading the decoder, there were 2048 files left open!\n"));
    EXPECT_EQ(client->OpenFileCount(), 0);
    EXPECT_EQ(files.LiveFiles(), 0);
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
