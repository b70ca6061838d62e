// The codes the driver bridge decodes with the library's own codecs: pictures round-tripped
// through the test encoders and compared with the originals.
#include "codecs/vfw/VfwCodecRoutes.h"
#include "fixtures/adv601/Adv601TestEncoder.h"
#include "fixtures/adv601/Adv601TestPictures.h"
#include "fixtures/jpeg/JpegTestSupport.h"

#include <gtest/gtest.h>

#include <vector>

using namespace Vorn::Vorncast::Decoders;
using namespace Vorn::Vorncast::Decoders::Testing;

TEST(VfwCodecRoutes, Adv601FieldsOfBothHeightsDecodeToDensePictures) {
    for (bool tall : {true, false}) {
        Adv601TestPicture source = Adv601ColourBars(tall);
        Adv601EncoderOptions options;
        options.tallField = tall;
        std::vector<uint8_t> field = EncodeAdv601(source.bgr.data(), options);
        const std::vector<uint8_t> untouched = field;
        std::vector<uint8_t> picture(source.bgr.size());
        ASSERT_TRUE(DecodeAdv601Picture(field.data(), static_cast<uint32_t>(field.size()), 720, source.height,
                                        picture.data()));
        EXPECT_GT(Adv601Psnr(source.bgr, picture), 40.0);
        EXPECT_EQ(field, untouched); // the caller's bytes are not turned round
        EXPECT_FALSE(DecodeAdv601Picture(field.data(), static_cast<uint32_t>(field.size()), 704,
                                         source.height, picture.data()));
        EXPECT_FALSE(DecodeAdv601Picture(field.data(), static_cast<uint32_t>(field.size() / 2), 720,
                                         source.height, picture.data()));
    }
}

TEST(VfwCodecRoutes, JpegPicturesLoseTheirLinePaddingAndMustMatchTheStreamSize) {
    TestPicture source = MakeColourBars(33, 17); // 99 bytes a line: the JPEG path pads to 100
    std::vector<uint8_t> jpeg = EncodeJpeg(source);
    std::vector<uint8_t> picture(33 * 17 * 3 + 1, 0xEE);
    ASSERT_TRUE(DecodeJpegPicture(jpeg.data(), static_cast<uint32_t>(jpeg.size()), 33, 17, picture.data()));
    PictureError error = ComparePicture(source, picture.data(), 33 * 3);
    EXPECT_GT(error.psnr, 35.0);
    EXPECT_EQ(picture.back(), 0xEE);
    EXPECT_FALSE(DecodeJpegPicture(jpeg.data(), static_cast<uint32_t>(jpeg.size()), 32, 17, picture.data()));
    EXPECT_FALSE(DecodeJpegPicture(jpeg.data(), 20, 33, 17, picture.data()));
}
