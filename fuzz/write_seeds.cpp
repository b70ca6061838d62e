// Writes the seed corpus of every fuzz target: for each target a folder below the one given (by
// default build/seeds) holding small, valid inputs made by the tests' own writers and encoders,
// in the input shape of that target. `./run fuzz` runs it before the fuzzers.
#include "FuzzUnits.h"
#include "codecs/jpeg/JpegMarkers.h"
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
#include "fixtures/iso/IsoRecordings.h"
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
using Vorn::Fuzzing::JoinUnits;
using Vorn::Fuzzing::Unit;

class SeedFolder {
public:
    explicit SeedFolder(fs::path root) : root(std::move(root)) {}

    void Add(const std::string& target, const std::string& name, const std::string& bytes) {
        fs::create_directories(root / target);
        std::ofstream(root / target / name, std::ios::binary)
            .write(bytes.data(), static_cast<long>(bytes.size()));
        ++written;
    }
    void Add(const std::string& target, const std::string& name, uint8_t options,
             const std::vector<Unit>& units) {
        Add(target, name, JoinUnits(options, units));
    }
    int Written() const { return written; }

private:
    fs::path root;
    int written = 0;
};

std::string Text(const Unit& bytes) {
    return std::string(bytes.begin(), bytes.end());
}

// Option values that choose a picture size of FuzzVideoAdapter.h (bits 2-3) and the like.
constexpr uint8_t Size176x144 = 0 << 2;
constexpr uint8_t Size64x48 = 1 << 2;
constexpr uint8_t SizeFromStream = 3 << 2;
constexpr uint8_t ConfigurationFirst = 1 << 1;

// ---- JPEG ----

// The entropy-coded bytes behind the SOS header, up to and including EOI.
Unit ScanData(const Unit& jpeg) {
    return Unit(jpeg.begin() + static_cast<long>(ScanDataOffset(jpeg)), jpeg.end());
}

void WriteJpegSeeds(SeedFolder& seeds) {
    const std::string target = "fuzz_codec_jpeg";
    const TestPicture colour = MakeColourBars(48, 32);
    seeds.Add(target, "grey", 0, {EncodeJpeg(MakeGradient(13, 7, 1))});
    seeds.Add(target, "colour420", 0, {EncodeJpeg(colour, {.sampling = Sampling::S420})});
    seeds.Add(target, "colour422_padded", 2,
              {EncodeJpeg(MakeGradient(21, 9, 3), {.sampling = Sampling::S422})});
    seeds.Add(target, "progressive", 0, {EncodeJpeg(colour, {.progressive = true})});
    seeds.Add(target, "restarts", 0, {EncodeJpeg(colour, {.restartInterval = 2})});
    seeds.Add(target, "cmyk", 0, {EncodeJpeg(MakeGradient(16, 8, 4))});
    seeds.Add(target, "lossless", 0, {EncodeLosslessJpeg(MakeGradient(16, 8, 3))});
    seeds.Add(target, "two_pictures", 0,
              {EncodeJpeg(MakeGradient(8, 8, 1)), EncodeJpeg(colour, {.optimiseTables = true})});
    // Bare scans of the template's 64 x 48, 4:2:2 picture: Annex K tables, quality 50.
    const Unit templated = EncodeJpeg(MakeColourBars(64, 48), {.quality = 50, .sampling = Sampling::S422});
    seeds.Add(target, "template_scan", 1 | 1 << 2, {ScanData(templated)});
}

void WriteBlockJpegSeeds(SeedFolder& seeds) {
    const std::string target = "fuzz_codec_block_jpeg";
    // 48 x 16: three blocks across, two rows.
    const BlockJpegWriter writer(48, 16, 50);
    const TestPicture picture = MakeColourBars(48, 16);
    const Unit tables = writer.Tables();
    const Unit all = writer.MakeFrame(picture).bytes;
    const std::vector<bool> present = {true, false, true, false, false, true};
    seeds.Add(target, "all_blocks", 0, {tables, all, all});
    seeds.Add(target, "bitmap", 1 << 2, {tables, all, writer.MakeFrame(picture, &present).bytes});
    Unit skipped = {0x00, 0x00, 0x00, 0x00};
    skipped.insert(skipped.end(), tables.begin(), tables.end());
    seeds.Add(target, "header_behind_four_bytes", 2, {skipped, all});
}

void WriteLosslessSeeds(SeedFolder& seeds) {
    const std::string target = "fuzz_codec_lossless_jpeg";
    seeds.Add(target, "colour16", 0, {EncodeLosslessJpeg(MakeGradient(16, 16, 3))});
    seeds.Add(target, "grey16_predictor7", 1 << 2,
              {EncodeLosslessJpeg(MakeGradient(16, 16, 1), {.predictor = 7})});
    seeds.Add(target, "from_header_restarts", 3,
              {EncodeLosslessJpeg(MakeGradient(20, 12, 3), {.predictor = 4, .restartLines = 3}),
               EncodeLosslessJpeg(MakeGradient(9, 5, 1), {.predictor = 2})});
}

// ---- video ----

// The first `count` frames of an encoded clip or sound.
template <class Encoded> std::vector<Unit> Frames(const Encoded& encoded, size_t count) {
    std::vector<Unit> frames;
    for (size_t index = 0; index < encoded.frames.size() && index < count; ++index) {
        frames.push_back(encoded.frames[index].data);
    }
    return frames;
}

bool Encode(const std::string& encoder, int32_t width, int32_t height, int32_t frames, int32_t bFrames,
            bool globalHeader, CodecTest::EncodedVideo* video, AVPixelFormat format = AV_PIX_FMT_YUV420P) {
    CodecTest::VideoSettings settings;
    settings.encoder = encoder;
    settings.width = width;
    settings.height = height;
    settings.frames = frames;
    settings.bFrames = bFrames;
    settings.gop = 3;
    settings.globalHeader = globalHeader;
    settings.pixelFormat = format;
    *video = {};
    if (!CodecTest::HasEncoder(encoder.c_str()) || !CodecTest::EncodeVideo(settings, video)) {
        std::fprintf(stderr, "no seeds from encoder %s\n", encoder.c_str());
        return false;
    }
    return true;
}

std::vector<Unit> WithFirst(Unit first, std::vector<Unit> rest) {
    rest.insert(rest.begin(), std::move(first));
    return rest;
}

void WriteMpeg4AndH263Seeds(SeedFolder& seeds) {
    CodecTest::EncodedVideo video;
    if (Encode("mpeg4", 64, 48, 5, 0, false, &video)) {
        seeds.Add("fuzz_codec_mpeg4", "inline_headers", Size64x48, Frames(video, 5));
    }
    if (Encode("mpeg4", 64, 48, 5, 1, true, &video)) {
        seeds.Add("fuzz_codec_mpeg4", "vol_config_bframes", Size64x48 | ConfigurationFirst,
                  WithFirst(video.extradata, Frames(video, 5)));
        seeds.Add("fuzz_codec_vfw", "xvid", 0 | 1 << 4, WithFirst(video.extradata, Frames(video, 5)));
    }
    if (Encode("h263", 176, 144, 4, 0, false, &video)) {
        seeds.Add("fuzz_codec_h263", "qcif", Size176x144, Frames(video, 4));
        seeds.Add("fuzz_codec_h263", "qcif_doubled", Size176x144 | 1, Frames(video, 2));
        seeds.Add("fuzz_codec_vfw", "h263", 1, WithFirst({}, Frames(video, 3)));
    }
    if (Encode("msmpeg4", 64, 48, 3, 0, false, &video)) {
        seeds.Add("fuzz_codec_vfw", "mp43", 2 | 1 << 4, WithFirst({}, Frames(video, 3)));
    }
    if (Encode("mjpeg", 64, 48, 2, 0, false, &video, AV_PIX_FMT_YUVJ420P)) {
        seeds.Add("fuzz_codec_vfw", "mjpg", 4 | 1 << 4, WithFirst({}, Frames(video, 2)));
    }
}

void WriteH264Seeds(SeedFolder& seeds) {
    CodecTest::EncodedVideo video;
    if (Encode("libx264", 64, 48, 5, 2, false, &video)) {
        seeds.Add("fuzz_codec_h264", "annexb_bframes", Size64x48, Frames(video, 5));
        seeds.Add("fuzz_codec_vfw", "h264", 3 | 1 << 4, WithFirst({}, Frames(video, 5)));
    }
    if (Encode("libx264", 64, 48, 4, 0, true, &video)) {
        std::vector<Unit> prefixed;
        for (const Unit& frame : Frames(video, 4)) {
            prefixed.push_back(CodecTest::LengthPrefixed(frame, 4));
        }
        seeds.Add("fuzz_codec_h264", "avcc_length_prefixed", Size64x48 | ConfigurationFirst,
                  WithFirst(CodecTest::AvcConfiguration(video.extradata, 4), prefixed));
        seeds.Add("fuzz_codec_h264", "startcode_config", Size64x48 | ConfigurationFirst,
                  WithFirst(video.extradata, Frames(video, 4)));
    }
}

// The FFmpeg plug-in's input: an extension byte (0 "dav", 2 "h264") and the file.
void WriteFfmpegPluginSeeds(SeedFolder& seeds) {
    CodecTest::EncodedVideo video;
    if (!Encode("libx264", 64, 48, 8, 0, false, &video)) {
        return;
    }
    const std::vector<Unit> frames = Frames(video, 8);
    seeds.Add("fuzz_plugin_ffmpeg", "dhav",
              std::string(1, '\0') + Text(WriteDhav(frames, 64, 48, 25, 1700000000)));
    std::string stream(1, '\2');
    for (const Unit& frame : frames) {
        stream += Text(frame);
    }
    seeds.Add("fuzz_plugin_ffmpeg", "h264", stream);
}

void WriteMpeg2AndDvSeeds(SeedFolder& seeds) {
    CodecTest::EncodedVideo video;
    if (Encode("mpeg2video", 64, 48, 5, 1, false, &video)) {
        seeds.Add("fuzz_codec_mpeg2", "caller_size", Size64x48, Frames(video, 5));
        seeds.Add("fuzz_codec_mpeg2", "stream_size", SizeFromStream, Frames(video, 5));
        seeds.Add("fuzz_codec_mpeg2", "never_initialised", 1 << 7, Frames(video, 3));
        std::vector<Unit> packs;
        for (const Unit& frame : Frames(video, 4)) {
            packs.push_back(CodecTest::WrapInProgramStream(frame, 0xE0, 300));
        }
        seeds.Add("fuzz_codec_mpeg2ps", "video_packs", Size64x48, packs);
        Unit junk = {0x12, 0x00, 0x00, 0x01, 0x00, 0x47};
        junk.insert(junk.end(), packs[0].begin(), packs[0].end());
        seeds.Add("fuzz_codec_mpeg2ps", "junk_in_front", SizeFromStream, {junk});
    }
    if (Encode("dvvideo", 720, 576, 2, 0, false, &video)) {
        seeds.Add("fuzz_codec_dv25", "pal", 0, Frames(video, 2));
    }
    if (Encode("dvvideo", 720, 480, 1, 0, false, &video, AV_PIX_FMT_YUV411P)) {
        seeds.Add("fuzz_codec_dv25", "ntsc_doubled", 1 << 2 | 1, Frames(video, 1));
    }
}

// ---- audio ----

bool EncodeSound(const char* encoder, int32_t rate, int32_t channels, CodecTest::EncodedAudio* audio) {
    *audio = {};
    if (!CodecTest::HasEncoder(encoder) || !CodecTest::EncodeAudio(encoder, rate, channels, 4, audio)) {
        std::fprintf(stderr, "no seeds from encoder %s\n", encoder);
        return false;
    }
    return true;
}

void WriteAudioSeeds(SeedFolder& seeds) {
    CodecTest::EncodedAudio audio;
    if (EncodeSound("mp2", 48000, 2, &audio)) {
        seeds.Add("fuzz_codec_mp3", "layer2", 0, Frames(audio, 4));
        std::vector<Unit> packs;
        for (const Unit& frame : Frames(audio, 2)) {
            packs.push_back(CodecTest::WrapInProgramStream(frame, 0xC0, 400));
        }
        seeds.Add("fuzz_codec_mpeg2ps", "audio_packs", 1 << 4, packs);
    }
    if (EncodeSound("libmp3lame", 44100, 2, &audio)) {
        seeds.Add("fuzz_codec_mp3", "layer3", 0, Frames(audio, 4));
    }
    if (EncodeSound("aac", 44100, 2, &audio)) {
        seeds.Add("fuzz_codec_aac", "config_and_frames", 1, WithFirst(audio.extradata, Frames(audio, 4)));
    }
    if (EncodeSound("ac3", 48000, 2, &audio)) {
        seeds.Add("fuzz_codec_ac3", "stereo", 0, Frames(audio, 3));
    }
    Unit three;
    for (int32_t mode : {7, 0, 4}) {
        Unit frame = CodecTest::AmrFrame(mode, static_cast<uint8_t>(mode));
        three.insert(three.end(), frame.begin(), frame.end());
    }
    seeds.Add("fuzz_codec_amr", "modes", 0, {CodecTest::AmrFrame(5, 1), CodecTest::AmrFrame(2, 3), three});
}

// ---- JPEG 2000 ----

void WriteJpeg2000Seeds(SeedFolder& seeds) {
    const std::string target = "fuzz_codec_jpeg2000";
    const std::vector<uint8_t> rgb = Jpeg2000Testing::MakeRgbPicture(24, 16);
    const auto planes = Jpeg2000Testing::RgbPlanes(rgb, 24, 16);
    Jpeg2000Testing::EncodeOptions lossless;
    seeds.Add(target, "codestream", 0, {Jpeg2000Testing::Encode(planes, 24, 16, lossless)});
    Jpeg2000Testing::EncodeOptions jp2;
    jp2.jp2 = true;
    jp2.lossless = false;
    seeds.Add(target, "jp2", 1, {Jpeg2000Testing::Encode(planes, 24, 16, jp2)});
    Jpeg2000Testing::EncodeOptions tiled;
    tiled.tileSize = 8;
    const auto grey = Jpeg2000Testing::GreyPlanes(Jpeg2000Testing::MakeGreyPicture(16, 16));
    seeds.Add(target, "grey_tiles_behind_header", 4,
              {Jpeg2000Testing::Encode(grey, 16, 16, tiled), Unit{'R', 'E', 'C', 0, 1, 2, 3, 4}});
}

// ---- ADV601 and uncompressed pictures ----

void WriteAdv601Seeds(SeedFolder& seeds) {
    seeds.Add("fuzz_codec_adv601", "gradient", Text(EncodeAdv601(Adv601Gradient(true).bgr.data())));
    Adv601EncoderOptions shortField;
    shortField.tallField = false;
    seeds.Add("fuzz_codec_adv601", "short_reversed",
              Text(EncodeAdv601(Adv601ColourBars(false).bgr.data(), shortField, true)));
    seeds.Add("fuzz_codec_vfw", "adv1", 5 | 2 << 4,
              {Unit{}, EncodeAdv601(Adv601ColourBars(true).bgr.data())});
    // Coarse detail keeps the stream small, so that the decoder target runs at a useful speed.
    Adv601EncoderOptions coarse;
    coarse.detailScale = 4096;
    Unit stream;
    for (const Adv601TestPicture& picture :
         {Adv601Gradient(true), Adv601ColourBars(true), Adv601Edges(true)}) {
        const Unit field = EncodeAdv601(picture.bgr.data(), coarse);
        stream.insert(stream.end(), field.begin(), field.end());
    }
    seeds.Add("fuzz_decoder_generic_adv601", "three_fields", Text(stream));
}

void WriteVfwPictureSeeds(SeedFolder& seeds) {
    seeds.Add(
        "fuzz_codec_vfw", "tjpg", 6 | 1 << 4,
        {Unit{}, EncodeJpeg(MakeColourBars(64, 48)), EncodeJpeg(MakeColourBars(64, 48), {.quality = 30})});
    Unit picture(64 * 48 * 3);
    for (size_t index = 0; index < picture.size(); ++index) {
        picture[index] = static_cast<uint8_t>(index * 7);
    }
    seeds.Add("fuzz_codec_vfw", "rgb2", 7 | 1 << 4, {Unit{}, picture});
}

// ---- ISO media files ----

// An AMR sound track of one frame a sample, walking through the speech modes.
IsoTest::TrackLayout AmrTrack(int32_t frameCount) {
    IsoTest::TrackLayout sound;
    sound.kind = IsoTest::TrackLayout::Sound;
    sound.timescale = 8000;
    sound.entries = {IsoTest::AudioEntry("samr", 1, 8000, IsoTest::AmrSpecificBox(1))};
    for (int32_t frame = 0; frame < frameCount; ++frame) {
        sound.samples.push_back(CodecTest::AmrFrame(frame % 8, static_cast<uint8_t>(frame)));
    }
    sound.deltas.assign(sound.samples.size(), 160);
    return sound;
}

// Phone files of a small MPEG-4 clip, with and without AMR sound, and a Vigilant export of it with
// its camera texts and time zone behind the movie.
void WriteIsoSeeds(SeedFolder& seeds) {
    IsoTest::VideoClip clip;
    if (!IsoTest::MakeMpeg4Clip(IsoTest::SmallClipSettings(), &clip)) {
        std::fprintf(stderr, "no MPEG-4 encoder: the ISO media targets get no seeds\n");
        return;
    }
    constexpr int64_t Created = 1262304000;
    IsoTest::MovieLayout phone = IsoTest::PhoneMovie(clip, Created);
    phone.tracks.push_back(AmrTrack(8));
    seeds.Add("fuzz_decoder_phone_mp4", "mpeg4_amr", Text(IsoTest::WriteMovieFile(phone)));
    seeds.Add("fuzz_decoder_phone_3gp", "mpeg4_amr", Text(IsoTest::WriteMovieFile(phone)));

    constexpr uint64_t FileTime = (Created + 11644473600ull) * 10000000ull;
    const auto zone = IsoTest::CentralEurope();
    const IsoTest::MovieLayout vigilant =
        IsoTest::VigilantMovie(clip, FileTime, {IsoTest::VigilantFreePayload(819, "Gate", "Yard", &zone)});
    seeds.Add("fuzz_decoder_vigilant_mp4", "mpeg4_zone", Text(IsoTest::WriteMovieFile(vigilant)));
}

// DVD-Video folders of one title set and of two, the second of two cells, each file named in
// its piece; made only where ffmpeg and dvdauthor are installed.
void WriteDvdSeeds(SeedFolder& seeds) {
    if (!Vorn::Testing::HaveDvdTools()) {
        return;
    }
    const Vorn::Testing::DvdShape shapes[] = {{false, {{0.6}}, 1}, {false, {{0.4}, {0.3, 0.3}}, 2}};
    for (const auto& shape : shapes) {
        const Vorn::Testing::DvdFolder& folder = Vorn::Testing::AuthorDvd(shape);
        if (folder.error.empty()) {
            seeds.Add("fuzz_dvd_decoder", "dvd" + std::to_string(shape.titleSets.size()),
                      Vorn::Testing::JoinFileSet(folder.files));
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
    seeds.Add("fuzz_decoder_new_wavestore", "two_cameras",
              Vorn::Testing::JoinFileSet(
                  {{"rec.dat", "x"},
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
              Vorn::Testing::JoinFileSet({{two.files[0].name, Text(DarlexFileBytes(two.files[0]))},
                                          {two.files[1].name, Text(DarlexFileBytes(two.files[1]))}}));
}

// Every format's small recording, for each of its rows' targets.
void WriteRecorderSeeds(SeedFolder& seeds) {
    for (const SmallRecordingRow& row : SmallRecordingRows()) {
        const SmallRecording recording = row.make(row.decoderClass);
        for (const std::string& target : row.fuzzTargets) {
            if (!recording.files.empty()) {
                seeds.Add("fuzz_decoder_" + target, "small", Vorn::Testing::JoinFileSet(recording.files));
            }
        }
    }
}

// The native decoders' recordings of one file or span and of two.
void WriteNativeSeeds(SeedFolder& seeds) {
    for (int32_t count : {1, 2}) {
        seeds.Add("fuzz_kodicom_decoder", "spans" + std::to_string(count),
                  Vorn::Testing::JoinFileSet(SmallKodicom(count).files));
        seeds.Add("fuzz_darlex_native_decoder", "image" + std::to_string(count),
                  Vorn::Testing::JoinFileSet(SmallDarlexImage(count).files));
    }
}

} // namespace

int main(int argc, char** argv) {
    SeedFolder seeds(argc > 1 ? argv[1] : "build/seeds");
    WriteJpegSeeds(seeds);
    WriteBlockJpegSeeds(seeds);
    WriteLosslessSeeds(seeds);
    WriteMpeg4AndH263Seeds(seeds);
    WriteH264Seeds(seeds);
    WriteFfmpegPluginSeeds(seeds);
    WriteMpeg2AndDvSeeds(seeds);
    WriteAudioSeeds(seeds);
    WriteJpeg2000Seeds(seeds);
    WriteAdv601Seeds(seeds);
    WriteVfwPictureSeeds(seeds);
    WriteIsoSeeds(seeds);
    WriteRecorderSeeds(seeds);
    WriteAdv601RecorderSeeds(seeds);
    WriteDvdSeeds(seeds);
    WriteNativeSeeds(seeds);
    std::printf("%d seeds written\n", seeds.Written());
    return 0;
}
