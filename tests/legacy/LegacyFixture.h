#pragma once

#include "core/client/DecoderTable.h"
#include "fixtures/legacy/TinyRecording.h"
#include "model/files/MemoryFileSource.h"

#include <vorncast/VorncastDecoders.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace LegacyTests {

struct LoggedLine {
    int level;
    std::string text;
};

inline std::vector<LoggedLine>& LibraryLog() {
    static std::vector<LoggedLine> lines;
    return lines;
}

inline void CollectLibraryLog(const char*, int, int level, const char* message) {
    LibraryLog().push_back({level, message});
}

inline bool WasLogged(int level, const std::string& text) {
    for (const LoggedLine& line : LibraryLog()) {
        if (line.level == level && line.text == text) {
            return true;
        }
    }
    return false;
}

inline std::string LastError() {
    uint32_t size = 0;
    GetVcLastError(&size, nullptr);
    std::string text(size, '\0');
    GetVcLastError(&size, text.data());
    text.resize(size > 0 ? size - 1 : 0);
    return text;
}

// The message of the last error without its " (file:line)" suffix.
inline std::string LastErrorMessage() {
    std::string text = LastError();
    size_t suffix = text.rfind(" (");
    return suffix == std::string::npos ? text : text.substr(0, suffix);
}

inline VcGuid TinyGuid() {
    VcGuid guid;
    Vorn::ParseGuid(std::string("{") + TinyRecordingDecoder::Guid + "}", &guid);
    return guid;
}

// Two cameras, 0 and 2, taking turns except at the end: ten pictures 40 ms apart.
inline TinyRecording TwoCameras() {
    TinyRecording recording;
    const uint16_t cameras[] = {0, 2, 0, 2, 0, 2, 0, 0, 2, 0};
    for (int32_t step = 0; step < 10; ++step) {
        recording.records.push_back({PictureRecord, 0, cameras[step], TimeAt(step), false});
    }
    return recording;
}

// Indexes in the file of the records of one camera of one track, in order.
inline std::vector<size_t> PicturesOf(const TinyRecording& recording, int camera, int track = 0) {
    std::vector<size_t> found;
    for (size_t index = 0; index < recording.records.size(); ++index) {
        const TinyRecord& record = recording.records[index];
        if (record.kind == PictureRecord && record.camera == camera && record.track == track) {
            found.push_back(index);
        }
    }
    return found;
}

inline int NeverAbort() {
    return 0;
}

inline VcSampleRequest Request(int32_t wantData = 1, VcAbortOperation abort = NeverAbort) {
    VcSampleRequest request{};
    request.abort = abort;
    request.wantData = wantData;
    return request;
}

inline VcSeekRequest SeekTo(int64_t time, int32_t wantData = 1, VcAbortOperation abort = NeverAbort) {
    VcSeekRequest request{};
    request.abort = abort;
    request.wantData = wantData;
    request.targetTime = time;
    return request;
}

// The library initialised, a file set in memory, the tests' format decoder in one row of the
// decoder table and a collection made after the swap, so that the row's entry describes it.
class LegacyFixture : public ::testing::Test {
protected:
    static constexpr int32_t Row = 1;
    static constexpr const char* Url = "rec/clip.tfr";

    void SetUp() override {
        LibraryLog().clear();
        VcInitRecord record{};
        record.logCallback = CollectLibraryLog;
        InitVorncastDecoders(record);
        Vorn::FileSource::SetCurrent(&files);
        previous = DecoderTable::Swap(Row, &decoder);
        ASSERT_EQ(DecoderCollection_Create(nullptr, &collection), 0);
    }

    void TearDown() override {
        if (decoderHandle != 0) {
            Decoder_Close(decoderHandle);
            Decoder_Release(decoderHandle);
        }
        DecoderCollection_Release(collection);
        DecoderTable::Swap(Row, previous);
        Vorn::FileSource::SetCurrent(nullptr);
    }

    void AddRecording(const TinyRecording& recording, const char* path = Url) {
        files.AddFile(path, recording.Bytes());
    }

    int CreateDecoder(int fromCollection = 0) {
        return Decoder_Create(fromCollection != 0 ? fromCollection : collection, TinyGuid(), -1, -1,
                              &decoderHandle);
    }

    int Load(const char* url = Url, VcAbortOperation abort = NeverAbort,
             VcProgressCallback progress = nullptr, VcMessageCallback message = nullptr) {
        int resources = 0;
        return Decoder_Load(decoderHandle, static_cast<int>(std::string(url).size()), url, progress, message,
                            abort, &resources);
    }

    // Creates and loads the decoder for `recording`, then opens the streams of the first track.
    void LoadRecording(const TinyRecording& recording) {
        AddRecording(recording);
        ASSERT_EQ(CreateDecoder(), 0);
        ASSERT_EQ(Load(), 0) << LastError();
        ASSERT_EQ(Decoder_GetTrack(decoderHandle, 0, &track), 0);
    }

    int StreamOf(int trackHandle, int index) {
        int stream = 0;
        EXPECT_EQ(Track_GetStream(trackHandle, index, &stream), 0);
        return stream;
    }

    VcStreamInfo InfoOf(int stream) {
        VcStreamInfo info{};
        EXPECT_EQ(Stream_GetInfo(stream, &info), 0);
        return info;
    }

    std::string NameOf(int stream) {
        int size = 0;
        Stream_GetName(stream, &size, nullptr);
        std::string name(static_cast<size_t>(size), '\0');
        Stream_GetName(stream, &size, name.data());
        name.resize(name.empty() ? 0 : name.size() - 1);
        return name;
    }

    Vorn::MemoryFileSource files;
    TinyRecordingDecoder decoder;
    BaseDecoder* previous = nullptr;
    int collection = 0;
    int decoderHandle = 0;
    int track = 0;
};

} // namespace LegacyTests
