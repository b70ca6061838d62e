// The damage sweep over a small recording of every format of the decoder table that has a writer,
// read by the format's row.
#include "MissingTool.h"
#include "codecs/timespace/TimeSpacePictureDecoder.h"
#include "fixtures/SmallRecordings.h"
#include "fixtures/formats/TimeSpaceWriter.h"
#include "hardening/DamageSweep.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

using namespace Hardening;
using namespace Vorn::Vorncast::Decoders;
using namespace Vorn::Vorncast::Decoders::Testing;

class FormatSweep : public ::testing::TestWithParam<SmallRecordingRow> {
protected:
    // The TimeSpace recorders' pictures come from the host: the tests' stand-in codec paints them. The
    // tests' stand-in for LJD Leviathan's library, loaded first so that the library's search finds it by
    // name, reads the damaged store from the sweep's files.
    static void SetUpTestSuite() {
        SetTimeSpacePictureDecoder(PaintTimeSpaceUpdate);
        SetTimeSpaceFrameDecoder(PaintTimeSpaceFrame);
        standIn = dlopen(VDBFILE_STANDIN, RTLD_NOW);
    }
    static void TearDownTestSuite() {
        SetTimeSpacePictureDecoder(nullptr);
        SetTimeSpaceFrameDecoder(nullptr);
        dlclose(standIn);
    }
    static inline void* standIn = nullptr;
};

TEST_P(FormatSweep, SurvivesDamage) {
    ASSERT_NE(standIn, nullptr) << dlerror();
    const SmallRecording small = GetParam().make(GetParam().decoderClass);
    if (small.files.empty()) {
        SKIP_OR_FAIL_FOR_MISSING(std::string("an encoder for ") + GetParam().decoderClass);
    }
    ExpectDecoderSurvivesDamage(DecoderRowIndex(GetParam().decoderClass), small);
}

INSTANTIATE_TEST_SUITE_P(RecorderFormatSweep, FormatSweep, ::testing::ValuesIn(SmallRecordingRows()),
                         [](const auto& info) { return std::string(info.param.decoderClass + 6); });
