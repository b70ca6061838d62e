#include "vorncast/Frames.h"

#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace VorncastTool {

std::vector<FrameEntry> ListFrames(const StreamRef& stream) {
    StreamReader reader(stream);
    reader.Rewind();
    std::vector<FrameEntry> frames;
    Sample sample(stream.handle);
    while (reader.Next(false, sample)) {
        FrameEntry frame;
        frame.indexInStream = static_cast<int64_t>(frames.size());
        frame.time = sample.Time();
        frame.descriptionHandle = sample.Get().descriptionHandle;
        frames.push_back(frame);
        sample.Release();
    }
    return frames;
}

std::vector<int64_t> RecordedTimes(const std::vector<FrameEntry>& frames) {
    std::vector<int64_t> times;
    times.reserve(frames.size());
    for (const FrameEntry& frame : frames) {
        times.push_back(frame.time.recordedTime);
    }
    return times;
}

void VisitFrames(const StreamRef& stream, const std::vector<size_t>& wanted,
                 const std::function<void(size_t position, StreamReader& reader, Sample& sample)>& visit) {
    StreamReader reader(stream);
    reader.Rewind();
    Sample sample(stream.handle);
    size_t next = 0;
    for (size_t position = 0; next < wanted.size(); ++position) {
        const bool isWanted = wanted[next] == position;
        if (!reader.Next(isWanted, sample)) {
            break;
        }
        if (isWanted) {
            visit(position, reader, sample);
            ++next;
        }
        sample.Release();
    }
}

Picture PictureOf(const StreamReader& reader, const Sample& sample) {
    const VcPublicVideoDescription description = reader.VideoDescription(sample.Get().descriptionHandle);
    Picture picture;
    picture.width = description.width;
    picture.height = description.height;
    picture.bytesPerPixel = description.bytesPerPixel == 1 ? 1 : 3;
    const size_t size = picture.LineBytes() * static_cast<size_t>(picture.height);
    if (description.width <= 0 || description.height <= 0 || sample.Get().uncompressedSize < size) {
        throw std::runtime_error("a sample holds " + std::to_string(sample.Get().uncompressedSize) +
                                 " bytes, too few for a " + std::to_string(description.width) + " x " +
                                 std::to_string(description.height) + " picture");
    }
    picture.bytes.assign(sample.Get().uncompressedData, sample.Get().uncompressedData + size);
    return picture;
}

std::string CameraLabel(const StreamRef& stream) {
    if (!stream.name.empty()) {
        return stream.name;
    }
    return "camera " + std::to_string(stream.streamNumber);
}

std::string CameraFileTag(const StreamRef& stream) {
    char tag[24];
    std::snprintf(tag, sizeof(tag), "cam%02d", stream.streamNumber);
    return tag;
}

} // namespace VorncastTool
