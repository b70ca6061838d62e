#include "model/decoder/Track.h"

#include "interface/LibraryFrame.h"

namespace Vorn::Vorncast {
namespace {
constexpr const char* SourceFile = "Decoders\\Track";
}

Track::Track() {
    SetName(Buffer(""));
}

Track::~Track() {
    for (auto* node = streams.Head(); node != nullptr; node = node->next) {
        delete node->item->Get();
    }
    streams.Clear();
}

void Track::SetName(const Buffer& text) {
    name = text;
    nameSize = text.TerminatedLength() + 1;
}

void Track::AddStream(Stream* stream) {
    Log(SourceFile, __LINE__, LogTrace, "Track::AddStream track 0x%x   stream0x%x\n",
        static_cast<unsigned>(Handle()), static_cast<unsigned>(stream->Handle()));
    streams.Add(Box<Stream>(stream));
    streamCount = streams.Count();
}

int Track::GetStream(int32_t number, Stream** out) {
    if (number < 0 || number >= streams.Count()) {
        return SetLastError(InvalidArgument, SourceFile, __LINE__, "streamNumber");
    }
    if (out == nullptr) {
        return SetLastError(InvalidArgument, SourceFile, __LINE__, "stream");
    }
    *out = streams.GetItemPointer(number)->Get();
    return Success;
}

} // namespace Vorn::Vorncast
