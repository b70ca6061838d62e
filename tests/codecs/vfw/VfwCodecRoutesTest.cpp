// The codes the driver bridge decodes with the library's own codecs: pictures round-tripped through
// the test encoders go through the bridge and come back close to the originals; a frame cut short
// fails, a stream whose size is not the picture's is refused, and without a codec the code does not
// begin.
#include "codecs/vfw/DibPicture.h"
#include "codecs/vfw/VFWDecoder.h"
#include "codecs/vfw/VfwBuiltinDecoders.h"
#include "fixtures/adv601/Adv601TestEncoder.h"
#include "fixtures/adv601/Adv601TestPictures.h"
#include "fixtures/codecs/VfwTestEncoder.h"
#include "fixtures/jpeg/JpegTestSupport.h"

#include <gtest/gtest.h>

#include <vector>

using namespace Vorn::Vorncast::Decoders;
using namespace Vorn::Vorncast::Decoders::Testing;
using namespace VfwTesting;

namespace {

struct Route {
    const char* code;
    const char* privateCode;
    int32_t width, height;
    std::vector<uint8_t> source, frame;
    double bound;
};

int32_t Begin(VFWDecoder& decoder, const char* privateCode, const std::vector<uint8_t>& format,
              uint8_t* outFormat) {
    return decoder.Initialise(FourCC(privateCode), format.data(), static_cast<uint32_t>(format.size()),
                              outFormat);
}

} // namespace

TEST(VfwCodecRoutes, LibraryCodecsDecodeThroughTheBridge) {
    std::vector<Route> routes;
    for (bool tall : {true, false}) {
        Adv601TestPicture source = Adv601ColourBars(tall);
        Adv601EncoderOptions options;
        options.tallField = tall;
        routes.push_back(
            {"ADV1", "lkz6", 720, source.height, source.bgr, EncodeAdv601(source.bgr.data(), options), 40.0});
    }
    TestPicture bars = MakeColourBars(33, 17); // 99 bytes a line: the JPEG path pads to 100
    routes.push_back({"TJPG", "lkz7", 33, 17, bars.pixels, EncodeJpeg(bars), 35.0});
    for (const Route& route : routes) {
        const std::vector<uint8_t> untouched = route.frame;
        for (int32_t width : {route.width, route.width - 1}) {
            std::vector<uint8_t> format = BitmapFormat(width, route.height, FourCC(route.code), 24);
            VFWDecoder decoder;
            uint8_t outFormat[VFWDecoder::CallerFormatBytes] = {};
            ASSERT_EQ(Begin(decoder, route.privateCode, format, outFormat), 0) << route.code;
            std::vector<uint8_t> dib(decoder.OutputImageSize());
            auto decode = [&](size_t bytes) {
                return decoder.Decompress(route.frame.data(), static_cast<uint32_t>(bytes), outFormat,
                                          dib.data(), static_cast<uint32_t>(dib.size()), 0, 0);
            };
            if (width != route.width) {
                EXPECT_EQ(decode(route.frame.size()), VFWDecoder::DecompressFailed) << route.code;
                continue;
            }
            ASSERT_EQ(decode(route.frame.size()), 0) << route.code;
            std::vector<uint8_t> picture(route.source.size());
            ASSERT_TRUE(CopyDibTopDown(outFormat, sizeof outFormat, dib.data(), dib.size(), picture.data(),
                                       picture.size()));
            EXPECT_GT(Psnr(picture, route.source), route.bound) << route.code;
            EXPECT_EQ(route.frame, untouched); // the caller's bytes are not turned round
            EXPECT_EQ(decode(route.frame.size() / 2), VFWDecoder::DecompressFailed) << route.code;
        }
    }

    VfwBuiltinDecodeFunction saved = nullptr;
    ASSERT_TRUE(FindVfwBuiltinDecoder(FourCC("TJPG"), &saved));
    ASSERT_TRUE(RegisterVfwBuiltinDecoder(FourCC("TJPG"), nullptr));
    VFWDecoder decoder;
    uint8_t outFormat[VFWDecoder::CallerFormatBytes] = {};
    EXPECT_EQ(Begin(decoder, "lkz7", BitmapFormat(64, 48, FourCC("TJPG"), 24), outFormat), -1);
    RegisterVfwBuiltinDecoder(FourCC("TJPG"), saved);
}
