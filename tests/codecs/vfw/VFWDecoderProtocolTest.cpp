// The bridge's side of the driver conversation, against a driver that answers what each test
// scripts: message order, records, result table and texts.
#include "codecs/vfw/VFWDecoder.h"
#include "core/decoder/ScriptedDecoder.h"
#include "fixtures/codecs/VfwTestEncoder.h"
#include "model/files/FileTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

using namespace Vorn::Vorncast::Decoders;
using namespace VfwTesting;
using FileTesting::LogCapture;

namespace {

struct Script {
    bool openFails = false;
    uint32_t answerCompression = BI_RGB;
    int32_t beginResult = ICERR_OK;
    int32_t decompressResult = ICERR_OK;
    int32_t endResult = ICERR_OK;
    bool closeFails = false;
    uint8_t paint = 0x42;

    int opens = 0;
    int begins = 0;
    int decompresses = 0;
    int ends = 0;
    int closes = 0;
    std::string path;
    IcOpen open;
    IcDecompress record;
    uint32_t recordSize = 0;
};

Script script;

class ScriptedDriver : public VfwDriver {
public:
    int32_t GetFormat(const uint8_t* input, uint32_t, uint8_t* output) override {
        BitmapInfoHeader in = BitmapInfoHeader::Read(ByteView(input, 40));
        std::vector<uint8_t> answer = BitmapFormat(in.width, in.height, script.answerCompression, 24);
        std::copy_n(answer.begin(), 40, output);
        return ICERR_OK;
    }
    int32_t Begin(const uint8_t*, const uint8_t*, uint32_t) override {
        ++script.begins;
        return script.beginResult;
    }
    int32_t Decompress(const IcDecompress& record) override {
        ++script.decompresses;
        script.record = record;
        script.recordSize = ByteView(record.inputFormat, 40).U32LE(20);
        if (script.decompressResult == ICERR_OK) {
            std::memset(record.output, script.paint, ByteView(record.outputFormat, 40).U32LE(20));
        }
        return script.decompressResult;
    }
    int32_t End() override {
        ++script.ends;
        return script.endResult;
    }
    bool Close() override {
        ++script.closes;
        return !script.closeFails;
    }
};

std::unique_ptr<VfwDriver> OpenScripted(const char* path, const IcOpen& open) {
    ++script.opens;
    script.path = path;
    script.open = open;
    if (script.openFails) {
        return nullptr;
    }
    return std::make_unique<ScriptedDriver>();
}

constexpr int Width = 8;
constexpr int Height = 4;
constexpr uint32_t ImageBytes = Width * Height * 3;

class VfwProtocol : public testing::Test {
protected:
    void SetUp() override { script = Script(); }

    int32_t Initialise(const char* code = "lkz3") { return Initialise(decoder, code); }
    int32_t Initialise(VFWDecoder& bridge, const char* code = "lkz3") {
        return bridge.Initialise(FourCC(code), format.data(), static_cast<uint32_t>(format.size()),
                                 outFormat);
    }
    int32_t Decompress() {
        return decoder.Decompress(data, sizeof data, outFormat, picture.data(), ImageBytes, 0, 0);
    }

    VFWDecoder decoder{nullptr, OpenScripted};
    std::vector<uint8_t> format = BitmapFormat(Width, Height, FourCC("GEOX"), 24);
    uint8_t outFormat[40] = {};
    uint8_t data[100] = {1, 2, 3};
    std::vector<uint8_t> picture = std::vector<uint8_t>(ImageBytes, 0x11);
};

TEST_F(VfwProtocol, OpensTheDriverOfTheMatchingCodeAndHandsFramesOverAndPicturesBack) {
    ASSERT_EQ(Initialise("lkz5"), 0);
    EXPECT_EQ(script.opens, 1);
    EXPECT_EQ(script.begins, 1);
    EXPECT_TRUE(decoder.IsBegun());
    EXPECT_EQ(BitmapInfoHeader::Read(ByteView(outFormat, sizeof outFormat)).sizeImage, ImageBytes);

    uint8_t frameFormat[40] = {};
    ASSERT_EQ(decoder.Decompress(data, 77, frameFormat, picture.data(), ImageBytes, 0x10, 7), 0);
    EXPECT_EQ(script.record.flags, 0x10u);
    EXPECT_EQ(script.record.frame, 7u);
    EXPECT_EQ(script.record.input, data);
    EXPECT_EQ(script.recordSize, 77u);
    EXPECT_NE(script.record.output, picture.data()); // the driver writes to the bridge's own buffer
    EXPECT_EQ(picture, std::vector<uint8_t>(ImageBytes, script.paint));
    EXPECT_EQ(std::memcmp(frameFormat, outFormat, sizeof outFormat), 0);

    // A picture held back repeats the previous one.
    script.decompressResult = ICERR_DONTDRAW;
    std::fill(picture.begin(), picture.end(), 0);
    LogCapture log;
    EXPECT_EQ(Decompress(), 0);
    EXPECT_EQ(picture, std::vector<uint8_t>(ImageBytes, script.paint));
    EXPECT_EQ(log.Messages().front(), "Decompress returned : 1\n");
}

TEST_F(VfwProtocol, FailedOpenIsLoggedAndFindsNothing) {
    script.openFails = true;
    LogCapture log;
    EXPECT_EQ(Initialise(), -1);
    const auto* failed = log.Find("Failed to open driver: ");
    ASSERT_NE(failed, nullptr);
    EXPECT_EQ(failed->message, "Failed to open driver: " + script.path + "\n");
    EXPECT_EQ(log.Messages().back(), "Unable to locate suitable coded for FourCC: lkz3\n");
    EXPECT_EQ(Decompress(), VFWDecoder::NotBegun);

    // The owner's log gets the texts when there is an owner.
    Testing::LogCapture decoderLog;
    Testing::ScriptedDecoder owner;
    log.Clear();
    VFWDecoder owned(&owner, OpenScripted);
    EXPECT_EQ(Initialise(owned), -1);
    EXPECT_TRUE(log.All().empty());
    std::vector<std::string> lines = decoderLog.Take();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.front(), "Trying to locate suitable coded for FourCC: lkz3\n");
    EXPECT_EQ(lines.back(), "Unable to locate suitable coded for FourCC: lkz3\n");
}

TEST_F(VfwProtocol, CompressedAnswerLeavesDecodingOff) {
    script.answerCompression = FourCC("YUY2");
    LogCapture log;
    EXPECT_EQ(Initialise(), 0);
    EXPECT_TRUE(log.Contains("VFW decoder doesn't support RGB output\n", Vorn::Vorncast::LogCore));
    EXPECT_EQ(script.begins, 0);
    EXPECT_EQ(Decompress(), VFWDecoder::NotBegun);
    EXPECT_EQ(Initialise(), 0);
    EXPECT_EQ(script.opens, 1);
    decoder.Close();
    EXPECT_EQ(script.ends, 0);
    EXPECT_EQ(script.closes, 1);
}

// Every begin result but good fails and closes the driver; one that will not close is reported.
TEST_F(VfwProtocol, BeginResultsOtherThanOkFail) {
    for (int32_t value : {2, -201, 5, -50}) {
        script = Script();
        script.beginResult = value;
        script.closeFails = value == 5;
        LogCapture log;
        VFWDecoder failing(nullptr, OpenScripted);
        EXPECT_EQ(Initialise(failing), -1);
        EXPECT_TRUE(log.Contains("Decompress Begin returned : " + std::to_string(value) + "\n",
                                 Vorn::Vorncast::LogCore));
        EXPECT_TRUE(log.Contains("Error in DECOMPRESS_BEGIN\n", Vorn::Vorncast::LogCore)) << value;
        EXPECT_EQ(log.Contains("Error closing driver " + script.path + ".\n", Vorn::Vorncast::LogCore),
                  script.closeFails);
        EXPECT_EQ(log.Messages().back(), "Unable to locate suitable coded for FourCC: lkz3\n");
        EXPECT_EQ(script.closes, 1);
        EXPECT_FALSE(failing.IsBegun());
    }
}

TEST_F(VfwProtocol, FailedFrameGivesABlackPicture) {
    ASSERT_EQ(Initialise(), 0);
    for (int32_t value : {-100, 3, -2, -50}) {
        script.decompressResult = value;
        std::fill(picture.begin(), picture.end(), 0x99);
        LogCapture log;
        EXPECT_EQ(Decompress(), VFWDecoder::DecompressFailed);
        EXPECT_EQ(picture, std::vector<uint8_t>(ImageBytes, 0));
        EXPECT_EQ(log.Messages().front(), "Decompress returned : " + std::to_string(value) + "\n");
    }
    // A good picture that does not fit the caller's buffer is no picture either.
    script.decompressResult = ICERR_OK;
    std::fill(picture.begin(), picture.end(), 0x99);
    EXPECT_EQ(decoder.Decompress(data, 1, outFormat, picture.data(), ImageBytes - 1, 0, 0),
              VFWDecoder::DecompressFailed);
    EXPECT_EQ(std::count(picture.begin(), picture.end(), 0), ImageBytes - 1);
}

TEST_F(VfwProtocol, MissingArgumentsHaveTheirCodes) {
    EXPECT_EQ(decoder.Decompress(data, 1, outFormat, picture.data(), ImageBytes, 0, 0), VFWDecoder::NotBegun);
    ASSERT_EQ(Initialise(), 0);
    EXPECT_EQ(decoder.Decompress(data, 1, outFormat, nullptr, ImageBytes, 0, 0), VFWDecoder::NoOutputBuffer);
    EXPECT_EQ(decoder.Decompress(nullptr, 1, outFormat, nullptr, ImageBytes, 0, 0),
              VFWDecoder::NoDataNoOutputBuffer);
    EXPECT_EQ(decoder.Decompress(nullptr, 1, outFormat, picture.data(), ImageBytes, 0, 0),
              VFWDecoder::NoData);
    EXPECT_EQ(script.decompresses, 0);
}

TEST_F(VfwProtocol, CloseAndDestructionEndDecompression) {
    script.endResult = ICERR_ERROR;
    script.closeFails = true;
    ASSERT_EQ(Initialise(), 0);
    LogCapture log;
    decoder.Close();
    EXPECT_EQ(log.Messages(),
              (std::vector<std::string>{"Decompress End returned : -100\n", "ICERR_ERROR\n",
                                        "Error in DECOMPRESS_END\n", "Error closing driver.\n"}));
    EXPECT_EQ(script.ends, 1);
    EXPECT_EQ(script.closes, 1);
    EXPECT_EQ(Decompress(), VFWDecoder::NotBegun);
    script = Script();
    {
        VFWDecoder again(nullptr, OpenScripted);
        EXPECT_EQ(Initialise(again), 0);
    }
    EXPECT_EQ(script.ends, 1);
    EXPECT_EQ(script.closes, 1);
}

TEST_F(VfwProtocol, ShortOrMissingFormatReadsAsZeroes) {
    uint8_t shortFormat[10] = {40, 0, 0, 0, 8};
    EXPECT_EQ(decoder.Initialise(FourCC("lkz3"), shortFormat, sizeof shortFormat, outFormat), 0);
    EXPECT_EQ(script.open.fccHandler, 0u);
    VFWDecoder none(nullptr, OpenScripted);
    EXPECT_EQ(none.Initialise(FourCC("lkz3"), nullptr, 100, outFormat), 0);
}

TEST_F(VfwProtocol, UncompressedStreamsNeverOpenADriver) {
    std::vector<uint8_t> frame(ImageBytes);
    for (size_t i = 0; i < frame.size(); ++i) {
        frame[i] = static_cast<uint8_t>(i);
    }
    for (uint32_t code : {FourCC("RGB2"), 0u}) {
        std::vector<uint8_t> rgb = BitmapFormat(Width, Height, code, 24);
        LogCapture log;
        VFWDecoder plain(nullptr, OpenScripted);
        uint8_t answer[40] = {};
        ASSERT_EQ(plain.Initialise(code, rgb.data(), static_cast<uint32_t>(rgb.size()), answer), 0);
        EXPECT_EQ(script.opens, 0);
        EXPECT_TRUE(log.All().empty());
        EXPECT_TRUE(plain.IsUncompressed());
        EXPECT_EQ(std::memcmp(answer, rgb.data(), 40), 0);
        ASSERT_EQ(plain.Decompress(frame.data(), ImageBytes, answer, picture.data(), ImageBytes, 0, 0), 0);
        EXPECT_EQ(picture, frame);
        // A frame longer than the caller's buffer is cut to it.
        std::vector<uint8_t> small(10, 0xEE);
        ASSERT_EQ(plain.Decompress(frame.data(), ImageBytes, answer, small.data(), 9, 0, 0), 0);
        EXPECT_EQ(small[8], 8);
        EXPECT_EQ(small[9], 0xEE);
    }
}

} // namespace
