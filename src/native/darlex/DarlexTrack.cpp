#include "native/darlex/DarlexTrack.h"

#include "core/time/Ticks.h"
#include "interface/LibraryFrame.h"
#include "native/darlex/DarlexStream.h"

#include <cstdio>

namespace Vorn::Vorncast {
namespace {

FrameTimes TimesAt(int64_t time) {
    FrameTimes times{};
    times.recordedTime = time;
    times.streamTime = time;
    return times;
}

SystemTime CalendarOf(int64_t ticks) {
    SystemTime time{};
    Decoders::SystemTimeFromTicks(ticks, &time);
    return time;
}

} // namespace

int DarlexTrack::Load(int32_t number, const DarlexDirectory& directory, int64_t start, int64_t end,
                      const std::set<int32_t>& channels, const std::vector<std::string>& paths) {
    const SystemTime first = CalendarOf(directory.startTime);
    const SystemTime last = CalendarOf(directory.endTime);
    char text[96];
    std::snprintf(text, sizeof text, "%.2d: %.2d/%.2d/%.4d %.2d:%.2d - %.2d/%.2d/%.4d %.2d:%.2d", number,
                  first.wDay, first.wMonth, first.wYear, first.wHour, first.wMinute, last.wDay, last.wMonth,
                  last.wYear, last.wHour, last.wMinute);
    SetName(Buffer(text));
    startTime = TimesAt(directory.startTime);
    endTime = TimesAt(directory.endTime);
    for (int32_t channel : channels) {
        auto* stream = new DarlexStream(channel, start, end);
        const int status = stream->Open(paths);
        if (status != Success) {
            delete stream;
            return status;
        }
        const bool named =
            channel >= 1 && channel <= DarlexCameraNames && !directory.cameraNames[channel - 1].empty();
        std::snprintf(text, sizeof text, "Camera %d", channel);
        stream->SetName(Buffer(named ? directory.cameraNames[channel - 1].c_str() : text));
        AddStream(stream);
    }
    return Success;
}

} // namespace Vorn::Vorncast
