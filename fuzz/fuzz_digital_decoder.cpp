// Fuzz target for one row of the digital decoder table (chosen at build time by FUZZ_ROW): the input
// is a small file set that is served from memory, queried, loaded and walked frame by frame
// through the client functions, as a player would.
#include "codecs/timespace/TimeSpacePictureDecoder.h"
#include "core/client/DecoderTable.h"
#include "fixtures/ClientPlay.h"
#include "fixtures/formats/TimeSpaceWriter.h"

#include <string>

using namespace Vorn::Vorncast::Decoders;

namespace {

constexpr int32_t MaxFramesWalked = 300;
constexpr int32_t MaxIndexSteps = 4096;
// Enough for the archives whose recordings are folders: an index, a table and its data, per camera.
constexpr size_t MaxFiles = 8;
// Actions one client operation may take: a base and a few for every byte of the file set, since a
// walk over samples of one byte may read the file a byte at a time. A decoder that goes beyond is
// taken to loop without end, and the run stops there as a crash.
constexpr int64_t ActionBase = 4096;
constexpr int64_t ActionsPerByte = 4;
#ifdef FUZZ_HOST_ABORTS_LONG_LOADS
constexpr bool HostAbortsLongLoads = true;
#else
constexpr bool HostAbortsLongLoads = false;
#endif

struct Row {
    const char* guid;
    std::string extension;
};

Row DescribeRow() {
    BaseDecoder* decoder = DecoderTable::At(FUZZ_ROW);
    Row row{};
    decoder->GetDecoderGuid(&row.guid);
    int32_t extensionCount = 0;
    const std::string list = decoder->GetExtensions(&extensionCount);
    row.extension = list.substr(0, list.find(';'));
    if (row.extension.empty() || row.extension.find('?') != std::string::npos) {
        row.extension = "bin";
    }
    return row;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const Row row = DescribeRow();
    // The picture decoders that the TimeSpace recorders' frames need come from the host.
    SetTimeSpacePictureDecoder(Testing::PaintTimeSpaceUpdate);
    SetTimeSpaceFrameDecoder(Testing::PaintTimeSpaceFrame);
    Vorn::Testing::PlayThroughClient(row.guid, "/fuzz/",
                                     Vorn::Testing::SplitFileSet(data, size, "rec", row.extension, MaxFiles),
                                     {ActionBase + static_cast<int64_t>(size) * ActionsPerByte,
                                      MaxFramesWalked, HostAbortsLongLoads, MaxIndexSteps},
                                     [](const std::string&, bool endless) {
                                         if (endless) {
                                             __builtin_trap();
                                         }
                                     });
    return 0;
}
