#pragma once

#include "core/binary/ByteView.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// Bare JPEG images inside a file are found by their start-of-image marker, 0xFF 0xD8, while the
// file is read block by block. The rules that the formats without an index of their own follow:
//
// - Each block is scanned on its own. A marker whose two bytes lie in different blocks is not
//   seen, and the image before it simply grows.
// - Every pair counts and nothing after it is checked: no end-of-image marker is looked for, and a
//   thumbnail inside an image starts a frame of its own.
// - A frame reaches to the start of the next one, the last frame to the end of the file.

// Calls found(offset) with the file offset of the 0xFF of each pair in `block`, which was read
// from `blockOffset`. A run of 0xFF bytes before 0xD8 gives the offset of the last of them.
template <class Found> void ScanJpegStarts(ByteView block, uint64_t blockOffset, Found&& found) {
    bool afterFF = false;
    uint64_t index = 0;
    for (uint8_t byte : block) {
        if (byte == 0xFF) {
            afterFF = true;
        } else if (afterFF) {
            afterFF = false;
            if (byte == 0xD8) {
                found(blockOffset + index - 1);
            }
        }
        ++index;
    }
}

// Sizes the frames of a list whose offsets are the starts that the scan found. A lone frame takes
// the whole file size wherever it starts, so that an image that does not begin at the first byte
// of its file asks for more than the file holds. A start found past the end of the file (in the
// stale bytes behind a short last block) gets a size that wraps round.
template <class FrameList> void SizeJpegFrames(FrameList& frames, int64_t fileSize) {
    int32_t count = frames.Count();
    if (count == 1) {
        auto record = frames.GetAt(0);
        record.size = static_cast<uint32_t>(fileSize);
        frames.ReplaceAt(0, record);
        return;
    }
    for (int32_t index = 0; index < count; ++index) {
        auto record = frames.GetAt(index);
        uint64_t end = index + 1 < count ? frames.GetAt(index + 1).offset : static_cast<uint64_t>(fileSize);
        record.size = static_cast<uint32_t>(end - record.offset);
        frames.ReplaceAt(index, record);
    }
}

} // namespace Vorn::Vorncast::Decoders
