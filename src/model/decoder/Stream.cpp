#include "model/decoder/Stream.h"

#include "interface/LibraryFrame.h"

namespace Vorn::Vorncast {

int Stream::ReleaseSample(Sample sample) {
    delete[] sample.uncompressedData;
    return Success;
}

void Stream::SetName(const Buffer& text) {
    name = text;
    nameSize = text.TerminatedLength() + 1;
}

} // namespace Vorn::Vorncast
