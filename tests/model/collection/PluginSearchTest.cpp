// Import plug-ins built by the tests, found below a plug-in root made for each test.
#include "interface/LibraryFrame.h"
#include "model/collection/DecoderCollection.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

using namespace Vorn::Vorncast;
namespace fs = std::filesystem;

namespace {

std::vector<std::string> logged;
void Collect(const char*, int, int, const char* message) {
    logged.emplace_back(message);
}

bool Logged(const std::string& text) {
    for (const std::string& line : logged) {
        if (line.find(text) != std::string::npos) {
            return true;
        }
    }
    return false;
}

class PluginSearchTest : public ::testing::Test {
protected:
    void SetUp() override {
        VcInitRecord record{};
        record.importPluginsEnabled = 1;
        record.logCallback = Collect;
        InitVorncastDecoders(record);
        logged.clear();
        root = fs::temp_directory_path() / ("vorncast-plugins-" + std::to_string(::getpid()) + "-" +
                                            ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(root);
        fs::create_directories(root / "plugins" / "import" / "sub");
    }
    void TearDown() override {
        fs::remove_all(root);
        Library().logCallback = nullptr;
        Library().importPluginsEnabled = 0;
    }
    void Place(const char* build, const fs::path& relative) {
        fs::copy_file(fs::path(TEST_PLUGIN_DIR) / build, root / "plugins" / "import" / relative);
    }
    std::string Root() const { return root.string() + "/"; }

    fs::path root;
};

} // namespace

TEST_F(PluginSearchTest, ADisabledSearchOrNoImportFolderLeavesTheBuiltInDecoders) {
    Place("PluginDecoderGood.so", "PluginDecoderGood.so");
    EXPECT_EQ(DecoderCollection(0, Root().c_str()).Count(), 75);
    EXPECT_TRUE(Logged("DecoderCollection > Don't look for import plugins\n"));
    fs::remove_all(root / "plugins");
    EXPECT_EQ(DecoderCollection(1, Root().c_str()).Count(), 75);
    EXPECT_TRUE(Logged("DecoderCollection > Look for import plugins found -1 sub-paths\n"));
}

TEST_F(PluginSearchTest, CompatiblePluginsAreAddedBehindTheBuiltInDecoders) {
    Place("PluginDecoderGood.so", "PluginDecoderGood.so");
    Place("PluginDecoderNewer.so", "sub/PluginDecoderNewer.so");
    Place("PluginDecoderOlder.so", "sub/PluginDecoderOlder.so");
    Place("PluginDecoderBroken.so", "sub/PluginDecoderBroken.so");
    Place("PluginDecoderGood.so", "sub/OtherDecoder.so");
    std::ofstream(root / "plugins" / "import" / "sub" / "PluginDecoderNotes.so") << "not a library";

    int handle = 0;
    ASSERT_EQ(DecoderCollection_Create(Root().c_str(), &handle), 0);
    int count = 0;
    DecoderCollection_DecoderCount(handle, &count);
    EXPECT_EQ(count, 77);
    EXPECT_TRUE(Logged("DecoderCollection > Look for import plugins found 2 sub-paths\n"));
    EXPECT_TRUE(Logged("DecoderCollection > Got decoder Test Plug-in Decoder from plugin\n"));
    EXPECT_TRUE(
        Logged("DecoderCollection > Plugin requires Vorncast version 3.5 or higher - not compatible with "
               "this version of Vorncast\n"));
    EXPECT_TRUE(Logged("GetFunc > Failed to find proc LastError with error 127"));
    EXPECT_TRUE(Logged("DecoderCollection > Look for import plugins LoadLibrary failed\n"));
    EXPECT_FALSE(Logged("OtherDecoder"));

    VcPublicDecoderInfo info{};
    ASSERT_EQ(DecoderCollection_GetDecoderInfoByIndex(handle, 75, 0, 0, 0, &info), 0);
    EXPECT_EQ(info.kind, 16u);
    int decoder = 0;
    ASSERT_EQ(Decoder_Create(handle, info.guid, -1, -1, &decoder), 0);
    int resources = 0;
    ASSERT_EQ(Decoder_Load(decoder, 6, "/a.tpd", nullptr, nullptr, nullptr, &resources), 0);
    int tracks = 0;
    EXPECT_EQ(Decoder_GetTrackCount(decoder, &tracks), 0);
    EXPECT_EQ(tracks, 1);
    EXPECT_EQ(Decoder_Release(decoder), 0);
    EXPECT_EQ(DecoderCollection_Release(handle), 0);
}
