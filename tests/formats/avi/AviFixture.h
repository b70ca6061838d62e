#pragma once

// Recordings the ffmpeg program writes at test time, rewritten in a recorder's dialect where a test
// needs one, loaded through the exported functions and compared with ffmpeg's own decoding.
#include "MissingTool.h"
#include "core/client/DecoderRows.h"
#include "core/client/MasDigitalCAPI.h"
#include "fixtures/codecs/CodecTestSupport.h"
#include "fixtures/formats/AviWriter.h"
#include "fixtures/iso/FfmpegTool.h"
#include "formats/RecorderChecks.h"

#include <cstring>

namespace AviTests {

using namespace FormatTests;
using namespace Vorn::Vorncast::Decoders::Testing;

constexpr double MinimumPsnr = 40.0;

class AviRecordingTest : public RecorderTest {
protected:
    void SetUp() override {
        RecorderTest::SetUp();
        if (!IsoTest::HaveFfmpegTools()) {
            SKIP_OR_FAIL_FOR_MISSING("the ffmpeg program");
        }
        ASSERT_TRUE(folder.Ok());
    }

    // Runs ffmpeg on a test picture of `seconds` to write `name`; the file's bytes.
    Bytes Record(const std::string& name, int width, int height, double seconds, const std::string& output) {
        const std::string path = folder.Path(name);
        const std::string source = "-f lavfi -i testsrc=size=" + std::to_string(width) + "x" +
                                   std::to_string(height) + ":rate=25:duration=" + std::to_string(seconds) +
                                   " ";
        EXPECT_TRUE(IsoTest::RunFfmpeg(source + output + " '" + path + "'")) << output;
        return IsoTest::ReadWholeFile(path);
    }
    // ffmpeg's pictures; `throughDriver` converts their colours as the private codecs' driver does.
    std::vector<Bytes> Reference(const std::string& name, int width, int height, bool throughDriver = false) {
        return IsoTest::FfmpegVideoFrames(folder.Path(name), width, height,
                                          throughDriver ? "bilinear+accurate_rnd+full_chroma_int" : "");
    }

    static void ExpectPicture(const Delivered& delivered, const Bytes& expected, size_t frame) {
        ASSERT_EQ(delivered.status, 0) << "frame " << frame << ": " << LastError();
        ASSERT_EQ(delivered.data.size(), expected.size()) << "frame " << frame;
        EXPECT_GE(CodecTest::Psnr(expected.data(), delivered.data.data(), expected.size()), MinimumPsnr)
            << "frame " << frame;
    }
    static void ExpectPictures(const std::vector<Delivered>& walked, const std::vector<Bytes>& reference) {
        ASSERT_EQ(walked.size(), reference.size());
        for (size_t frame = 0; frame < walked.size(); ++frame) {
            ExpectPicture(walked[frame], reference[frame], frame);
        }
    }

    // The name the decoder of class `className` gives now: after a load, with what it read.
    static std::string DecoderName(const char* className) {
        const auto* rows = Vorn::Vorncast::Decoders::DigitalDecoderRows();
        for (int32_t index = 0; index < Vorn::Vorncast::Decoders::DigitalDecoderCount; ++index) {
            if (std::strcmp(rows[index].className, className) == 0) {
                char name[256] = {}, extensions[256] = {}, guid[64] = {};
                int32_t length = 0, count = 0, patterns = 0;
                Vorn::Vorncast::Decoders::MasDigitalCAPI::DecoderDescriptionFlags flags{};
                Vorn::Vorncast::Decoders::MasDigitalCAPI::GetDecoderDescription(
                    index, name, sizeof name, &length, extensions, sizeof extensions, &count, &patterns,
                    &flags, guid);
                return name;
            }
        }
        return "";
    }

    IsoTest::TempFolder folder;
    std::vector<Bytes> reference;
};

} // namespace AviTests
