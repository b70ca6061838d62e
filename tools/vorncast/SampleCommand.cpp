// `vorncast sample`: a sample recording with real encoded pictures in a format the library reads.

#include "support/OutputFiles.h"
#include "support/RecorderTime.h"
#include "support/TestPattern.h"
#include "vorncast/Commands.h"

#include <cstdio>

namespace VorncastTool {

namespace {

constexpr int64_t SampleStart = 638396640000000000; // 2024/01/01 00:00:00 on the pattern's clock
constexpr int64_t FramePeriod = 40 * TicksPerMillisecond;
constexpr int32_t Quality = 90;
constexpr uint64_t ScanBlock = 4096;

void ParseSize(const std::string& text, int32_t& width, int32_t& height) {
    unsigned long w = 0, h = 0;
    char tail = 0;
    if (std::sscanf(text.c_str(), "%lux%lu%c", &w, &h, &tail) != 2 || w < 16 || h < 16 || w > 4096 ||
        h > 4096) {
        throw UsageError("--size wants WIDTHxHEIGHT from 16x16 to 4096x4096, not \"" + text + "\"");
    }
    width = static_cast<int32_t>(w);
    height = static_cast<int32_t>(h);
}

std::vector<uint8_t> SampleFrame(int32_t width, int32_t height, int64_t index) {
    const std::string time = FormatRecorderTime(SampleStart + index * FramePeriod);
    return EncodeJpeg(MakeTestPattern(width, height, 1, index, time), Quality);
}

} // namespace

int RunSample(const CommandContext& context) {
    const Arguments& arguments = context.arguments;
    const std::string& folder = arguments.Required(0, "DIR for the sample recording");
    arguments.ExpectAtMost(1);
    const int64_t frames = arguments.Integer("frames", 50, 1, 100000);
    int32_t width = 320, height = 240;
    if (const std::optional<std::string> size = arguments.Value("size")) {
        ParseSize(*size, width, height);
    }
    PrepareEmptyFolder(folder);
    if (arguments.Flag("folder")) {
        for (int64_t index = 0; index < frames; ++index) {
            char name[32];
            std::snprintf(name, sizeof(name), "/%06lld.jpg", static_cast<long long>(index));
            NewFile file(folder + name);
            const std::vector<uint8_t> jpeg = SampleFrame(width, height, index);
            file.Write(std::string(jpeg.begin(), jpeg.end()));
            file.Finish();
        }
        std::printf(
            "wrote %lld JPEG files to %s; read them with: vorncast probe %s/000000.jpg --decoder \"Generic "
            "Folder of Jpegs\"\n",
            static_cast<long long>(frames), folder.c_str(), folder.c_str());
        return ExitSuccess;
    }
    const std::string path = folder + "/sample.mjpeg";
    NewFile file(path);
    uint64_t written = 0;
    for (int64_t index = 0; index < frames; ++index) {
        const std::vector<uint8_t> jpeg = SampleFrame(width, height, index);
        file.Write(std::string(jpeg.begin(), jpeg.end()));
        written += jpeg.size();
    }
    // Zeros fill the last 4096-byte block: a scan for JPEG start markers reads whole blocks.
    file.Write(std::string((ScanBlock - written % ScanBlock) % ScanBlock, '\0'));
    file.Finish();
    std::printf(
        "wrote %s (%lld pictures of %d x %d); read it with: vorncast probe %s --decoder \"Generic JPEG\"\n",
        path.c_str(), static_cast<long long>(frames), width, height, path.c_str());
    return ExitSuccess;
}

} // namespace VorncastTool
