#pragma once

#include "MissingTool.h"
#include "fixtures/dvd/DvdAuthor.h"
#include "formats/RecordingFixture.h"

#include <algorithm>
#include <string>

namespace DvdTests {

constexpr const char* DvdGuid = "508C3FE8-0034-4216-8E06-0020B1619331";

// DVD-Video folders authored at test time, served from memory below /disc/VIDEO_TS (or below
// /disc/video_ts with every name in lower case) and loaded through the exported functions.
class DvdTest : public FormatTests::RecordingTest {
protected:
    void SetUp() override {
        RecordingTest::SetUp();
        if (!Vorn::Testing::HaveDvdTools()) {
            SKIP_OR_FAIL_FOR_MISSING("ffmpeg or dvdauthor");
        }
    }

    // Authors the folder of `shape` and serves it; false when it could not be made.
    bool Serve(const Vorn::Testing::DvdShape& shape, bool lowerCase = false) {
        folder = &Vorn::Testing::AuthorDvd(shape);
        EXPECT_EQ(folder->error, "");
        for (const auto& file : folder->files) {
            std::string path = Folder() + file.name;
            if (lowerCase) {
                std::transform(path.begin(), path.end(), path.begin(),
                               [](unsigned char c) { return std::tolower(c); });
            }
            files.AddFile(path, file.bytes);
        }
        return folder->error.empty();
    }
    void Put(const std::string& name, const std::string& bytes) { files.AddFile(Folder() + name, bytes); }
    void Drop(const std::string& name) { files.Remove(Folder() + name); }
    std::string Bytes(const std::string& name) const {
        const auto found = std::find_if(folder->files.begin(), folder->files.end(),
                                        [&](const auto& file) { return file.name == name; });
        return found != folder->files.end() ? found->bytes : std::string();
    }
    // Loads the served folder through `name`.
    int LoadDisc(const std::string& name = "VIDEO_TS.IFO") { return Load(DvdGuid, Folder() + name); }
    std::string Folder() const { return "/disc/VIDEO_TS/"; }
    // The first stream of `type` of the track `index`.
    int StreamOfTrack(int index, int type) {
        return Decoder_GetTrack(decoder, index, &track) == 0 ? StreamOfType(type) : 0;
    }

    const Vorn::Testing::DvdFolder* folder = nullptr;
};

} // namespace DvdTests
