// `vorncast sample`: a sample recording with real encoded pictures in a format the library reads.

#include "support/Mp4Writer.h"
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
constexpr int32_t Camera = 0; // the phone and generic formats number their one camera 0

struct SampleSettings {
    std::string folder;
    int64_t frames = 50;
    int32_t width = 320;
    int32_t height = 240;
};

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

Picture SamplePicture(const SampleSettings& sample, int64_t index) {
    const std::string time = FormatRecorderTime(SampleStart + index * FramePeriod);
    return MakeTestPattern(sample.width, sample.height, Camera, index, time);
}

std::string SampleJpeg(const SampleSettings& sample, int64_t index) {
    const std::vector<uint8_t> jpeg = EncodeJpeg(SamplePicture(sample, index), Quality);
    return std::string(jpeg.begin(), jpeg.end());
}

// An MP4 as a phone writes it: MPEG-4 part 2 pictures and the recorder's start as the creation time,
// so that autodetection finds it and every frame has its recorder time.
void WriteMp4(const SampleSettings& sample) {
    const std::string path = sample.folder + "/sample.mp4";
    Mp4Settings settings;
    settings.width = sample.width;
    settings.height = sample.height;
    settings.frameTicks = FramePeriod;
    settings.mpeg4PartTwo = true;
    settings.metadata["creation_time"] = FormatIsoTime(SampleStart) + "Z";
    Mp4Writer writer(path, settings);
    for (int64_t index = 0; index < sample.frames; ++index) {
        writer.WriteVideo(SamplePicture(sample, index), index * FramePeriod);
    }
    writer.Finish(FramePeriod);
    std::printf("wrote %s (%lld pictures of %d x %d); read it with: vorncast probe %s\n", path.c_str(),
                static_cast<long long>(sample.frames), sample.width, sample.height, path.c_str());
}

// JPEG pictures back to back, as a recorder's motion-JPEG export without an index.
void WriteJpegStream(const SampleSettings& sample) {
    const std::string path = sample.folder + "/sample.mjpeg";
    NewFile file(path);
    uint64_t written = 0;
    for (int64_t index = 0; index < sample.frames; ++index) {
        const std::string jpeg = SampleJpeg(sample, index);
        file.Write(jpeg);
        written += jpeg.size();
    }
    // Zeros fill the last 4096-byte block: a scan for JPEG start markers reads whole blocks.
    file.Write(std::string((ScanBlock - written % ScanBlock) % ScanBlock, '\0'));
    file.Finish();
    std::printf(
        "wrote %s (%lld pictures of %d x %d); read it with: vorncast probe %s --decoder \"Generic JPEG\"\n",
        path.c_str(), static_cast<long long>(sample.frames), sample.width, sample.height, path.c_str());
}

void WriteJpegFolder(const SampleSettings& sample) {
    for (int64_t index = 0; index < sample.frames; ++index) {
        char name[32];
        std::snprintf(name, sizeof(name), "/%06lld.jpg", static_cast<long long>(index));
        NewFile file(sample.folder + name);
        file.Write(SampleJpeg(sample, index));
        file.Finish();
    }
    std::printf(
        "wrote %lld JPEG files to %s; read them with: vorncast probe %s/000000.jpg --decoder \"Generic "
        "Folder of Jpegs\"\n",
        static_cast<long long>(sample.frames), sample.folder.c_str(), sample.folder.c_str());
}

} // namespace

int RunSample(const CommandContext& context) {
    const Arguments& arguments = context.arguments;
    SampleSettings sample;
    sample.folder = arguments.Required(0, "DIR for the sample recording");
    arguments.ExpectAtMost(1);
    sample.frames = arguments.Integer("frames", sample.frames, 1, 100000);
    if (const std::optional<std::string> size = arguments.Value("size")) {
        ParseSize(*size, sample.width, sample.height);
    }
    const bool folder = arguments.Flag("folder");
    const bool mjpeg = arguments.Flag("mjpeg");
    if (folder && mjpeg) {
        throw UsageError("--folder and --mjpeg choose different formats: give one of them");
    }
    PrepareEmptyFolder(sample.folder);
    if (folder) {
        WriteJpegFolder(sample);
    } else if (mjpeg) {
        WriteJpegStream(sample);
    } else {
        WriteMp4(sample);
    }
    return ExitSuccess;
}

} // namespace VorncastTool
