#include "native/dvd/DvdFixture.h"

namespace DvdTests {

void DvdTest::SetUp() {
    RecordingTest::SetUp();
    if (!Vorn::Testing::HaveDvdTools()) {
        GTEST_SKIP() << "ffmpeg or dvdauthor is not installed";
    }
}

bool DvdTest::Serve(const Vorn::Testing::DvdShape& shape) {
    folder = &Vorn::Testing::AuthorDvd(shape);
    EXPECT_EQ(folder->error, "");
    const std::string directory = shape.lowerCaseNames ? "/disc/video_ts/" : Folder();
    for (const auto& file : folder->files) {
        files.AddFile(directory + file.name, file.bytes);
    }
    return folder->error.empty();
}

void DvdTest::Put(const std::string& name, const std::string& bytes) {
    files.AddFile(Folder() + name, bytes);
}

std::string DvdTest::Bytes(const std::string& name) const {
    for (const auto& file : folder->files) {
        if (file.name == name) {
            return file.bytes;
        }
    }
    return {};
}

int DvdTest::StreamOfTrack(int trackIndex, int type) {
    int handle = 0;
    VcTrackInfo info{};
    if (Decoder_GetTrack(decoder, trackIndex, &handle) != 0 || Track_GetInfo(handle, &info) != 0) {
        return 0;
    }
    for (int index = 0; index < info.streamCount; ++index) {
        int stream = 0;
        VcStreamInfo streamInfo{};
        if (Track_GetStream(handle, index, &stream) == 0 && Stream_GetInfo(stream, &streamInfo) == 0 &&
            streamInfo.type == type) {
            return stream;
        }
    }
    return 0;
}

} // namespace DvdTests
