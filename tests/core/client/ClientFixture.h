#pragma once

#include "core/client/DecoderTable.h"
#include "core/client/FileClient.h"
#include "core/client/ScriptedFiles.h"
#include "core/decoder/ScriptedDecoder.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace ClientTests {

using namespace Vorn::Vorncast::Decoders;
using Testing::CallRecord;
using Testing::LastOpened;
using Testing::LogCapture;
using Testing::ScriptedDecoder;
using Testing::Step;

inline Vorn::Guid GuidOf(const char* text) {
    Vorn::Guid guid;
    EXPECT_TRUE(Vorn::ParseGuid(std::string("{") + text + "}", &guid));
    return guid;
}

// A client whose table row 0 is served by a scripted decoder, over files held in memory.
class ClientFixture : public ::testing::Test {
protected:
    static constexpr int32_t Row = 0;
    static constexpr const char* Url = "clip.tst";

    void SetUp() override {
        previous = DecoderTable::Swap(Row, &decoder);
        RemakeClient();
    }

    void TearDown() override {
        client.reset();
        DecoderTable::Swap(Row, previous);
    }

    void RemakeClient() {
        client = std::make_unique<FileClient>();
        client->SetLogCallback(LogCapture::Callback);
    }

    FileClientResult Load(const char* url = Url) {
        return client->OpenForLoad(GuidOf(ScriptedDecoder::DefaultGuid), -1, url, &image, &audio, &span,
                                   &totalFrames, &totalAudioFrames, &duration, &hasAudio);
    }

    // A decoder that opens `file` and keeps it for `frames` frames of `size` bytes.
    void ScriptFrames(const char* file, int32_t frames, uint32_t size) {
        decoder.loadScript = {Step::Open(file)};
        decoder.framesAfterLoad = frames;
        decoder.frameSize = size;
    }

    LogCapture log;
    ScriptedFiles files;
    ScriptedDecoder decoder;
    BaseDecoder* previous = nullptr;
    std::unique_ptr<FileClient> client;

    ImageInfo image = {};
    AudioInfo audio = {};
    TrackTimes span = {};
    int32_t totalFrames = 0;
    int32_t totalAudioFrames = 0;
    int64_t duration = 0;
    bool hasAudio = false;
};

} // namespace ClientTests
