#pragma once

#include "formats/shared/LoadingDelegate.h"
#include "formats/uvms/UvmsTypes.h"

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Vorn::Vorncast::Decoders {

class DecodeUVMS;

// What the stages of a load share: the configuration, the media files and the channels.
struct UVMSTables {
    UVMSConfig config;
    std::string mediaRoot;               // with its final separator
    std::vector<std::string> mediaFiles; // relative to the media root, in the order listed
    std::vector<std::unique_ptr<UVMSInputChannel>> channels;

    UVMSInputChannel& ChannelOfInput(uint32_t inputNumber);
};

// The stages of a UVMS load; each borrows the decoder's tables. End runs when a stage is done.
class DecodeUVMSDelegate : public LoadingDelegate {
public:
    DecodeUVMSDelegate(DecodeUVMS& uvms, UVMSTables& tables);
    virtual void End() {}

protected:
    DecoderAction StartNext(int32_t stage);

    DecodeUVMS& uvms;
    UVMSTables& tables;
};

// Finds the configuration and the media root from an ".ocf" or from a media file.
class UVMSLoadingDelegateReadingChannelInfo : public DecodeUVMSDelegate {
public:
    using DecodeUVMSDelegate::DecodeUVMSDelegate;
    DecoderAction Start(const char* loadPath) override;
    void GetListPath(char* directory, char* mask, int32_t* depth) override;
    DecoderAction FileListComplete(bool ok, FileList& files) override;
    void GetOpenName(char* name) override;
    DecoderAction OpenComplete(int32_t fileId, uint64_t fileSize) override;
    void GetReadParameters(uint64_t* offset, uint32_t* size) override;
    DecoderAction ReadComplete(ByteView bytes) override;
    DecoderAction CloseComplete(int32_t fileId) override;
    void Reset() override;

private:
    DecoderAction WithoutConfiguration();

    std::string url, root, urlDirectory, wantedDirectory, openPath, text;
    bool openedByOcf = false;
    FileList found;
    int32_t nextFound = 0;
    uint32_t textSize = 0;
};

// Reads the header of every media file and sorts the files into channels.
class UVMSLoadingDelegateReadingFileHeaders : public DecodeUVMSDelegate {
public:
    using DecodeUVMSDelegate::DecodeUVMSDelegate;
    DecoderAction Start(const char* loadPath) override;
    void GetListPath(char* directory, char* mask, int32_t* depth) override;
    DecoderAction FileListComplete(bool ok, FileList& files) override;
    void GetOpenName(char* name) override;
    DecoderAction OpenComplete(int32_t fileId, uint64_t fileSize) override;
    void GetReadParameters(uint64_t* offset, uint32_t* size) override;
    DecoderAction ReadComplete(ByteView bytes) override;
    DecoderAction CloseComplete(int32_t fileId) override;
    void Reset() override { current = 0; }

private:
    size_t current = 0;
    uint64_t fileSize = 0;
};

// Reads the image index of each file of each channel and makes the channels' frames.
class UVMSLoadingDelegateReadingImageIndices : public DecodeUVMSDelegate {
public:
    using DecodeUVMSDelegate::DecodeUVMSDelegate;
    DecoderAction Start(const char* loadPath) override;
    void GetOpenName(char* name) override;
    void GetReadParameters(uint64_t* offset, uint32_t* size) override;
    DecoderAction ReadComplete(ByteView bytes) override;
    DecoderAction CloseComplete(int32_t fileId) override;
    void Reset() override { channel = file = 0; }

private:
    // The next channel file to read, from (channel, file) on; false when none is left.
    bool Settle();
    void AddRecord(UVMSInputChannel& owner, const UVMSChannelFile& entry, uint32_t index, ByteView record,
                   ByteView next);

    size_t channel = 0;
    size_t file = 0;
};

// Reads the header in front of every image: its time, its size and how it is compressed.
class UVMSLoadingDelegateReadingImageHeaders : public DecodeUVMSDelegate {
public:
    using DecodeUVMSDelegate::DecodeUVMSDelegate;
    DecoderAction Start(const char* loadPath) override;
    void GetOpenName(char* name) override;
    void GetReadParameters(uint64_t* offset, uint32_t* size) override;
    DecoderAction ReadComplete(ByteView bytes) override;
    DecoderAction CloseComplete(int32_t fileId) override;
    void Reset() override { channel = frame = 0; }

private:
    bool Settle();
    const UVMSChannelFile& FileOfFrame() const;

    size_t channel = 0;
    size_t frame = 0;
    int32_t openChannelFile = -1;
    size_t frameCount = 0;
    size_t framesDone = 0;
};

// The media tree of a multi-channel recorder: a configuration file in "Configs" and media files in
// two levels of six-digit directories, each of one input with its own image index. The frames of
// all inputs merge into one list by time, in display order within each input; each input decodes
// with its own codec and references.
class DecodeUVMS : public DelegatedLoadingDecoder {
public:
    explicit DecodeUVMS(const DecoderRow& row);

    bool IsExtension(const char* extension) override;
    int32_t IndexOfFrameAtStreamTime(int64_t streamTime) override;
    int32_t GetPreviousFrame(int32_t frame, int32_t camera) override;
    int32_t GetNextFrame(int32_t frame, int32_t camera) override;
    void GetCameras(uint8_t* mask) override;
    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;
    void ReportDelegateProgress(double fraction) override;

    DecoderAction StartLoadingDelegate(int32_t stage, const char* loadPath);
    // Merges the channels' frames, in display order each, by lowest time; sets the span and size.
    DecoderAction FinishMerge();

protected:
    void ForgetRecording() override;
    DecoderAction LoadingCore() override;
    DecoderAction FinishDelegatedLoad() override;
    DecoderAction PositioningCore() override;
    DecoderAction DecompressingCore() override;
    FrameTimes GetFrameTimes() override;
    void GetFrameCamera(CameraTag* camera) override;

private:
    UVMSInputChannel& CurrentChannel() {
        return *tables.channels[static_cast<size_t>(merged[static_cast<size_t>(currentFrame)].first)];
    }
    const UVMSChannelFrameInfo& MergedFrame(int32_t frame) const;
    int64_t MergedTime(int32_t channel, int32_t frame) const;
    DecoderAction FetchFrom(int32_t frame);
    DecoderAction OnFetchClosed(int32_t fileId);
    DecoderAction OpenFetchFile();
    DecoderAction OnFetchOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction ReadFetchFrame();
    DecoderAction OnImage(ByteView bytes);
    bool DecodeImage(ByteView bytes, uint8_t** output);
    DecoderAction FetchDone(uint8_t* picture, bool good);

    UVMSTables tables;
    std::vector<std::pair<int32_t, int32_t>> merged; // channel position, frame position
    UVMSLoadingDelegateReadingChannelInfo readingChannelInfo{*this, tables};
    UVMSLoadingDelegateReadingFileHeaders readingFileHeaders{*this, tables};
    UVMSLoadingDelegateReadingImageIndices readingImageIndices{*this, tables};
    UVMSLoadingDelegateReadingImageHeaders readingImageHeaders{*this, tables};
    int32_t runningStage = 0;
    double stageFractions[4] = {};
};

} // namespace Vorn::Vorncast::Decoders
