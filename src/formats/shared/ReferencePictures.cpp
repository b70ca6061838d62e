#include "formats/shared/ReferencePictures.h"

namespace Vorn::Vorncast::Decoders {

void ReferencePictures::Allocate(size_t pictureBytes) {
    for (auto& buffer : buffers) {
        buffer.assign(pictureBytes, 0);
    }
    frames[0] = frames[1] = -1;
    newer = 1;
}

void ReferencePictures::Clear() {
    for (auto& buffer : buffers) {
        buffer = {};
    }
    frames[0] = frames[1] = -1;
    newer = 1;
}

uint8_t* ReferencePictures::Held(int32_t frame) {
    if (frame < 0) {
        return nullptr;
    }
    for (int slot = 0; slot < 2; ++slot) {
        if (frames[slot] == frame) {
            return buffers[slot].data();
        }
    }
    return nullptr;
}

uint8_t* ReferencePictures::DecodeAnchor(int32_t frame) {
    int slot = frames[newer] == frame ? newer : 1 - newer;
    frames[slot] = frame;
    newer = slot;
    return buffers[slot].data();
}

void ReferencePictures::Forget(int32_t frame) {
    for (int32_t& held : frames) {
        if (held == frame) {
            held = -1;
        }
    }
}

bool ReferencePictures::CanPassOver(int32_t frame, int32_t nextAnchor) const {
    return frame == Newer() || (frame == Older() && nextAnchor >= 0 && nextAnchor == Newer());
}

} // namespace Vorn::Vorncast::Decoders
