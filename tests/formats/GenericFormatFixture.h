#pragma once

#include "core/client/DecoderTable.h"
#include "core/client/MasDigitalCAPI.h"
#include "model/files/MemoryFileSource.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace GenericFormatTests {

using namespace Vorn::Vorncast::Decoders;
namespace Capi = Vorn::Vorncast::Decoders::MasDigitalCAPI;

constexpr const char* GenericJpegGuid = "8923E98A-F163-4ae9-815A-FFB2D3FFF934";
constexpr const char* FolderOfJpegsGuid = "4568BFE6-5117-490c-961C-2A7A91579834";
constexpr const char* GenericAdv601Guid = "E2FA1771-9E5B-4349-94E2-018A2939E6EA";

inline std::vector<std::string>& LoggedLines() {
    static std::vector<std::string> lines;
    return lines;
}

inline std::vector<double>& ReportedProgress() {
    static std::vector<double> fractions;
    return fractions;
}

// One decoded frame as GetFrame delivered it.
struct Frame {
    FileClientResult result = FCR_FAILURE;
    FrameTimes times = {};
    int32_t camera = -1;
    std::vector<uint8_t> picture;
};

// Drives one decoder of the table through the client functions over a file set held in memory,
// with the client's log and progress collected.
class GenericFormatTest : public ::testing::Test {
protected:
    void SetUp() override {
        LoggedLines().clear();
        ReportedProgress().clear();
        Vorn::FileSource::SetCurrent(&files);
        Capi::SetLogCallback([](int32_t, const char* text) { LoggedLines().push_back(text); });
        Capi::SetProgressCallback([](double fraction) { ReportedProgress().push_back(fraction); });
        Capi::CreateClient(&client);
    }

    void TearDown() override {
        Capi::Close(client);
        Capi::DestroyClient(client);
        Capi::SetLogCallback(Capi::LibraryLogForwarder);
        Capi::SetProgressCallback(nullptr);
        Vorn::FileSource::SetCurrent(nullptr);
    }

    static void Words(const char* guid, uint32_t words[4]) {
        Vorn::Guid parsed;
        ASSERT_TRUE(Vorn::ParseGuid(std::string("{") + guid + "}", &parsed));
        WordsFromGuid(parsed, words);
    }

    FileClientResult Load(const char* guid, const std::string& path) {
        uint32_t words[4];
        Words(guid, words);
        return Capi::OpenWithDecoder(client, words[0], words[1], words[2], words[3], -1, path.c_str(), &image,
                                     &audio, &span, &totalFrames, &totalAudioFrames, &duration, &hasAudio);
    }

    int32_t QueryConfidence(const char* guid, const std::string& path) {
        uint32_t words[4];
        Words(guid, words);
        ImageInfo queried = {};
        AudioInfo queriedAudio = {};
        TrackTimes queriedSpan = {};
        int32_t frames = 0, audioFrames = 0, reserved = 0, confidence = -1;
        int64_t length = 0;
        bool video = false, sound = false;
        Capi::OpenWithDecoder(client, words[0], words[1], words[2], words[3], 0, path.c_str(), &queried,
                              &queriedAudio, &queriedSpan, &frames, &audioFrames, &length, &video, &sound,
                              &reserved, &confidence);
        return confidence;
    }

    // Bytes of a picture of the loaded size.
    size_t PictureSize() const {
        int64_t size = static_cast<int64_t>(image.width) * image.height * image.planes;
        return size > 0 ? static_cast<size_t>(size) : 0;
    }

    Frame GetFrame(int32_t index) {
        Frame frame;
        frame.picture.assign(PictureSize(), 0);
        int64_t frameDuration = 0;
        int32_t frames = 0;
        uint64_t period = 0;
        char name[CameraNameLength] = {};
        frame.result = Capi::GetFrame(client, index, &frame.times, static_cast<int32_t>(frame.picture.size()),
                                      frame.picture.empty() ? nullptr : frame.picture.data(), &frameDuration,
                                      &frames, &period, &frame.camera, name);
        return frame;
    }

    void AddFile(const std::string& path, const std::vector<uint8_t>& bytes) {
        files.AddFile(path, bytes.data(), bytes.size());
    }

    static bool WasLogged(const std::string& text) {
        const auto& lines = LoggedLines();
        return std::find(lines.begin(), lines.end(), text) != lines.end();
    }

    // True when no file stayed open behind the decoder's back: the client swept none.
    static bool NoFileWasLeftOpen() {
        for (const std::string& line : LoggedLines()) {
            if (line.find("Dangling file handle") != std::string::npos) {
                return false;
            }
        }
        return true;
    }

    Vorn::MemoryFileSource files;
    Capi::ClientHandle client = nullptr;
    ImageInfo image = {};
    AudioInfo audio = {};
    TrackTimes span = {};
    int32_t totalFrames = 0;
    int32_t totalAudioFrames = 0;
    int64_t duration = 0;
    bool hasAudio = false;
};

} // namespace GenericFormatTests
