#pragma once

#include "core/client/ClientTypes.h"
#include "core/client/FileHandler.h"
#include "core/client/MasDigitalDecoder.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// Drives a decoder of the digital core: keeps the table of the files it opened, carries out each
// action it asks for, and loops on the caller's thread until the phase ends. File ids the decoder
// sees are positions in the file table.
class FileClient : public MasDigitalDecoder {
public:
    static constexpr int32_t MaxOpenFiles = 2048;

    FileClient();
    // Frees the wait object list; files the caller left open are closed without a word.
    ~FileClient() override;

    void SetStatusCallback(StatusCallback callback) { statusCallback = callback; }
    void SetListCallback(CoreListCallback callback) { listCallback = callback; }
    using MasDigitalDecoder::SetLogCallback;
    using MasDigitalDecoder::SetProgressCallback;

    // Opens `path` with the decoder of `guid` and runs its query. The decoder is left holding no
    // files, as far as it follows the protocol.
    FileClientResult OpenForQuery(const Guid& guid, int32_t flags, const char* path, ImageInfo* image,
                                  AudioInfo* audio, TrackTimes* span, int32_t* totalFrames,
                                  int32_t* totalAudioFrames, int64_t* duration, bool* hasVideo,
                                  bool* hasAudio, int32_t* reserved, int32_t* confidence);
    FileClientResult OpenForLoad(const Guid& guid, int32_t flags, const char* path, ImageInfo* image,
                                 AudioInfo* audio, TrackTimes* span, int32_t* totalFrames,
                                 int32_t* totalAudioFrames, int64_t* duration, bool* hasAudio);

    // Positions on `frame` and, with a buffer, decompresses it into the buffer; with `shared` too,
    // a decoder that shares its picture hands it over there instead, and the buffer is left as it
    // was. `name` may be null, else it takes CameraNameLength bytes.
    FileClientResult GetFrame(int32_t frame, FrameTimes* times, int32_t bufferSize, uint8_t* buffer,
                              int64_t* duration, int32_t* totalFrames, uint64_t* framePeriod, int32_t* camera,
                              char* name, SharedPicture* shared = nullptr);
    // Positions on `frame` without a range test. `lastFrameTime` gets the recorded time of the last
    // frame whatever the outcome; `framePeriod` is left untouched.
    FileClientResult GetFrameInfo(int32_t frame, FrameTimes* times, int64_t* lastFrameTime,
                                  int32_t* totalFrames, uint64_t* framePeriod, int32_t* camera, char* name);
    FileClientResult GetAudioFrame(int32_t frame, FrameTimes* times, int32_t bufferSize, uint8_t* buffer,
                                   int32_t* frameBytes, int32_t* totalAudioFrames, int32_t* camera,
                                   char* name);
    FileClientResult GetAudioFrameInfo(int32_t frame, FrameTimes* times, int32_t* totalAudioFrames,
                                       int32_t* unused, int32_t* camera, char* name);
    using MasDigitalDecoder::GetAudioFrameInfo;
    using MasDigitalDecoder::GetFrameInfo;

    // Unloads the decoder; on a clean unload closes whatever files the decoder left open.
    bool Close();

    // The executors: each carries out one action and returns the action the decoder gives next.
    DecoderAction ExecuteOpen();
    DecoderAction ExecuteClose();
    DecoderAction ExecuteRead();
    DecoderAction ExecuteList();
    DecoderAction ExecuteEvent();

    // A guard for tools and tests that drive decoders over damaged input: with a limit above 0, a
    // client operation whose loop carries out more actions than that fails the decoder's phase and
    // ends as a catastrophic failure, so that a decoder that never ends its phase cannot hang the
    // caller. 0, the default, sets no limit.
    void SetActionLimit(int64_t limit) { actionLimit = limit; }
    // File, list and wait actions carried out by the last loop, and whether it ran into the limit.
    int64_t LastActionCount() const { return actionCount; }
    bool ActionLimitReached() const { return actionLimitReached; }

    // Whether the failure under way is of the catastrophic kind.
    bool IsCatastrophic() const { return catastrophic; }
    int32_t OpenFileCount() const;
    // The open file with this id, or null.
    FileHandler* GetFile(int32_t fileId) const;
    int32_t GetWaitObjectListCount() const { return waitObjectCount; }

private:
    // What a phase's DDA_COMPLETE does the first time in a loop.
    enum class FollowUp { None, Decompress, DecompressAudio };

    // Where an open writes what it found; null members are skipped.
    struct OpenOutputs {
        ImageInfo* image;
        AudioInfo* audio;
        TrackTimes* span;
        int32_t* totalFrames;
        int32_t* totalAudioFrames;
        int64_t* duration;
        bool* hasVideo;
        bool* hasAudio;
    };

    FileClientResult RunLoop(DecoderAction action, FollowUp followUp, const char* failureText);
    // Counts one more action of the loop; false once the action limit is passed.
    bool CountAction();
    DecoderAction GiveUp();
    void PrepareOpen(const Guid& guid, const char* path);
    void ClearOpenOutputs(const OpenOutputs& out);
    void FillOpenOutputs(const OpenOutputs& out);
    // With somewhere to put it, takes the decoder's shared picture of the current frame.
    bool HandOverPicture(SharedPicture* shared);
    void CopyFrameReport(const FrameTimes& reported, const CameraTag& camera, FrameTimes* times,
                         int32_t* cameraNumber, char* name);
    void LogFrameFailure(FileClientResult result, const char* normalText, const char* catastrophicText);
    // Closes every file still open, each with a log line: a decoder that forgets a file is a
    // logged fault and no leak.
    void SweepFiles();
    void Log(int32_t severity, const char* format, ...) __attribute__((format(printf, 3, 4)));

    FileHandler* files[MaxOpenFiles] = {};
    uint32_t lastFileSize = 0;
    bool catastrophic = false;
    int32_t waitObjectCount = 0;
    WaitObject* waitObjects = nullptr;
    StatusCallback statusCallback = nullptr;
    CoreListCallback listCallback = nullptr;
    int64_t actionLimit = 0;
    int64_t actionCount = 0;
    bool actionLimitReached = false;
};

} // namespace Vorn::Vorncast::Decoders
