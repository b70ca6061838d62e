#pragma once

#include "core/client/DecoderTable.h"
#include "fixtures/codecs/CodecRecording.h"
#include "model/files/MemoryFileSource.h"

#include <vorncast/VorncastDecoders.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace LegacyTests {

using namespace Hardening;

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
    return text.substr(0, text.rfind(" ("));
}

inline VcGuid RecordingGuid() {
    VcGuid guid;
    Vorn::ParseGuid(std::string("{") + CodecRecordingDecoder::Guid + "}", &guid);
    return guid;
}

// Two cameras, 0 and 2, taking turns except at the end: ten pictures 40 ms apart.
inline CodecRecording TwoCameras() {
    CodecRecording recording;
    const uint16_t cameras[] = {0, 2, 0, 2, 0, 2, 0, 0, 2, 0};
    for (int32_t step = 0; step < 10; ++step) {
        recording.records.push_back({PictureRecord, cameras[step], TimeAt(step)});
    }
    return recording;
}

// Indexes in the file of the records of one camera, or of the sound, in order.
inline std::vector<size_t> RecordsOf(const CodecRecording& recording, int camera,
                                     uint8_t kind = PictureRecord) {
    std::vector<size_t> found;
    for (size_t index = 0; index < recording.records.size(); ++index) {
        const Record& record = recording.records[index];
        if ((record.kind == AudioRecord) == (kind == AudioRecord) && record.camera == camera) {
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
    static constexpr const char* Url = "rec/clip.vcr";

    void SetUp() override {
        InitVorncastDecoders(VcInitRecord{});
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

    int CreateDecoder() { return Decoder_Create(collection, RecordingGuid(), -1, -1, &decoderHandle); }

    int Load(const char* url = Url, VcAbortOperation abort = NeverAbort,
             VcProgressCallback progress = nullptr, VcMessageCallback message = nullptr) {
        int resources = 0;
        return Decoder_Load(decoderHandle, static_cast<int>(std::string(url).size()), url, progress, message,
                            abort, &resources);
    }

    // Creates and loads the decoder for `recording`, then opens the first track.
    void LoadRecording(const CodecRecording& recording) {
        files.AddFile(Url, recording.Bytes());
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

    // Checks a delivered picture against record `index` of `recording`: its pixels, or black for a
    // damaged record, and its time.
    static void ExpectPicture(const CodecRecording& recording, const VcSample& sample, size_t index) {
        const Record& written = recording.records[index];
        std::vector<uint8_t> expected = recording.Payload(index);
        if (written.kind == DamagedPicture) {
            std::fill(expected.begin(), expected.end(), 0);
        }
        ASSERT_EQ(sample.uncompressedSize, expected.size());
        ASSERT_NE(sample.uncompressedData, nullptr);
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), sample.uncompressedData))
            << "record " << index;
        EXPECT_EQ(sample.time.recordedTime, written.time);
        EXPECT_EQ(sample.time.streamTime, written.time);
    }

    Vorn::MemoryFileSource files;
    CodecRecordingDecoder decoder;
    BaseDecoder* previous = nullptr;
    int collection = 0;
    int decoderHandle = 0;
    int track = 0;
};

} // namespace LegacyTests
