#include "formats/RecordingFixture.h"

#include <cstring>

namespace FormatTests {

namespace {

class CountingFile : public Vorn::SourceFile {
public:
    CountingFile(std::unique_ptr<Vorn::SourceFile> inner, int* reads)
        : inner(std::move(inner)), reads(reads) {}

    int64_t Size() const override { return inner->Size(); }
    int64_t ReadAt(int64_t offset, void* destination, int64_t count) override {
        ++*reads;
        return inner->ReadAt(offset, destination, count);
    }

private:
    std::unique_ptr<Vorn::SourceFile> inner;
    int* reads;
};

VcSampleRequest Request(bool picture) {
    VcSampleRequest request{};
    request.abort = NeverAbort;
    request.wantData = picture ? 1 : 0;
    return request;
}

} // namespace

std::unique_ptr<Vorn::SourceFile> CountingFileSource::Open(std::string_view path) {
    std::unique_ptr<Vorn::SourceFile> file = inner.Open(path);
    if (file == nullptr) {
        return file;
    }
    return std::make_unique<CountingFile>(std::move(file), &reads);
}

void RecordingTest::SetUp() {
    LoggedTexts().clear();
    VcInitRecord record{};
    record.logCallback = CollectLog;
    InitVorncastDecoders(record);
    Vorn::FileSource::SetCurrent(&countingFiles);
    ASSERT_EQ(DecoderCollection_Create(nullptr, &collection), 0);
}

void RecordingTest::ReleaseDecoder() {
    if (decoder != 0) {
        Decoder_Close(decoder);
        Decoder_Release(decoder);
        decoder = 0;
    }
}

void RecordingTest::TearDown() {
    ReleaseDecoder();
    DecoderCollection_Release(collection);
    Vorn::FileSource::SetCurrent(nullptr);
}

int RecordingTest::Load(const char* guid, const std::string& path, int (*abort)()) {
    ReleaseDecoder();
    int status = Decoder_Create(collection, GuidOf(guid), -1, -1, &decoder);
    if (status != 0) {
        return status;
    }
    int resources = 0;
    status = Decoder_Load(decoder, static_cast<int>(path.size()), path.c_str(), nullptr, nullptr, abort,
                          &resources);
    if (status == 0) {
        EXPECT_EQ(Decoder_GetTrack(decoder, 0, &track), 0);
    }
    return status;
}

std::string RecordingTest::Autodetected(const std::string& path, bool keep) {
    int autodetect = 0, found = 0, resources = 0;
    VcDecoderInfoValue info{};
    VcQueryResult query{};
    EXPECT_EQ(DecoderCollection_GetAutodetectCollection(collection, path.c_str(), &autodetect), 0);
    const int status = DecoderCollection_Autodetect(
        autodetect, static_cast<int>(path.size()), path.c_str(),
        [](VcPublicDecoderInfo, int, int) { return 0; }, nullptr, nullptr, NeverAbort, &found, &info, &query,
        &resources);
    const std::string name = status == 0 ? info.name : LastError();
    EXPECT_TRUE(status != 0 || query.canLoad == 1) << name;
    DecoderCollection_Release(autodetect);
    if (keep && status == 0) {
        ReleaseDecoder();
        decoder = found;
        EXPECT_EQ(Decoder_GetTrack(decoder, 0, &track), 0);
        return name;
    }
    Decoder_Close(found);
    Decoder_Release(found);
    return name;
}

int RecordingTest::StreamCount() {
    VcTrackInfo info{};
    EXPECT_EQ(Track_GetInfo(track, &info), 0);
    return info.streamCount;
}

testing::AssertionResult RecordingTest::LoadFailsWith(const char* guid, const std::string& path,
                                                      const std::string& text, int status) {
    LoggedTexts().clear();
    const int loaded = Load(guid, path);
    if (loaded != status) {
        return testing::AssertionFailure()
               << path << " gave status " << loaded << ", expected " << status << " with: " << text;
    }
    if (!WasLogged(text)) {
        return testing::AssertionFailure() << path << " did not log: " << text;
    }
    return testing::AssertionSuccess();
}

std::vector<int> RecordingTest::StreamsOfType(int trackHandle, int type) {
    std::vector<int> streams;
    VcTrackInfo info{};
    for (int index = 0; Track_GetInfo(trackHandle, &info) == 0 && index < info.streamCount; ++index) {
        int stream = 0;
        VcStreamInfo streamInfo{};
        if (Track_GetStream(trackHandle, index, &stream) == 0 && Stream_GetInfo(stream, &streamInfo) == 0 &&
            streamInfo.type == type) {
            streams.push_back(stream);
        }
    }
    return streams;
}

int RecordingTest::StreamOfType(int type) {
    const std::vector<int> streams = StreamsOfType(track, type);
    return streams.empty() ? 0 : streams[0];
}

Delivered RecordingTest::Take(int stream, int status, VcSample& sample) {
    Delivered delivered;
    delivered.status = status;
    if (status == 0) {
        delivered.time = sample.time;
        delivered.descriptionHandle = sample.descriptionHandle;
    }
    if (status == 0 && sample.uncompressedData != nullptr) {
        delivered.data.assign(sample.uncompressedData, sample.uncompressedData + sample.uncompressedSize);
        Stream_ReleaseSample(stream, sample);
    }
    return delivered;
}

Delivered RecordingTest::Next(int stream, bool picture) {
    VcSample sample{};
    const int status = Stream_GetNextSample(stream, Request(picture), &sample);
    return Take(stream, status, sample);
}

Delivered RecordingTest::Previous(int stream, bool picture) {
    VcSample sample{};
    const int status = Stream_GetPreviousSample(stream, Request(picture), &sample);
    return Take(stream, status, sample);
}

Delivered RecordingTest::GoTo(int stream, int64_t time, bool picture) {
    VcSeekRequest request{};
    request.abort = NeverAbort;
    request.wantData = picture ? 1 : 0;
    request.targetTime = time;
    VcSample sample{};
    const int status = Stream_GoToTime(stream, request, &sample);
    return Take(stream, status, sample);
}

VcPublicVideoDescription RecordingTest::VideoDescription(int stream, const Delivered& sample) {
    VcPublicVideoDescription description{};
    EXPECT_EQ(Stream_GetVideoSampleDescription(stream, sample.descriptionHandle, &description), 0);
    return description;
}

VcPublicAudioDescription RecordingTest::AudioDescription(int stream, const Delivered& sample) {
    VcPublicAudioDescription description{};
    EXPECT_EQ(Stream_GetAudioSampleDescription(stream, sample.descriptionHandle, &description), 0);
    return description;
}

std::vector<int> RecordingTest::VideoStreams() {
    std::vector<int> streams;
    int tracks = 0;
    Decoder_GetTrackCount(decoder, &tracks);
    for (int trackIndex = 0; trackIndex < tracks; ++trackIndex) {
        int handle = 0;
        if (Decoder_GetTrack(decoder, trackIndex, &handle) == 0) {
            const std::vector<int> found = StreamsOfType(handle, VC_StreamVideo);
            streams.insert(streams.end(), found.begin(), found.end());
        }
    }
    return streams;
}

std::vector<Delivered> RecordingTest::WalkForward(int stream) {
    std::vector<Delivered> samples;
    for (Delivered sample = Next(stream); sample.status == 0; sample = Next(stream)) {
        samples.push_back(std::move(sample));
    }
    return samples;
}

std::string RecordingTest::StreamName(int stream) {
    int size = 0;
    Stream_GetName(stream, &size, nullptr);
    std::string name(static_cast<size_t>(size), '\0');
    Stream_GetName(stream, &size, name.data());
    name.resize(name.empty() ? 0 : name.size() - 1);
    return name;
}

std::string RecordingTest::LastError() {
    uint32_t size = 0;
    GetVcLastError(&size, nullptr);
    std::string text(size, '\0');
    GetVcLastError(&size, text.data());
    text.resize(size > 0 ? size - 1 : 0);
    return text;
}

} // namespace FormatTests
