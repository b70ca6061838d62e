#pragma once

#include <cstdint>
#include <memory>
#include <vector>

namespace Vorn::Vorncast {

// The pictures a stream has lent to the host's samples instead of copying them: a decoder keeps
// building on a picture, and copies it before writing only while a sample still holds it. A
// released sample gives its picture back; samples the host still holds when the stream goes keep
// their pictures, as samples with pictures of their own would.
class LentPictures {
public:
    using Picture = std::shared_ptr<std::vector<uint8_t>>;

    LentPictures() = default;
    LentPictures(const LentPictures&) = delete;
    LentPictures& operator=(const LentPictures&) = delete;
    ~LentPictures();

    // The data a sample hands out for `picture`, which is held until that sample comes back.
    uint8_t* Lend(Picture picture);
    // False when `data` is no lent picture's: the sample owns its data then.
    bool GiveBack(const uint8_t* data);

private:
    std::vector<Picture> lent;
};

} // namespace Vorn::Vorncast
