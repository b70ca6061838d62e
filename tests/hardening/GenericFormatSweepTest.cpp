// The damage sweep over the recordings of the generic image formats, read by their rows of the
// decoder table. While a row still has its stand-in, its sweep is skipped.
#include "fixtures/adv601/Adv601TestEncoder.h"
#include "fixtures/adv601/Adv601TestPictures.h"
#include "fixtures/jpeg/JpegTestSupport.h"
#include "hardening/DamageSweep.h"

#include <gtest/gtest.h>

using namespace Hardening;
using namespace Vorn::Vorncast::Decoders::Testing;

namespace {

// Three pictures of different sizes, so that a frame read at the wrong place shows.
std::vector<std::vector<uint8_t>> ThreeJpegs() {
    return {EncodeJpeg(MakeColourBars(64, 32)), EncodeJpeg(MakeGradient(48, 24, 3), {.quality = 60}),
            EncodeJpeg(MakeColourBars(64, 32), {.sampling = Sampling::S420})};
}

// The pictures one behind the other in one file, with the offset where each begins.
SweepRecording Concatenated(const std::string& name, const std::vector<std::vector<uint8_t>>& frames) {
    SweepRecording recording;
    std::string bytes;
    std::vector<uint64_t> starts;
    for (const std::vector<uint8_t>& frame : frames) {
        starts.push_back(bytes.size());
        bytes.append(frame.begin(), frame.end());
    }
    recording.files = {{name, bytes}};
    recording.frameStarts = {starts};
    return recording;
}

} // namespace

TEST(GenericFormatSweep, JpegStream) {
    ExpectDecoderSurvivesDamage(DecoderRowIndex("DecodeGenericJPEG"),
                                Concatenated("stream.mjpg", ThreeJpegs()));
}

TEST(GenericFormatSweep, FolderOfJpegs) {
    SweepRecording recording;
    int index = 1;
    for (const std::vector<uint8_t>& picture : ThreeJpegs()) {
        recording.files.push_back(
            {"image" + std::to_string(index++) + ".jpg", std::string(picture.begin(), picture.end())});
        recording.frameStarts.push_back({0});
    }
    ExpectDecoderSurvivesDamage(DecoderRowIndex("DecodeGenericFolderOfJpegs"), recording);
}

TEST(GenericFormatSweep, Adv601Stream) {
    std::vector<std::vector<uint8_t>> fields;
    for (const Adv601TestPicture& picture :
         {Adv601ColourBars(true), Adv601Gradient(true), Adv601Edges(true)}) {
        Adv601EncoderOptions options;
        options.detailScale = 512;
        fields.push_back(EncodeAdv601(picture.bgr.data(), options));
    }
    SweepOptions options;
    options.maxCutsPerFile = 24;
    options.maxDamagePerFile = 24;
    ExpectDecoderSurvivesDamage(DecoderRowIndex("DecodeGenericADV601"), Concatenated("stream.adv", fields),
                                options);
}
