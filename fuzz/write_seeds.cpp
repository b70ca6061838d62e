// Writes the seed corpus of every fuzz target: for each target a folder below the one given (by
// default build/seeds) holding small, valid inputs made by the tests' own writers and encoders,
// in the input shape of that target. `./run fuzz` runs it before the fuzzers.
#include "FuzzUnits.h"
#include "fixtures/FileSetBytes.h"
#include "fixtures/SmallRecordings.h"
#include "fixtures/adv601/Adv601TestEncoder.h"
#include "fixtures/adv601/Adv601TestPictures.h"
#include "fixtures/codecs/CodecTestSupport.h"
#include "fixtures/codecs/H264Units.h"
#include "fixtures/dvd/DvdAuthor.h"
#include "fixtures/formats/DarlexWriter.h"
#include "fixtures/formats/DhavWriter.h"
#include "fixtures/formats/NewWavestoreWriter.h"
#include "fixtures/formats/TestJpegPictures.h"
#include "fixtures/jpeg/BlockJpegWriter.h"
#include "fixtures/jpeg/JpegTestSupport.h"
#include "fixtures/jpeg/LosslessJpegWriter.h"
#include "fixtures/jpeg2000/Jpeg2000TestEncoder.h"
#include "fixtures/mpeg2ps/ProgramStreamWriter.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using namespace Vorn::Vorncast::Decoders;
using namespace Vorn::Vorncast::Decoders::Testing;
using namespace Vorn::Testing;
using Vorn::Fuzzing::Unit;

struct SeedFolder {
    fs::path root;
    int written = 0;

    void Add(const std::string& target, const std::string& name, const std::string& bytes) {
        fs::create_directories(root / target);
        std::ofstream(root / target / name, std::ios::binary)
            .write(bytes.data(), static_cast<long>(bytes.size()));
        ++written;
    }
    void Add(const std::string& target, const std::string& name, uint8_t options,
             const std::vector<Unit>& units) {
        Add(target, name, Vorn::Fuzzing::JoinUnits(options, units));
    }
};

std::string Text(const Unit& bytes) {
    return std::string(bytes.begin(), bytes.end());
}

// Option values that choose a picture size of FuzzAdapters.h (bits 2-3) and the like.
constexpr uint8_t Size176x144 = 0 << 2;
constexpr uint8_t Size64x48 = 1 << 2;
constexpr uint8_t SizeFromStream = 3 << 2;
constexpr uint8_t ConfigurationFirst = 1 << 1;

std::vector<Unit> WithFirst(Unit first, std::vector<Unit> rest) {
    rest.insert(rest.begin(), std::move(first));
    return rest;
}

// Each codec's small recording: its configuration and frames.
void WriteCodecRecordingSeeds(SeedFolder& seeds) {
    for (const SmallCodecRow& row : SmallCodecRows()) {
        const Hardening::CodecRecording recording = row.make();
        if (row.fuzzTarget != nullptr && !recording.frames.empty()) {
            seeds.Add(row.fuzzTarget, "small", row.fuzzOptions,
                      recording.config.empty() ? recording.frames
                                               : WithFirst(recording.config, recording.frames));
        }
    }
}

void WriteJpegSeeds(SeedFolder& seeds) {
    const std::string target = "fuzz_codec_jpeg";
    seeds.Add(target, "grey", 0, {EncodeJpeg(MakeGradient(13, 7, 1))});
    seeds.Add(target, "colour422_padded", 2,
              {EncodeJpeg(MakeGradient(21, 9, 3), {.sampling = Sampling::S422})});
    seeds.Add(target, "cmyk", 0, {EncodeJpeg(MakeGradient(16, 8, 4))});
    seeds.Add(target, "lossless_optimised", 0,
              {EncodeLosslessJpeg(MakeGradient(16, 8, 3)),
               EncodeJpeg(MakeColourBars(48, 32), {.optimiseTables = true})});
    // Bare scans of the template's 64 x 48, 4:2:2 picture: Annex K tables, quality 50.
    const Unit templated = EncodeJpeg(MakeColourBars(64, 48), {.quality = 50, .sampling = Sampling::S422});
    seeds.Add(target, "template_scan", 1 | 1 << 2,
              {Unit(templated.begin() + static_cast<long>(ScanDataOffset(templated)), templated.end())});
    seeds.Add("fuzz_codec_lossless_jpeg", "grey16_predictor7", 1 << 2,
              {EncodeLosslessJpeg(MakeGradient(16, 16, 1), {.predictor = 7})});
    // 48 x 16: three blocks across, two rows.
    const BlockJpegWriter writer(48, 16, 50);
    const TestPicture picture = MakeColourBars(48, 16);
    const Unit tables = writer.Tables();
    const Unit all = writer.MakeFrame(picture).bytes;
    const std::vector<bool> present = {true, false, true, false, false, true};
    seeds.Add("fuzz_codec_block_jpeg", "all_blocks", 0, {tables, all, all});
    seeds.Add("fuzz_codec_block_jpeg", "bitmap", 1 << 2,
              {tables, all, writer.MakeFrame(picture, &present).bytes});
    Unit skipped = {0x00, 0x00, 0x00, 0x00};
    skipped.insert(skipped.end(), tables.begin(), tables.end());
    seeds.Add("fuzz_codec_block_jpeg", "header_behind_four_bytes", 2, {skipped, all});
}

// The first `count` frames of an encoded clip or sound.
std::vector<Unit> First(const std::vector<Unit>& frames, size_t count) {
    return std::vector<Unit>(frames.begin(),
                             frames.begin() + static_cast<long>(std::min(count, frames.size())));
}

// An encoder's clip of `frames` frames, key frames three apart; none, with a note, where the encoder is
// missing.
std::vector<Unit> Clip(const char* encoder, int32_t width, int32_t height, int32_t frames, bool globalHeader,
                       Unit* config = nullptr, int32_t bFrames = 0,
                       AVPixelFormat format = AV_PIX_FMT_YUV420P) {
    std::vector<Unit> clip = CodecTest::EncodeClip(
        {encoder, width, height, frames, bFrames, 3, format, {25, 1}, globalHeader}, config);
    if (clip.empty()) {
        std::fprintf(stderr, "no seeds from encoder %s\n", encoder);
    }
    return clip;
}

void WriteVideoSeeds(SeedFolder& seeds) {
    std::vector<Unit> clip = Clip("mpeg4", 64, 48, 5, false);
    seeds.Add("fuzz_codec_mpeg4", "inline_headers", Size64x48, clip);
    Unit config;
    clip = Clip("mpeg4", 64, 48, 5, true, &config, 1);
    seeds.Add("fuzz_codec_mpeg4", "vol_config_bframes", Size64x48 | ConfigurationFirst,
              WithFirst(config, clip));
    seeds.Add("fuzz_codec_vfw", "xvid", 0 | 1 << 4, WithFirst(config, clip));
    clip = Clip("h263", 176, 144, 4, false);
    seeds.Add("fuzz_codec_h263", "qcif_doubled", Size176x144 | 1, First(clip, 2));
    seeds.Add("fuzz_codec_vfw", "h263", 1, WithFirst({}, First(clip, 3)));
    seeds.Add("fuzz_codec_vfw", "mp43", 2 | 1 << 4, WithFirst({}, Clip("msmpeg4", 64, 48, 3, false)));
    seeds.Add("fuzz_codec_vfw", "mjpg", 4 | 1 << 4,
              WithFirst({}, Clip("mjpeg", 64, 48, 2, false, nullptr, 0, AV_PIX_FMT_YUVJ420P)));
    clip = Clip("libx264", 64, 48, 5, false, nullptr, 2);
    seeds.Add("fuzz_codec_h264", "annexb_bframes", Size64x48, clip);
    seeds.Add("fuzz_codec_vfw", "h264", 3 | 1 << 4, WithFirst({}, clip));
    clip = Clip("libx264", 64, 48, 4, true, &config);
    std::vector<Unit> prefixed;
    for (const Unit& frame : clip) {
        prefixed.push_back(CodecTest::LengthPrefixed(frame, 4));
    }
    seeds.Add("fuzz_codec_h264", "avcc_length_prefixed", Size64x48 | ConfigurationFirst,
              WithFirst(CodecTest::AvcConfiguration(config, 4), prefixed));
    clip = Clip("mpeg2video", 64, 48, 5, false, nullptr, 1);
    seeds.Add("fuzz_codec_mpeg2", "caller_size", Size64x48, clip);
    seeds.Add("fuzz_codec_mpeg2", "stream_size", SizeFromStream, clip);
    seeds.Add("fuzz_codec_mpeg2", "never_initialised", 1 << 7, First(clip, 3));
    Unit junk = {0x12, 0x00, 0x00, 0x01, 0x00, 0x47};
    const Unit pack = clip.empty() ? Unit{} : CodecTest::WrapInProgramStream(clip[0], 0xE0, 300);
    junk.insert(junk.end(), pack.begin(), pack.end());
    seeds.Add("fuzz_codec_mpeg2ps", "junk_in_front", SizeFromStream, {junk});
    seeds.Add("fuzz_codec_dv25", "pal", 0, Clip("dvvideo", 720, 576, 2, false));
    seeds.Add("fuzz_codec_dv25", "ntsc_doubled", 1 << 2 | 1,
              Clip("dvvideo", 720, 480, 1, false, nullptr, 0, AV_PIX_FMT_YUV411P));
}

// The FFmpeg plug-in's input: an extension byte (0 "dav", 2 "h264") and the file.
void WriteFfmpegPluginSeeds(SeedFolder& seeds) {
    const std::vector<Unit> frames = Clip("libx264", 64, 48, 8, false);
    if (frames.empty()) {
        return;
    }
    seeds.Add("fuzz_plugin_ffmpeg", "dhav",
              std::string(1, '\0') + Text(WriteDhav(frames, 64, 48, 25, 1700000000)));
    std::string stream(1, '\2');
    for (const Unit& frame : frames) {
        stream += Text(frame);
    }
    seeds.Add("fuzz_plugin_ffmpeg", "h264", stream);
}

// Four frames of a stereo sound and its configuration; none, with a note, where the encoder is missing.
std::vector<Unit> Sound(const char* encoder, int32_t rate, Unit* config = nullptr) {
    CodecTest::EncodedAudio audio;
    if (!CodecTest::HasEncoder(encoder) || !CodecTest::EncodeAudio(encoder, rate, 2, 4, &audio)) {
        std::fprintf(stderr, "no seeds from encoder %s\n", encoder);
        return {};
    }
    std::vector<Unit> frames;
    for (const CodecTest::EncodedFrame& frame : audio.frames) {
        frames.push_back(frame.data);
    }
    if (config != nullptr) {
        *config = audio.extradata;
    }
    return frames;
}

void WriteAudioSeeds(SeedFolder& seeds) {
    if (std::vector<Unit> sound = Sound("mp2", 48000); !sound.empty()) {
        seeds.Add("fuzz_codec_mp3", "layer2", 0, First(sound, 4));
        std::vector<Unit> packs;
        for (const Unit& frame : First(sound, 2)) {
            packs.push_back(CodecTest::WrapInProgramStream(frame, 0xC0, 400));
        }
        seeds.Add("fuzz_codec_mpeg2ps", "audio_packs", 1 << 4, packs);
    }
    if (std::vector<Unit> sound = Sound("libmp3lame", 44100); !sound.empty()) {
        seeds.Add("fuzz_codec_mp3", "layer3", 0, First(sound, 4));
    }
    Unit config;
    if (std::vector<Unit> sound = Sound("aac", 44100, &config); !sound.empty()) {
        seeds.Add("fuzz_codec_aac", "config_and_frames", 1, WithFirst(config, First(sound, 4)));
    }
    if (std::vector<Unit> sound = Sound("ac3", 48000); !sound.empty()) {
        seeds.Add("fuzz_codec_ac3", "stereo", 0, First(sound, 3));
    }
    Unit three;
    for (int32_t mode : {7, 0, 4}) {
        Unit frame = CodecTest::AmrFrame(mode, static_cast<uint8_t>(mode));
        three.insert(three.end(), frame.begin(), frame.end());
    }
    seeds.Add("fuzz_codec_amr", "modes", 0, {CodecTest::AmrFrame(5, 1), CodecTest::AmrFrame(2, 3), three});
}

void WritePictureSeeds(SeedFolder& seeds) {
    const auto planes = Jpeg2000Testing::RgbPlanes(Jpeg2000Testing::MakeRgbPicture(24, 16), 24, 16);
    seeds.Add("fuzz_codec_jpeg2000", "jp2", 1,
              {Jpeg2000Testing::Encode(planes, 24, 16, {.jp2 = true, .lossless = false})});
    const auto grey = Jpeg2000Testing::GreyPlanes(Jpeg2000Testing::MakeGreyPicture(16, 16));
    seeds.Add("fuzz_codec_jpeg2000", "grey_tiles_behind_header", 4,
              {Jpeg2000Testing::Encode(grey, 16, 16, {.tileSize = 8}), Unit{'R', 'E', 'C', 0, 1, 2, 3, 4}});
    seeds.Add("fuzz_codec_adv601", "gradient", Text(EncodeAdv601(Adv601Gradient(true).bgr.data())));
    seeds.Add("fuzz_codec_adv601", "short_reversed",
              Text(EncodeAdv601(Adv601ColourBars(false).bgr.data(), {.tallField = false}, true)));
    seeds.Add("fuzz_codec_vfw", "adv1", 5 | 2 << 4,
              {Unit{}, EncodeAdv601(Adv601ColourBars(true).bgr.data())});
    seeds.Add(
        "fuzz_codec_vfw", "tjpg", 6 | 1 << 4,
        {Unit{}, EncodeJpeg(MakeColourBars(64, 48)), EncodeJpeg(MakeColourBars(64, 48), {.quality = 30})});
    Unit picture(64 * 48 * 3);
    for (size_t index = 0; index < picture.size(); ++index) {
        picture[index] = static_cast<uint8_t>(index * 7);
    }
    seeds.Add("fuzz_codec_vfw", "rgb2", 7 | 1 << 4, {Unit{}, picture});
}

// DVD-Video folders of one title set and of two, the second of two cells, each file named in
// its piece; made only where ffmpeg and dvdauthor are installed.
void WriteDvdSeeds(SeedFolder& seeds) {
    if (!HaveDvdTools()) {
        return;
    }
    const DvdShape shapes[] = {{false, {{0.6}}, 1}, {false, {{0.4}, {0.3, 0.3}}, 2}};
    for (const auto& shape : shapes) {
        const DvdFolder& folder = AuthorDvd(shape);
        if (folder.error.empty()) {
            seeds.Add("fuzz_dvd_decoder", "dvd" + std::to_string(shape.titleSets.size()),
                      JoinFileSet(folder.files));
        }
    }
}

// Darlex images: one file with a track for the tracked frames, and two files with an untracked run
// behind the track for all frames; a Wavestore export of two cameras in a tree. The fields are cut
// short: a whole one costs the target most of its time in the wavelet synthesis, which the codec's own
// target covers.
void WriteAdv601RecorderSeeds(SeedFolder& seeds) {
    Unit field = EncodeAdv601(Adv601Gradient(true).bgr.data());
    field.resize(1024);
    seeds.Add(
        "fuzz_decoder_new_wavestore", "two_cameras",
        JoinFileSet({{"rec.dat", "x"},
                     {"a/b/1.v",
                      Text(WriteWavestoreFile({{1, "Front", 900, field}, {1, "Front", 960, field}}).bytes)},
                     {"a/c/2.v", Text(WriteWavestoreFile({{2, "Back", 930, field}}, false).bytes)}}));
    auto frame = [&](int32_t second, uint8_t camera) {
        return DarlexFrame{{2021, 3, 4, 5, 6, second}, camera, field};
    };
    DarlexImage image;
    image.tracks = {{{frame(1, 1), frame(2, 2)}}};
    const DarlexWritten one = WriteDarlex(image, "rec");
    seeds.Add("fuzz_decoder_darlex_tracked", "one_file", Text(DarlexFileBytes(one.files[0])));
    image.untracked = {frame(3, 1), frame(4, 1)};
    image.fileSizes = {4096};
    const DarlexWritten two = WriteDarlex(image, "rec");
    seeds.Add("fuzz_decoder_darlex_all_frames", "two_files",
              JoinFileSet({{two.files[0].name, Text(DarlexFileBytes(two.files[0]))},
                           {two.files[1].name, Text(DarlexFileBytes(two.files[1]))}}));
}

// Every format's small recording, for each of its rows' targets, and the native decoders' recordings of
// one file or span and of two.
void WriteRecorderSeeds(SeedFolder& seeds) {
    for (const SmallRecordingRow& row : SmallRecordingRows()) {
        const SmallRecording recording = row.make(row.decoderClass);
        if (row.fuzzTarget != nullptr && !recording.files.empty()) {
            seeds.Add(std::string("fuzz_decoder_") + row.fuzzTarget, "small", JoinFileSet(recording.files));
        }
    }
    for (int32_t count : {1, 2}) {
        seeds.Add("fuzz_kodicom_decoder", "spans" + std::to_string(count),
                  JoinFileSet(SmallKodicom(count).files));
        seeds.Add("fuzz_darlex_native_decoder", "image" + std::to_string(count),
                  JoinFileSet(SmallDarlexImage(count).files));
    }
}

} // namespace

int main(int argc, char** argv) {
    SeedFolder seeds{argc > 1 ? argv[1] : "build/seeds"};
    WriteCodecRecordingSeeds(seeds);
    WriteJpegSeeds(seeds);
    WriteVideoSeeds(seeds);
    WriteFfmpegPluginSeeds(seeds);
    WriteAudioSeeds(seeds);
    WritePictureSeeds(seeds);
    WriteRecorderSeeds(seeds);
    WriteAdv601RecorderSeeds(seeds);
    WriteDvdSeeds(seeds);
    std::printf("%d seeds written\n", seeds.written);
    return 0;
}
