#pragma once

#include "fixtures/dvd/DvdAuthor.h"
#include "formats/RecordingFixture.h"

#include <string>

namespace DvdTests {

constexpr const char* DvdGuid = "508C3FE8-0034-4216-8E06-0020B1619331";

// DVD-Video folders authored at test time, served from memory below /disc/VIDEO_TS (or the
// folder's own lower-case name) and loaded through the exported functions.
class DvdTest : public FormatTests::RecordingTest {
protected:
    void SetUp() override;

    // Authors the folder of `shape` and serves it; false (with a failure) when it could not be made.
    bool Serve(const Vorn::Testing::DvdShape& shape);
    // Replaces or adds a file of the served folder.
    void Put(const std::string& name, const std::string& bytes);
    void Drop(const std::string& name) { files.Remove(Folder() + name); }
    std::string Bytes(const std::string& name) const;
    // Loads the served folder through `name` (VIDEO_TS.IFO unless told).
    int LoadDisc(const std::string& name = "VIDEO_TS.IFO") { return Load(DvdGuid, Folder() + name); }
    std::string Folder() const { return "/disc/VIDEO_TS/"; }
    // The streams of one type of the loaded decoder's track `index`.
    int StreamOfTrack(int trackIndex, int type);
    bool Logged(const std::string& text) const { return WasLogged(text); }

    const Vorn::Testing::DvdFolder* folder = nullptr;
};

} // namespace DvdTests
