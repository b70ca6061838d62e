#include "fixtures/adv601/Adv601TestEncoder.h"
#include "fixtures/adv601/Adv601TestPictures.h"
#include "fixtures/formats/DarlexWriter.h"
#include "tools/ToolTestSupport.h"

namespace ToolTests {
namespace {

using json = nlohmann::json;
using namespace Vorn::Vorncast::Decoders::Testing;

// A Darlex disk image shows its track's cameras with the names of the track directory.
TEST_F(ToolTest, DarlexImageShowsItsCamerasByName) {
    Adv601EncoderOptions coarse;
    coarse.detailScale = 4096;
    const std::vector<uint8_t> field = EncodeAdv601(Adv601Flat(true, 40, 80, 120).bgr.data(), coarse);
    DarlexImage image;
    image.tracks = {{{{{2022, 6, 1, 9, 0, 1}, 1, field},
                      {{2022, 6, 1, 9, 0, 1}, 2, field},
                      {{2022, 6, 1, 9, 0, 2}, 2, field}},
                     {"Gate", "Yard"}}};
    std::filesystem::create_directories(Work("disk"));
    ASSERT_TRUE(WriteDarlexFiles(WriteDarlex(image, "DISK"), Work("disk").string()));
    const ToolRun probe = RunTool({"probe", Work("disk/DISK.VID").string(), "--decoder",
                                   "{B672C4BD-2E7F-4b58-A943-929EAA3AA28E}", "--json"});
    ASSERT_EQ(probe.exitCode, 0) << probe.err;
    const json streams = json::parse(probe.out)["tracks"][0]["streams"];
    ASSERT_EQ(streams.size(), 2u);
    EXPECT_EQ(streams[0]["camera"], "Gate");
    EXPECT_EQ(streams[1]["camera"], "Yard");
    EXPECT_EQ(streams[1]["frames"], 2);
}

} // namespace
} // namespace ToolTests
