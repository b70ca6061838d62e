// An import plug-in for the Vorncast decoders: one decoder, "Test card", for `.vxc` files.
//
// A `.vxc` file is one line of text, "VXC1 <width> <height> <frames> <frames per second> <start>",
// where <start> is the recorder's time of the first frame in seconds since 1970 (UTC). The decoder
// presents it as one track with one video stream whose pictures it draws itself: colour ramps that
// move with the frame number. It shows everything a plug-in does: the nine exported functions, a
// `Decoder` that queries and loads, a `Track` and a `Stream` that seek and step with the end
// statuses a host expects, samples whose pictures the library's `Stream_ReleaseSample` frees.
//
// Build it against an installed library (pkg-config `vorncast-plugin` or CMake `Vorncast::PluginKit`)
// and copy `PluginDecoderTestCard.so` into the plug-in folder (pkg-config's `plugindir`, CMake's
// `Vorncast_PLUGIN_DIR`); every collection the library makes from then on offers the decoder.
#include "model/decoder/Decoder.h"
#include "model/plugin/VorncastDecoderPlugin.h"

#include <cstdio>
#include <cstring>

#define PLUGIN_EXPORT extern "C" __attribute__((visibility("default")))

using namespace Vorn;
using namespace Vorn::Vorncast;

namespace {

constexpr int64_t TicksPerSecond = 10000000;
// 1970-01-01 in ticks of 100 ns since 0001-01-01.
constexpr int64_t UnixEpochTicks = 621355968000000000;

struct TestCard {
    int32_t width = 0;
    int32_t height = 0;
    int32_t frames = 0;
    int32_t framesPerSecond = 0;
    int64_t startSeconds = 0;
};

// Reads the one line of a `.vxc` file; false when the file is not one or its numbers make no sense.
bool ReadTestCard(const char* path, TestCard* card) {
    FILE* file = std::fopen(path, "rb");
    if (file == nullptr) {
        return false;
    }
    long long start = 0;
    int fields = std::fscanf(file, "VXC1 %d %d %d %d %lld", &card->width, &card->height, &card->frames,
                             &card->framesPerSecond, &start);
    std::fclose(file);
    card->startSeconds = start;
    return fields == 5 && card->width > 0 && card->width <= 4096 && card->height > 0 &&
           card->height <= 4096 && card->frames > 0 && card->framesPerSecond > 0 &&
           card->framesPerSecond <= 1000;
}

// Where a stream stands: before its first sample, on one, or past its last.
enum class Position { BeforeStart, OnSample, PastEnd };

class TestCardStream : public Stream {
public:
    explicit TestCardStream(const TestCard& card) : card(card) {
        type = StreamVideo;
        SetName(Buffer("Test card"));
        description.width = card.width;
        description.height = card.height;
    }

    int GoToTime(SeekRequest request, Sample* sample) override {
        if (request.targetTime < 0) {
            position = Position::BeforeStart;
            return VC_EndOfStreamBeforeStart;
        }
        int64_t frame = request.targetTime / FrameTicks();
        if (frame >= card.frames) {
            position = Position::PastEnd;
            return VC_EndOfStreamAfterEnd;
        }
        return Deliver(static_cast<int32_t>(frame), request.wantData, sample);
    }

    int GetNextSample(SampleRequest request, Sample* sample) override {
        if (position == Position::PastEnd || (position == Position::OnSample && current + 1 == card.frames)) {
            position = Position::PastEnd;
            return VC_EndOfStreamAfterEnd;
        }
        return Deliver(position == Position::BeforeStart ? 0 : current + 1, request.wantData, sample);
    }

    int GetPreviousSample(SampleRequest request, Sample* sample) override {
        if (position == Position::BeforeStart || (position == Position::OnSample && current == 0)) {
            position = Position::BeforeStart;
            return VC_EndOfStreamBeforeStart;
        }
        return Deliver(position == Position::PastEnd ? card.frames - 1 : current - 1, request.wantData,
                       sample);
    }

    SampleDescription* GetSampleDescription(int descriptionHandle) override {
        return descriptionHandle == description.Handle() ? &description : nullptr;
    }

    FrameTimes TimesOf(int32_t frame) const {
        FrameTimes times{};
        times.streamTime = frame * FrameTicks();
        times.recordedTime = UnixEpochTicks + card.startSeconds * TicksPerSecond + times.streamTime;
        return times;
    }

private:
    int64_t FrameTicks() const { return TicksPerSecond / card.framesPerSecond; }

    int Deliver(int32_t frame, int32_t wantData, Sample* sample) {
        current = frame;
        position = Position::OnSample;
        sample->uncompressedSize = static_cast<uint32_t>(description.ImageBytes());
        sample->descriptionHandle = description.Handle();
        sample->time = TimesOf(frame);
        if (wantData == 1) {
            // Array new: the library's ReleaseSample frees it with array delete.
            sample->uncompressedData = new uint8_t[sample->uncompressedSize];
            Draw(frame, sample->uncompressedData);
        }
        return VC_Success;
    }

    // Blue across, green down, red with the frame: rows top first, blue first in each pixel.
    void Draw(int32_t frame, uint8_t* picture) const {
        for (int32_t y = 0; y < card.height; ++y) {
            for (int32_t x = 0; x < card.width; ++x) {
                uint8_t* pixel = picture + (static_cast<int64_t>(y) * card.width + x) * 3;
                pixel[0] = static_cast<uint8_t>(x * 255 / card.width);
                pixel[1] = static_cast<uint8_t>(y * 255 / card.height);
                pixel[2] = static_cast<uint8_t>(frame * 16);
            }
        }
    }

    TestCard card;
    VideoSampleDescription description;
    Position position = Position::BeforeStart;
    int32_t current = 0;
};

class TestCardDecoder : public Decoder {
public:
    int Query(const Buffer& url, int32_t, QueryResult* result) override {
        TestCard card;
        *result = QueryResult{};
        result->canLoad = ReadTestCard(url.Text(), &card) ? 1 : 0;
        return VC_Success;
    }

    int Load(const Buffer& url, ProgressCallback progress, MessageCallback, AbortOperation,
             int32_t* resourceCount) override {
        TestCard card;
        if (!ReadTestCard(url.Text(), &card)) {
            return VC_GeneralFailure;
        }
        auto* stream = new TestCardStream(card);
        auto* track = new Track;
        track->SetName(Buffer("Test card"));
        track->startTime = stream->TimesOf(0);
        track->endTime = stream->TimesOf(card.frames - 1);
        track->AddStream(stream);
        AddTrack(track);
        AddResource(url, 0);
        *resourceCount = GetResourceCount();
        if (progress != nullptr) {
            progress(1.0);
        }
        return VC_Success;
    }

    // Tracks and streams stay until the decoder is released: hosts may still hold their handles.
    int Close() override { return VC_Success; }
};

Decoder* CreateTestCardDecoder() {
    return new TestCardDecoder;
}

// Texts of the entry: they must stay valid while the library is loaded.
char decoderName[] = "Test card";
char decoderExtensions[] = "vxc";
char decoderPatterns[] = "<n:c0>.vxc||";

} // namespace

PLUGIN_EXPORT void GetPluginID(void*) {}

PLUGIN_EXPORT int GetPluginVersion() {
    return 1;
}

PLUGIN_EXPORT int GetPluginName(char* text, int capacity) {
    return std::snprintf(text, static_cast<size_t>(capacity), "Test card plug-in");
}

PLUGIN_EXPORT int GetPluginDeveloperName(char* text, int capacity) {
    return std::snprintf(text, static_cast<size_t>(capacity), "Vorncast examples");
}

PLUGIN_EXPORT int DecoderCount() {
    return 1;
}

PLUGIN_EXPORT int GetDecoderInfoByIndex(int index, DecoderInfo* info) {
    if (index != 0) {
        return VC_InvalidArgument;
    }
    *info = DecoderInfo{};
    info->guid = {0x5E57CA4D, 0x0001, 0x4D2E, {0x9A, 0x1B, 0x7E, 0x57, 0xCA, 0x4D, 0x00, 0x01}};
    info->name = decoderName;
    info->extensions = decoderExtensions;
    info->patterns = decoderPatterns;
    info->available = 1;
    info->creator = CreateTestCardDecoder;
    return VC_Success;
}

PLUGIN_EXPORT const char* LastError() {
    return "";
}

PLUGIN_EXPORT int Initialise(VcLogCallback) {
    return VC_Success;
}

// The oldest library this plug-in works with: the 3.4 line, whose classes it derives from.
PLUGIN_EXPORT int GetMinimumRuntimeVersion(int* major, int* minor) {
    *major = 3;
    *minor = 4;
    return VC_Success;
}
