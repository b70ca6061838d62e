#include "native/dvd/DVDTrack.h"

#include "interface/LibraryFrame.h"
#include "native/dvd/DVDStream.h"
#include "native/dvd/DvdFiles.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace Vorn::Vorncast {
namespace {

constexpr const char* SourceFile = "Decoders\\DVD\\DVDTrack";

FrameTimes TimesAt(int64_t time) {
    FrameTimes times{};
    times.recordedTime = time;
    times.streamTime = time;
    return times;
}

} // namespace

int DVDTrack::Load(DVDDecoder* owner, const std::vector<std::string>& files, IndexProgress progress,
                   AbortOperation abort) {
    fileSet.clear();
    for (const std::string& path : files) {
        fileSet += (fileSet.empty() ? "" : ";") + path;
    }
    if (files.empty() || file.Open(fileSet.c_str()) != Success) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure, "DVDTrack::Load > Failed to open ffmpegfile");
    }
    int status = vobuIndex.Load(files.front().c_str(), &file.Composite(), progress, abort);
    if (status == UserAborted) {
        return status;
    }
    if (status != Success || vobuIndex.FirstLoaded() < 0) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure, "DVDTrack::Load > Failed to load vobu index");
    }
    if (!file.OpenInput()) {
        Log(SourceFile, __LINE__, LogCore, "DVDTrack > failed to open files\n");
        return DvdFail(SourceFile, __LINE__, GeneralFailure, "DVDTrack::Load > Failed to open files");
    }
    if (!file.FindStreamInfo()) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure, "DVDTrack > failed to get format info\n");
    }
    status = OpenStreams(owner, abort);
    // The streams read through chains of their own; the track keeps its chain for the index.
    file.Close();
    if (status != Success) {
        return status;
    }
    startTime = TimesAt(vobuIndex.Entry(vobuIndex.FirstLoaded()).cumulativeStart);
    endTime = TimesAt(vobuIndex.Entry(vobuIndex.LastLoaded()).cumulativeEnd);
    return Success;
}

int DVDTrack::OpenStreams(DVDDecoder* owner, AbortOperation abort) {
    const auto count = static_cast<int32_t>(file.Format()->nb_streams);
    for (int32_t index = 0; index < count; ++index) {
        auto* stream = new DVDStream;
        if (stream->Initialise(&vobuIndex, owner, fileSet, index) == Success) {
            AddStream(stream);
        } else {
            delete stream;
            Log(SourceFile, __LINE__, LogEvent, "DVDTrack > Load DVDStream could not handle stream %d \n",
                index);
        }
        if (abort != nullptr && abort() != 0) {
            return DvdFail(SourceFile, __LINE__, UserAborted, "DVDTrack > User abort\n");
        }
    }
    if (streamCount == 0) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure,
                       "DVDTrack > Load - could not load any streams\n");
    }
    return Success;
}

void DVDTrack::Close() {
    for (auto* node = streams.Head(); node != nullptr; node = node->next) {
        static_cast<DVDStream*>(node->item->Get())->Close();
    }
    file.Close();
}

} // namespace Vorn::Vorncast
