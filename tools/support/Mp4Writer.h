#pragma once

// An MP4 file with one video track (H.264 through libavcodec, MPEG-4 part 2 when no H.264 encoder is
// present) and optionally one AAC audio track, timed by the caller's presentation times.

#include "support/Picture.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace VorncastTool {

struct AudioFormat {
    int32_t sampleRate = 0;
    int32_t channels = 0;
    int32_t bitsPerSample = 16; // 8 (unsigned) or 16 (signed little-endian), interleaved
};

struct Mp4Settings {
    int32_t width = 0; // pictures of another size are scaled to this one
    int32_t height = 0;
    int64_t frameTicks = 400000; // the usual time between pictures, in 100 ns ticks
    bool mpeg4PartTwo = false;   // MPEG-4 part 2 video even where an H.264 encoder is present
    std::optional<AudioFormat> audio;
    std::map<std::string, std::string> metadata; // e.g. "title", "comment", "creation_time"
};

class Mp4Writer {
public:
    // Creates the file, which must not exist yet. Throws std::runtime_error.
    Mp4Writer(const std::string& path, const Mp4Settings& settings);
    ~Mp4Writer();
    Mp4Writer(const Mp4Writer&) = delete;
    Mp4Writer& operator=(const Mp4Writer&) = delete;

    // The video encoder's name ("libx264", "mpeg4").
    std::string VideoCodecName() const;
    // One picture at `ticks` (100 ns) from the file's start; times must increase by at least 1 ms.
    void WriteVideo(const Picture& picture, int64_t ticks);
    // Interleaved PCM that starts at `ticks` from the file's start; a gap is filled with silence.
    void WriteAudio(const uint8_t* pcm, size_t bytes, int64_t ticks);
    // Ends both tracks; the last picture lasts `lastFrameTicks`, or the usual time when its packet
    // already went out.
    void Finish(int64_t lastFrameTicks);

private:
    struct State;
    std::unique_ptr<State> state;
};

} // namespace VorncastTool
