#pragma once

// A stream's frames: their times without decoding, and pictures of chosen frames.

#include "support/Picture.h"
#include "vorncast/Library.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace VorncastTool {

struct FrameEntry {
    int64_t indexInStream = 0;
    VcFrameTimes time = {};
    int descriptionHandle = 0;
};

// Every frame of the stream in order, stepped with wantData 0 so that no picture is decoded.
std::vector<FrameEntry> ListFrames(const StreamRef& stream);
std::vector<int64_t> RecordedTimes(const std::vector<FrameEntry>& frames);

// Steps through the stream from its start and calls `visit` for each frame whose position is in
// `wanted` (ascending), with its data; the other frames are passed without decoding.
void VisitFrames(const StreamRef& stream, const std::vector<size_t>& wanted,
                 const std::function<void(size_t position, StreamReader& reader, Sample& sample)>& visit);

// The picture of a video sample that carries data.
Picture PictureOf(const StreamReader& reader, const Sample& sample);

// The name of the stream's camera, or "camera N" by its channel when the recording names none.
std::string CameraLabel(const StreamRef& stream);
// "cam" and the channel in two digits, for file names.
std::string CameraFileTag(const StreamRef& stream);

} // namespace VorncastTool
