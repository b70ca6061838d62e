#pragma once

#include "model/files/MemoryFileSource.h"
#include "model/support/Guid.h"

#include <vorncast/VorncastDecoders.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace FormatTests {

using Bytes = std::vector<uint8_t>;

// A decoder's GUID as the tests write it, without braces.
inline Vorn::Guid GuidOf(const char* text) {
    Vorn::Guid guid{};
    EXPECT_TRUE(Vorn::ParseGuid(std::string("{") + text + "}", &guid)) << text;
    return guid;
}

inline std::vector<std::string>& LoggedTexts() {
    static std::vector<std::string> texts;
    return texts;
}

inline void CollectLog(const char*, int, int, const char* message) {
    LoggedTexts().emplace_back(message);
}

inline int NeverAbort() {
    return 0;
}

// One sample as a stream handed it out, its data copied before the sample was released.
struct Delivered {
    int status = -1;
    Bytes data;
    VcFrameTimes time = {};
    int descriptionHandle = 0;
};

// A file source that counts the reads of the files it serves, so that a test can see how much a
// decoder reads for a frame.
class CountingFileSource : public Vorn::FileSource {
public:
    explicit CountingFileSource(Vorn::MemoryFileSource& inner) : inner(inner) {}

    std::unique_ptr<Vorn::SourceFile> Open(std::string_view path) override;
    bool Exists(std::string_view path) override { return inner.Exists(path); }
    bool IsDirectory(std::string_view path) override { return inner.IsDirectory(path); }
    bool List(std::string_view directory, std::vector<Vorn::DirectoryEntry>* entries) override {
        return inner.List(directory, entries);
    }

    int reads = 0;

private:
    Vorn::MemoryFileSource& inner;
};

// The library initialised with its log collected, a file set in memory and a collection; loads a
// recording with one decoder of the table and steps its streams through the exported functions.
class RecordingTest : public ::testing::Test {
public:
    // The library's last error text, its file and line included.
    static std::string LastError();

protected:
    void SetUp() override;
    void TearDown() override;

    void AddFile(const std::string& path, const Bytes& bytes) {
        files.AddFile(path, bytes.data(), bytes.size());
    }
    // Creates the decoder of `guid` and loads `path` with it: the load's status.
    int Load(const char* guid, const std::string& path, int (*abort)() = NeverAbort);
    // Success when the load of `path` fails with `status` and has logged `text`.
    testing::AssertionResult LoadFailsWith(const char* guid, const std::string& path, const std::string& text,
                                           int status = VC_GeneralFailure);
    // The name of the decoder autodetection picks for `path`, which must say it can load it, or the
    // last error when none does; the decoder is released again unless `keep`, which puts it and its
    // first track in place of the last.
    std::string Autodetected(const std::string& path, bool keep = false);
    // The first stream of a type in the first track, or 0.
    int StreamOfType(int type);
    // Every video stream of every track, in track and stream order.
    std::vector<int> VideoStreams();
    // Every sample of a stream not yet stepped, from its first on, until a step ends.
    std::vector<Delivered> WalkForward(int stream);
    int VideoStream() { return StreamOfType(VC_StreamVideo); }
    int AudioStream() { return StreamOfType(VC_StreamAudio); }
    int StreamCount();

    // Without `picture`, the sample carries its time and description only.
    Delivered Next(int stream, bool picture = true);
    Delivered Previous(int stream, bool picture = true);
    Delivered GoTo(int stream, int64_t time, bool picture = true);
    VcPublicVideoDescription VideoDescription(int stream, const Delivered& sample);
    VcPublicAudioDescription AudioDescription(int stream, const Delivered& sample);
    std::string StreamName(int stream);

    static bool WasLogged(const std::string& text) {
        const auto& texts = LoggedTexts();
        return std::find(texts.begin(), texts.end(), text) != texts.end();
    }
    // Every sample of a walk, `count` in all, at the recorder time `timeOf` gives for its index.
    static void ExpectRecordedTimes(const std::vector<Delivered>& walked, size_t count,
                                    const std::function<int64_t(size_t)>& timeOf) {
        ASSERT_EQ(walked.size(), count);
        for (size_t frame = 0; frame < walked.size(); ++frame) {
            EXPECT_EQ(walked[frame].time.recordedTime, timeOf(frame)) << "frame " << frame;
        }
    }

    Vorn::MemoryFileSource files;
    CountingFileSource countingFiles{files};
    int collection = 0;
    int decoder = 0;
    int track = 0;

private:
    void ReleaseDecoder();
    // The streams of `type` in a track, in stream order.
    static std::vector<int> StreamsOfType(int trackHandle, int type);
    Delivered Take(int stream, int status, VcSample& sample);
};

} // namespace FormatTests
