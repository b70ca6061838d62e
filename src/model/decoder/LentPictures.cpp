#include "model/decoder/LentPictures.h"

namespace Vorn::Vorncast {

LentPictures::~LentPictures() {
    for (Picture& picture : lent) {
        new Picture(std::move(picture));
    }
}

uint8_t* LentPictures::Lend(Picture picture) {
    lent.push_back(std::move(picture));
    return lent.back()->data();
}

bool LentPictures::GiveBack(const uint8_t* data) {
    for (auto held = lent.begin(); held != lent.end(); ++held) {
        if ((*held)->data() == data) {
            lent.erase(held);
            return true;
        }
    }
    return false;
}

} // namespace Vorn::Vorncast
