// Writes the seed corpus of every fuzz target: for each target a folder below the one given (by
// default build/seeds) holding small, valid inputs made by the tests' own writers and encoders,
// in the input shape of that target. `./run fuzz` runs it before the fuzzers.
#include "FuzzUnits.h"
#include "codecs/jpeg/JpegMarkers.h"
#include "fixtures/FileSetBytes.h"
#include "fixtures/adv601/Adv601TestEncoder.h"
#include "fixtures/adv601/Adv601TestPictures.h"
#include "fixtures/codecs/CodecTestSupport.h"
#include "fixtures/codecs/H264Units.h"
#include "fixtures/dvd/DvdAuthor.h"
#include "fixtures/formats/AviWriter.h"
#include "fixtures/formats/BaxallVividWriter.h"
#include "fixtures/formats/BoschArchiveWriter.h"
#include "fixtures/formats/CathexisWriter.h"
#include "fixtures/formats/DarlexWriter.h"
#include "fixtures/formats/DhavWriter.h"
#include "fixtures/formats/FaiveleyWriter.h"
#include "fixtures/formats/GeutebruckWriter.h"
#include "fixtures/formats/IRecordWriter.h"
#include "fixtures/formats/IndigoVisionWriter.h"
#include "fixtures/formats/KodicomWriter.h"
#include "fixtures/formats/LjdLeviathanWriter.h"
#include "fixtures/formats/LorikanWriter.h"
#include "fixtures/formats/NewWavestoreWriter.h"
#include "fixtures/formats/ParVuWriter.h"
#include "fixtures/formats/PelcoEnduraWriter.h"
#include "fixtures/formats/PelcoPnsWriter.h"
#include "fixtures/formats/SanyoWriter.h"
#include "fixtures/formats/SyneticsWriter.h"
#include "fixtures/formats/TestJpegPictures.h"
#include "fixtures/formats/TimeSpaceWriter.h"
#include "fixtures/formats/UvmsWriter.h"
#include "fixtures/formats/ViconNetWriter.h"
#include "fixtures/formats/VigilantMpeg2Writer.h"
#include "fixtures/formats/ViseumWriter.h"
#include "fixtures/iso/FfmpegTool.h"
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

// A file set of the files a writer gives by path, each path cut by `cut` leading characters.
template <class Files> std::string FileSet(const Files& written, size_t cut = 0) {
    std::vector<Vorn::Testing::FileSetFile> files;
    for (const auto& [path, bytes] : written) {
        files.push_back({path.substr(cut), Text(bytes)});
    }
    return Vorn::Testing::JoinFileSet(files);
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

// ---- ADV601 and the formats of the decoder table ----

std::vector<Unit> Adv601Fields() {
    const std::vector<Adv601TestPicture> pictures = {Adv601Gradient(true), Adv601ColourBars(true),
                                                     Adv601Edges(true)};
    std::vector<Unit> fields;
    for (const Adv601TestPicture& picture : pictures) {
        fields.push_back(EncodeAdv601(picture.bgr.data()));
    }
    return fields;
}

void WriteAdv601Seeds(SeedFolder& seeds) {
    const std::vector<Unit> fields = Adv601Fields();
    seeds.Add("fuzz_codec_adv601", "gradient", Text(fields[0]));
    Adv601EncoderOptions shortField;
    shortField.tallField = false;
    seeds.Add("fuzz_codec_adv601", "short_reversed",
              Text(EncodeAdv601(Adv601ColourBars(false).bgr.data(), shortField, true)));
    seeds.Add("fuzz_codec_vfw", "adv1", 5 | 2 << 4, WithFirst({}, {fields[1]}));
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

void WriteGenericJpegSeeds(SeedFolder& seeds) {
    std::vector<Vorn::Testing::FileSetFile> files;
    Unit stream;
    for (int32_t index = 0; index < 3; ++index) {
        Unit picture = EncodeJpeg(MakeGradient(32 + 8 * index, 16, 3), {.quality = 60});
        stream.insert(stream.end(), picture.begin(), picture.end());
        files.push_back({"", Text(picture)});
    }
    seeds.Add("fuzz_decoder_generic_jpeg", "three_pictures", Text(stream));
    seeds.Add("fuzz_decoder_generic_folder_of_jpegs", "three_files", Vorn::Testing::JoinFileSet(files));
    seeds.Add(
        "fuzz_codec_vfw", "tjpg", 6 | 1 << 4,
        {Unit{}, EncodeJpeg(MakeColourBars(64, 48)), EncodeJpeg(MakeColourBars(64, 48), {.quality = 30})});
}

void WriteUncompressedSeeds(SeedFolder& seeds) {
    Unit picture(64 * 48 * 3);
    for (size_t index = 0; index < picture.size(); ++index) {
        picture[index] = static_cast<uint8_t>(index * 7);
    }
    seeds.Add("fuzz_codec_vfw", "rgb2", 7 | 1 << 4, {Unit{}, picture});
}

// ---- recorder formats ----

// Two Baxall Vivid files of two cameras with small JPEG 2000 frames.
void WriteBaxallVividSeeds(SeedFolder& seeds) {
    using Vorn::Vorncast::Decoders::Testing::BaxallFrame;
    const auto planes = Jpeg2000Testing::RgbPlanes(Jpeg2000Testing::MakeRgbPicture(16, 8), 16, 8);
    std::vector<Vorn::Testing::FileSetFile> files;
    for (uint8_t file = 0; file < 2; ++file) {
        std::vector<BaxallFrame> frames(2);
        for (uint8_t index = 0; index < 2; ++index) {
            frames[index].camera = index;
            frames[index].second = static_cast<uint8_t>(file * 2 + index);
            frames[index].codestream = Jpeg2000Testing::Encode(planes, 16, 8, {});
        }
        files.push_back({"", Text(Vorn::Vorncast::Decoders::Testing::WriteBaxallVivid(frames, 16, 8).bytes)});
    }
    seeds.Add("fuzz_decoder_baxall_vivid", "two_files", Vorn::Testing::JoinFileSet(files));
}

// A Pelco Endura export of a small MPEG-4 clip with a key frame every three frames.
void WritePelcoEnduraSeeds(SeedFolder& seeds) {
    using namespace Vorn::Vorncast::Decoders::Testing;
    std::vector<EnduraFrame> frames = EncodeEnduraClip(48, 32, 6, 3);
    if (frames.empty()) {
        return;
    }
    seeds.Add("fuzz_decoder_pelco_endura", "mpeg4", Text(WritePelcoEndura(frames, "Gate", 48, 32).bytes));
}

// Two IndigoVision footage files of a small MPEG-4 clip, the first with a time zone record.
void WriteIndigoVisionSeeds(SeedFolder& seeds) {
    using namespace Vorn::Vorncast::Decoders::Testing;
    std::vector<IndigoFrame> clip = EncodeIndigoClip("mpeg4", 48, 32, 6, 3, 1700000000000);
    if (clip.empty()) {
        return;
    }
    Vorn::Vorncast::Decoders::TimeZoneInformation zone{};
    zone.Bias = 60;
    seeds.Add(
        "fuzz_decoder_indigo_vision", "incident",
        Vorn::Testing::JoinFileSet({{"case.ivi", IndigoIncident("db", "Footage")},
                                    {"db/sites.vdb", IndigoSites({{1, "Gate"}})},
                                    {"Footage/Gate.vmf", Text(WriteIndigoFootage(clip, &zone).bytes)}}));
    seeds.Add("fuzz_decoder_indigo_vision", "two_files",
              Vorn::Testing::JoinFileSet({{"", Text(WriteIndigoFootage(clip, &zone).bytes)},
                                          {"", Text(WriteIndigoFootage(clip, nullptr, 0x20).bytes)}}));
}

// A Bosch archive of one backup whose stream takes the archive's header, with its folders.
void WriteBoschArchiveSeeds(SeedFolder& seeds) {
    using namespace Vorn::Vorncast::Decoders::Testing;
    std::vector<BoschFrame> clip = EncodeBoschClip(32, 16, 4, 2, false);
    if (clip.empty()) {
        return;
    }
    seeds.Add("fuzz_decoder_bosch_archive", "one_backup",
              FileSet(WriteBoschArchive("", "rec", {{"B", "Cam", "", {{"T", clip}}}}, 32, 16), 1));
}

// The recorders of the AVI family, each a small recording in its dialect.
void WriteAviFamilySeeds(SeedFolder& seeds) {
    using namespace Vorn::Vorncast::Decoders::Testing;
    const std::pair<const char*, const char*> targets[] = {
        {"DecodeCieffeLinearis", "fuzz_decoder_cieffe_linearis"},
        {"DecodeGeoVision", "fuzz_decoder_geovision"},
        {"DecodeDV25AVI", "fuzz_decoder_dv25_avi"},
        {"DecodeDV", "fuzz_decoder_dv_file"},
        {"DecodeOmniVisionOVR2200", "fuzz_decoder_omnivision_ovr2200"},
        {"DecodeAVerMediaUSBPlayback", "fuzz_decoder_avermedia_usb_playback"},
        {"DecodeBTPDivX", "fuzz_decoder_southeastern_mpeg4"},
        {"DecodeLoronixCCTVWare", "fuzz_decoder_loronix_cctvware"},
        {"DecodeOctarIESS", "fuzz_decoder_octar_iess"},
        {"DecodeVisimetricsMPEG", "fuzz_decoder_visimetrics_mpeg2"},
    };
    for (const auto& [member, target] : targets) {
        std::vector<Vorn::Testing::FileSetFile> files;
        for (const AviRecordingFile& file : WriteAviMemberRecording(member)) {
            files.push_back({file.name, Text(file.bytes)});
        }
        if (!files.empty()) {
            seeds.Add(target, "recording", Vorn::Testing::JoinFileSet(files));
        }
    }
}

// A Visimetrics file of JPEG 2000 pictures in its date and hour folders.
void WriteVisimetricsSeeds(SeedFolder& seeds) {
    using namespace Vorn::Vorncast::Decoders::Testing;
    const auto planes = Jpeg2000Testing::RgbPlanes(Jpeg2000Testing::MakeRgbPicture(16, 8), 16, 8);
    AviStreamSpec video;
    video.format = AviVideoFormat(Vorn::Vorncast::Decoders::FourCCLE("MJ2C"), 16, 8);
    video.chunks.assign(2, Jpeg2000Testing::Encode(planes, 16, 8, {}));
    seeds.Add("fuzz_decoder_visimetrics_jpeg2000", "tree",
              Vorn::Testing::JoinFileSet({{"2021/03/04/05/18367_C01.avi", Text(WriteAvi({video}).bytes)}}));
}

// Two Cathexis files of two cameras with small JPEG pictures.
void WriteCathexisSeeds(SeedFolder& seeds) {
    using namespace Vorn::Vorncast::Decoders::Testing;
    std::vector<Vorn::Testing::FileSetFile> files;
    for (uint32_t file = 0; file < 2; ++file) {
        std::vector<CathexisFrame> frames;
        for (uint16_t camera = 0; camera < 2; ++camera) {
            frames.push_back({camera, 1700000000 + file * 2 + camera, 2, 16, 8,
                              EncodeTestJpeg(MakeQuadrantPicture(16, 8, camera), 50)});
        }
        files.push_back({"", Text(WriteCathexis(frames).bytes)});
    }
    seeds.Add("fuzz_decoder_cathexis", "two_files", Vorn::Testing::JoinFileSet(files));
}

// Darlex images: one file with a track for the tracked frames, and two files with an untracked run
// behind the track for all frames. The fields are cut short: a whole one costs the target most of
// its time in the wavelet synthesis, which the codec's own target covers.
void WriteDarlexSeeds(SeedFolder& seeds) {
    using namespace Vorn::Vorncast::Decoders::Testing;
    std::vector<uint8_t> field = EncodeAdv601(Adv601Gradient(true).bgr.data());
    field.resize(1024);
    auto frame = [&](int32_t second, uint8_t camera) {
        return DarlexFrame{{2021, 3, 4, 5, 6, second}, camera, field};
    };
    DarlexImage image;
    image.tracks = {{{frame(1, 1), frame(2, 2)}}};
    DarlexWritten one = WriteDarlex(image, "rec");
    seeds.Add("fuzz_decoder_darlex_tracked", "one_file", Text(DarlexFileBytes(one.files[0])));
    image.untracked = {frame(3, 1), frame(4, 1)};
    image.fileSizes = {4096};
    DarlexWritten two = WriteDarlex(image, "rec");
    seeds.Add("fuzz_decoder_darlex_all_frames", "two_files",
              Vorn::Testing::JoinFileSet({{two.files[0].name, Text(DarlexFileBytes(two.files[0]))},
                                          {two.files[1].name, Text(DarlexFileBytes(two.files[1]))}}));
}

// A Pelco PNS file of a key frame and two tile updates.
void WritePelcoPnsSeeds(SeedFolder& seeds) {
    using namespace Vorn::Vorncast::Decoders::Testing;
    const BgrPicture key = MakeQuadrantPicture(32, 32, 0);
    const BgrPicture update = MakeQuadrantPicture(32, 32, 1);
    const std::vector<std::pair<uint8_t, uint8_t>> places = {{0, 0}, {1, 1}};
    std::vector<PnsFrame> frames = {{true, 1000, {}, EncodeTestJpeg(key, 50)},
                                    {false, 1040, places, EncodeTestJpeg(TileStrip(update, places), 50)},
                                    {false, 1080, {{1, 0}}, EncodeTestJpeg(TileStrip(update, {{1, 0}}), 50)}};
    seeds.Add("fuzz_decoder_pelco_pns", "key_and_updates", Text(WritePelcoPns(frames, 32, 32, 2, 0).bytes));
}

// A Viseum file of two named cameras.
void WriteViseumSeeds(SeedFolder& seeds) {
    using namespace Vorn::Vorncast::Decoders::Testing;
    std::vector<ViseumFrame> frames;
    for (uint16_t index = 0; index < 3; ++index) {
        frames.push_back(
            {index, 17000000000000u + index * 4000u, EncodeTestJpeg(MakeQuadrantPicture(16, 16, index), 50)});
    }
    seeds.Add("fuzz_decoder_viseum", "two_cameras",
              Text(WriteViseum({{0, "Door"}, {1, "Till"}}, frames).bytes));
}

// Two iRecord files of a folder, named after their minutes.
void WriteIRecordSeeds(SeedFolder& seeds) {
    using namespace Vorn::Vorncast::Decoders::Testing;
    std::vector<Vorn::Testing::FileSetFile> files;
    for (int file = 0; file < 2; ++file) {
        std::vector<IRecordFrame> frames;
        for (int index = 0; index < 2; ++index) {
            frames.push_back({"2024031415" + std::to_string(26 + file) + "1" + std::to_string(index) + "250",
                              EncodeTestJpeg(MakeQuadrantPicture(16, 16, index), 50)});
        }
        files.push_back({"2024031415" + std::to_string(26 + file) + ".mjp", Text(WriteIRecord(frames))});
    }
    seeds.Add("fuzz_decoder_irecord", "two_files", Vorn::Testing::JoinFileSet(files));
}

// A ViconNet archive of two cameras in two slices, each a key frame and a delta frame.
void WriteViconNetSeeds(SeedFolder& seeds) {
    using namespace Vorn::Vorncast::Decoders::Testing;
    const ViconNetArchive archive = SmallViconNetArchive(false);
    seeds.Add("fuzz_decoder_vicon_net", "two_slices", FileSet(WriteViconNet(archive)));
}

// Sanyo trees of two cameras, with JPEG and with JPEG 2000 images.
void WriteSanyoSeeds(SeedFolder& seeds) {
    using namespace Vorn::Vorncast::Decoders::Testing;
    const auto planes = Jpeg2000Testing::RgbPlanes(Jpeg2000Testing::MakeRgbPicture(16, 8), 16, 8);
    for (bool jpeg2000 : {false, true}) {
        std::vector<SanyoFrame> frames;
        for (uint32_t index = 0; index < 3; ++index) {
            frames.push_back({765000000 + index, static_cast<int32_t>(index % 2), index + 1,
                              jpeg2000 ? Jpeg2000Testing::Encode(planes, 16, 8, {})
                                       : EncodeTestJpeg(MakeQuadrantPicture(16, 8, index), 50)});
        }
        seeds.Add("fuzz_decoder_sanyo", jpeg2000 ? "jpeg2000" : "jpeg",
                  FileSet(WriteSanyo("SANYO", "00001", {"Door", "Till"}, frames, jpeg2000)));
    }
}

// A Geutebruck file of two named cameras; its scans are those of small pictures, which the fixed
// header's picture size leaves short.
void WriteGeutebruckSeeds(SeedFolder& seeds) {
    using namespace Vorn::Vorncast::Decoders::Testing;
    std::vector<GeutebruckFrame> frames;
    for (uint32_t index = 0; index < 3; ++index) {
        Unit jpeg = EncodeJpeg(MakeColourBars(32, 16), {.sampling = Sampling::S422, .recorderQuality = 25});
        frames.push_back({index % 2, 738000, 0x00E30000 + index * 40,
                          static_cast<uint8_t>(index == 1 ? 128 : 0), 100,
                          Unit(jpeg.begin() + static_cast<long>(ScanDataOffset(jpeg)), jpeg.end())});
    }
    seeds.Add("fuzz_decoder_geutebruck", "two_cameras",
              Text(WriteGeutebruck({{0, "Door"}, {1, "Till"}}, frames).bytes));
}

// Faiveley disk images of two cameras, plain and swapped.
void WriteFaiveleySeeds(SeedFolder& seeds) {
    using namespace Vorn::Vorncast::Decoders::Testing;
    Unit jpeg = EncodeJpeg(MakeColourBars(32, 16), {.sampling = Sampling::S422, .recorderQuality = 24});
    const Unit scan(jpeg.begin() + static_cast<long>(ScanDataOffset(jpeg)), jpeg.end());
    std::vector<FaiveleyFrame> frames;
    for (int32_t index = 0; index < 3; ++index) {
        frames.push_back({static_cast<uint8_t>(index % 2), 2024, 3, 14, 15, 26, index, 0, 0, 1, scan});
    }
    for (bool swapped : {false, true}) {
        seeds.Add("fuzz_decoder_faiveley", swapped ? "swapped" : "plain",
                  Text(WriteFaiveley("Depot", {{0, "Cab"}, {1, "Platform"}}, frames, swapped).bytes));
    }
}

// A vix index with its companion text and data files, JPEG and JPEG 2000 frames; ix and mix indexes
// of lossless JPEG frames.
void WriteLorikanSeeds(SeedFolder& seeds) {
    using namespace Vorn::Vorncast::Decoders::Testing;
    for (uint32_t formatType : {0u, 1u}) {
        VixLayout layout;
        layout.formatType = formatType;
        layout.width = 16;
        layout.height = 16;
        layout.cameras = {{1, "Gate"}, {2, "Yard"}};
        layout.dataFileCapacity = 400;
        std::vector<VixPicture> pictures;
        for (uint16_t index = 0; index < 3; ++index) {
            const BgrPicture picture = MakeQuadrantPicture(16, 16, index);
            pictures.push_back({638000000000000000 + index * 5000000, static_cast<uint16_t>(1 + index % 2),
                                formatType == 1
                                    ? EncodeTestJpeg(picture, 50)
                                    : Jpeg2000Testing::Encode(Jpeg2000Testing::RgbPlanes(picture.bgr, 16, 16),
                                                              16, 16, {.jp2 = true})});
        }
        const VixRecording vix = WriteVix(layout, pictures);
        std::vector<Vorn::Testing::FileSetFile> files = {{"rec.vix", Text(vix.index)},
                                                         {"rec.txt", Text(VixCompanionText("/fuzz/data"))}};
        for (size_t file = 0; file < vix.dataFiles.size(); ++file) {
            files.push_back({"data/" + vix.dataNames[file], Text(vix.dataFiles[file])});
        }
        seeds.Add("fuzz_decoder_lorikan_vix", formatType == 1 ? "jpeg" : "jpeg2000",
                  Vorn::Testing::JoinFileSet(files));
    }
    for (bool master : {false, true}) {
        std::vector<LorikanIndexFrame> frames;
        for (uint16_t index = 0; index < 3; ++index) {
            frames.push_back({638000000000000000 + index * 5000000, static_cast<uint16_t>(index % 2), "Gate",
                              EncodeLosslessJpeg(MakeGradient(16, 8, 3))});
        }
        const LorikanIndexRecording written =
            WriteLorikanIndex({master, !master, "clip.dat", 16, 8, true}, frames);
        seeds.Add(master ? "fuzz_decoder_lorikan_master" : "fuzz_decoder_lorikan", "three_frames",
                  Vorn::Testing::JoinFileSet({{master ? "rec.mix" : "rec.ix", Text(written.index)},
                                              {"clip.dat", Text(written.data)}}));
    }
}

// A Wavestore export of two cameras, a file each in a tree below the loaded path.
void WriteNewWavestoreSeeds(SeedFolder& seeds) {
    using namespace Vorn::Vorncast::Decoders::Testing;
    Adv601EncoderOptions coarse;
    coarse.detailScale = 1024;
    const std::vector<uint8_t> field = EncodeAdv601(Adv601ColourBars(true).bgr.data(), coarse);
    seeds.Add("fuzz_decoder_new_wavestore", "two_cameras",
              Vorn::Testing::JoinFileSet(
                  {{"rec.dat", "x"},
                   {"a/b/1.v",
                    Text(WriteWavestoreFile({{1, "Front", 900, field}, {1, "Front", 960, field}}).bytes)},
                   {"a/c/2.v", Text(WriteWavestoreFile({{2, "Back", 930, field}}, false).bytes)}}));
}

// A TimeSpace X100 file of two cameras with its directory behind the frames, and one with it in front.
void WriteTimeSpaceSeeds(SeedFolder& seeds) {
    using namespace Vorn::Vorncast::Decoders::Testing;
    std::vector<X100Frame> frames;
    for (uint16_t index = 0; index < 5; ++index) {
        frames.push_back({static_cast<uint16_t>(index % 2),
                          index < 2 || index == 4,
                          {{0, 0, 624, 468, 9, 9, 9}},
                          (2024 - 1980) << 9 | 3 << 5 | 14,
                          static_cast<uint16_t>(10 << 11 | index)});
    }
    seeds.Add("fuzz_decoder_timespace_x100", "behind", Text(WriteTimeSpaceX100(frames, false).bytes));
    seeds.Add("fuzz_decoder_timespace_x100", "in_front", Text(WriteTimeSpaceX100(frames, true).bytes));
    std::vector<X200Record> records(5);
    for (uint32_t index = 0; index < 5; ++index) {
        records[index].type = index == 2 ? 254 : index > 2;
        records[index].camera = index % 2;
        records[index].update = {{0, 0, 720, 288, 9, 9, 9}};
        records[index].second = static_cast<uint8_t>(index);
    }
    const std::string file = Text(WriteTimeSpaceX200(records).bytes);
    seeds.Add("fuzz_decoder_timespace_x200", "two_files",
              Vorn::Testing::JoinFileSet({{"", file}, {"", file}}));
}

// An LJD Leviathan export: settings, index and image store. The tests' stand-in for the maker's
// library lies beside the fuzzer and reads the store from the fuzzer's file set.
void WriteLjdLeviathanSeeds(SeedFolder& seeds) {
    using namespace Vorn::Vorncast::Decoders::Testing;
    std::vector<LjdFrame> frames;
    for (uint8_t index = 0; index < 4; ++index) {
        frames.push_back({static_cast<uint8_t>(index % 2), index < 2, 45000.5 + index / 86400.0, 8, 4,
                          std::vector<uint8_t>(8 * 4 * 3, index)});
    }
    const LjdRecording recording = WriteLjdLeviathan(frames, {{0, "Gate"}, {1, "Yard"}});
    seeds.Add("fuzz_decoder_ljd_leviathan", "three_files",
              Vorn::Testing::JoinFileSet({{"rec.vdd", recording.settings},
                                          {"rec.vdb", Text(recording.index)},
                                          {"rec.vmb", Text(recording.store)}}));
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
    seeds.Add("fuzz_decoder_phone_mp4", "mpeg4", Text(IsoTest::WriteMovieFile(phone)));
    seeds.Add("fuzz_decoder_phone_3gp", "mpeg4", Text(IsoTest::WriteMovieFile(phone)));
    phone.tracks.push_back(AmrTrack(8));
    seeds.Add("fuzz_decoder_phone_mp4", "mpeg4_amr", Text(IsoTest::WriteMovieFile(phone)));
    seeds.Add("fuzz_decoder_phone_3gp", "mpeg4_amr", Text(IsoTest::WriteMovieFile(phone)));

    constexpr uint64_t FileTime = (Created + 11644473600ull) * 10000000ull;
    const auto zone = IsoTest::CentralEurope();
    const IsoTest::MovieLayout vigilant =
        IsoTest::VigilantMovie(clip, FileTime, {IsoTest::VigilantFreePayload(819, "Gate", "Yard", &zone)});
    seeds.Add("fuzz_decoder_vigilant_mp4", "mpeg4_zone", Text(IsoTest::WriteMovieFile(vigilant)));
}

// A Vigilant MPEG-2 export of two groups with a camera name and a time zone.
void WriteVigilantMpeg2Seeds(SeedFolder& seeds) {
    using namespace Vorn::Vorncast::Decoders::Testing;
    VigilantMpeg2File file = EncodeVigilantMpeg2Clip(32, 6, {"Depot", "Gate", 60, {1700000000}});
    if (!file.bytes.empty()) {
        seeds.Add("fuzz_decoder_vigilant_mpeg2", "two_groups", Text(file.bytes));
    }
}

// A UVMS tree of two inputs with small JPEG pictures, its configuration first.
void WriteUvmsSeeds(SeedFolder& seeds) {
    using namespace Vorn::Vorncast::Decoders::Testing;
    std::vector<Vorn::Testing::FileSetFile> files;
    for (const auto& [path, bytes] : WriteUvmsJpegTree(16, 8)) {
        files.push_back({path, Text(bytes)});
    }
    seeds.Add("fuzz_decoder_uvms", "two_inputs", Vorn::Testing::JoinFileSet(files));
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

// Kodicom folders of one span and of two, two cameras with key pictures, block updates and maps.
void WriteKodicomSeeds(SeedFolder& seeds) {
    using namespace Vorn::Vorncast::Decoders::Testing;
    std::vector<Vorn::Testing::FileSetFile> files;
    for (int32_t span = 0; span < 2; ++span) {
        const KodicomSpan written =
            WriteKodicomSpan(KodicomFrames(2, 4, 638000000000000000 + span * 600000000LL, 5, 2, 32, 24));
        const std::string name = span == 0 ? "KD" : "KD1";
        files.push_back({name + ".bix", written.bix});
        files.push_back({name + ".box", written.box});
        seeds.Add("fuzz_kodicom_decoder", "spans" + std::to_string(span + 1),
                  Vorn::Testing::JoinFileSet(files));
    }
}

// Darlex images of one file and of two, two cameras, a second of two frames among them.
void WriteDarlexNativeSeeds(SeedFolder& seeds) {
    using namespace Vorn::Vorncast::Decoders::Testing;
    const std::vector<uint8_t> field = EncodeAdv601(Adv601Gradient(true).bgr.data());
    DarlexImage image;
    image.tracks.resize(1);
    for (int32_t second : {1, 1, 2}) {
        for (uint8_t camera : {1, 2}) {
            image.tracks[0].frames.push_back({{2021, 11, 25, 5, 0, second}, camera, field});
        }
    }
    for (int32_t files = 1; files <= 2; ++files) {
        const DarlexWritten written = WriteDarlex(image, "REC");
        std::vector<Vorn::Testing::FileSetFile> pieces;
        for (const DarlexFileImage& file : written.files) {
            const std::vector<uint8_t> bytes = DarlexFileBytes(file);
            pieces.push_back({file.name, std::string(bytes.begin(), bytes.end())});
        }
        seeds.Add("fuzz_darlex_native_decoder", "image" + std::to_string(files),
                  Vorn::Testing::JoinFileSet(pieces));
        image.fileSizes = {written.streamSize / 2 / 4096 * 4096};
    }
}

} // namespace

// A Synetics pair of one camera: I frames in one file, P and B frames in the other.
void WriteSyneticsSeeds(SeedFolder& seeds) {
    CodecTest::EncodedVideo video;
    if (!EncodeSyneticsVideo(32, 16, 8, 4, &video)) {
        return;
    }
    const SyneticsPair pair =
        WriteSyneticsPair("Gate", SyneticsPictures(video, {2024, 3, 0, 12, 9, 30, 0, 0}, 40));
    seeds.Add("fuzz_decoder_synetics", "pair",
              Vorn::Testing::JoinFileSet(
                  {{"mpeg2_0001_1.dat", Text(pair.iFrames)}, {"mpeg2_0001_2.dat", Text(pair.otherFrames)}}));
}

// A vid file and its idx file, and a partition of the same pictures: a JPEG scan without headers, a whole
// JPEG and two MPEG-4 frames.
void WriteParVuSeeds(SeedFolder& seeds) {
    const Unit whole =
        EncodeJpeg(MakeColourBars(32, 16), {.sampling = Sampling::S422, .recorderQuality = 30});
    ParVuPicture scan{0, 1700000000, 8192, 1, 0, 30, 32, 16, "Door", {}};
    scan.data.assign(whole.begin() + static_cast<long>(ScanDataOffset(whole)), whole.end() - 2);
    std::vector<ParVuPicture> pictures = {scan, {1, 1700000000, 8192, 0, 0, 0, 32, 16, "Till", whole}};
    CodecTest::EncodedVideo video;
    if (Encode("mpeg4", 32, 16, 2, 0, false, &video)) {
        pictures.push_back({2, 1700000001, 8193, 0, 0, 0, 32, 16, "Yard", video.frames[0].data});
        pictures.push_back({2, 1700000001, 1, 0, 0, 0, 32, 16, "Yard", video.frames[1].data});
    }
    const ParVuPair pair = WriteParVuPair(pictures);
    seeds.Add(
        "fuzz_decoder_parvu", "pair",
        Vorn::Testing::JoinFileSet({{"vid00001.vid", Text(pair.vid)}, {"vid00001.idx", Text(pair.idx)}}));
    seeds.Add("fuzz_decoder_parvu", "partition",
              Vorn::Testing::JoinFileSet({{"disk.par", Text(WriteParVuPartition(pictures).vid)}}));
}

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
    WriteGenericJpegSeeds(seeds);
    WriteUncompressedSeeds(seeds);
    WriteIsoSeeds(seeds);
    WriteBaxallVividSeeds(seeds);
    WritePelcoEnduraSeeds(seeds);
    WriteIndigoVisionSeeds(seeds);
    WriteBoschArchiveSeeds(seeds);
    WriteCathexisSeeds(seeds);
    WriteDarlexSeeds(seeds);
    WriteAviFamilySeeds(seeds);
    WriteVisimetricsSeeds(seeds);
    WritePelcoPnsSeeds(seeds);
    WriteViseumSeeds(seeds);
    WriteIRecordSeeds(seeds);
    WriteDvdSeeds(seeds);
    WriteKodicomSeeds(seeds);
    WriteDarlexNativeSeeds(seeds);
    WriteViconNetSeeds(seeds);
    WriteSanyoSeeds(seeds);
    WriteGeutebruckSeeds(seeds);
    WriteFaiveleySeeds(seeds);
    WriteLorikanSeeds(seeds);
    WriteNewWavestoreSeeds(seeds);
    WriteTimeSpaceSeeds(seeds);
    WriteVigilantMpeg2Seeds(seeds);
    WriteUvmsSeeds(seeds);
    WriteLjdLeviathanSeeds(seeds);
    WriteSyneticsSeeds(seeds);
    WriteParVuSeeds(seeds);
    std::printf("%d seeds written\n", seeds.Written());
    return 0;
}
