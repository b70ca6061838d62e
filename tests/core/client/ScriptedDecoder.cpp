#include "core/client/ScriptedDecoder.h"

#include <strings.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace ClientTests {

DecoderAction ScriptedDecoder::Start(const std::vector<Step>& steps) {
    script = &steps;
    stepIndex = 0;
    if (steps.empty()) {
        return DDA_COMPLETE;
    }
    return static_cast<DecoderAction>(steps[0].action);
}

DecoderAction ScriptedDecoder::Next() {
    ++stepIndex;
    if (stepIndex >= script->size()) {
        if (state == DDS_LOADING) {
            dataFile = lastOpened;
            SetImageFormat(loadedWidth, loadedHeight, 4, 3, loadedColour, framesAfterLoad);
            totalAudioFrames = audioFramesAfterLoad;
            FrameTimes first = {}, last = {};
            first.recordedTime = FrameTime(0);
            last.recordedTime = FrameTime(std::max(framesAfterLoad - 1, 0));
            SetTimeSpan(first, last);
        }
        return DDA_COMPLETE;
    }
    if (Current().action == DDA_FAILED) {
        return DecoderFailure();
    }
    return static_cast<DecoderAction>(Current().action);
}

void ScriptedDecoder::Forget(int32_t fileId) {
    auto found = std::find(openFiles.begin(), openFiles.end(), fileId);
    if (found != openFiles.end()) {
        openFiles.erase(found);
    }
}

void ScriptedDecoder::StepOpenName(char* name) {
    std::memset(name, 0, MaxPathLength);
    std::strncpy(name, Current().path.c_str(), MaxPathLength - 1);
}

void ScriptedDecoder::StepFileToClose(int32_t* fileId) {
    *fileId = ResolveFile(Current().fileId);
}

void ScriptedDecoder::ReadParameters(int32_t* fileId, uint64_t* offset, uint32_t* size, uint8_t** buffer) {
    const Step& step = Current();
    readBuffer.assign(std::max<size_t>(step.size, 1), 0xA5);
    *fileId = ResolveFile(step.fileId);
    *offset = static_cast<uint64_t>(step.offset);
    *size = step.size;
    *buffer = step.nullBuffer ? nullptr : readBuffer.data();
}

DecoderAction ScriptedDecoder::OnOpen(int32_t fileId, uint64_t size) {
    completions.push_back({CallRecord::Open, fileId, size});
    if (fileId != -1) {
        openFiles.push_back(fileId);
        lastOpened = fileId;
    }
    return Next();
}

DecoderAction ScriptedDecoder::OnClose(int32_t fileId) {
    completions.push_back({CallRecord::Close, fileId});
    Forget(fileId);
    return Next();
}

DecoderAction ScriptedDecoder::OnRead(int32_t fileId, bool ok) {
    completions.push_back({CallRecord::Read, fileId, 0, ok});
    return Next();
}

void ScriptedDecoder::LoadingGetListPath(char* directory, char* pattern, int32_t* depth) {
    std::memset(directory, 0, MaxPathLength);
    std::memset(pattern, 0, MaxPathLength);
    std::strncpy(directory, Current().directory.c_str(), MaxPathLength - 1);
    std::strncpy(pattern, Current().pattern.c_str(), MaxPathLength - 1);
    *depth = Current().depth;
}

DecoderAction ScriptedDecoder::LoadingFileListComplete(bool ok, FileList& fileList) {
    std::string joined;
    for (int32_t index = 0; index < fileList.Count(); ++index) {
        joined += fileList.GetAt(index);
        joined += '|';
    }
    completions.push_back({CallRecord::List, 0, 0, ok, joined});
    return Next();
}

DecoderAction ScriptedDecoder::LoadingEventComplete(WaitObject signalled) {
    completions.push_back({CallRecord::Event, 0, 0, false, {}, signalled});
    return Next();
}

DecoderAction ScriptedDecoder::QueryingCore() {
    if (queryScript.empty()) {
        return BaseDecoder::QueryingCore();
    }
    queryConfidence = 80;
    return Start(queryScript);
}

DecoderAction ScriptedDecoder::PositioningCore() {
    ++positioningCalls;
    return Start(positionScript);
}

DecoderAction ScriptedDecoder::DecompressingCore() {
    ++decompressCalls;
    pictureRead = false;
    if (!decompressScript.empty()) {
        return Start(decompressScript);
    }
    frameScript = {Step::Read(int64_t{currentFrame} * frameSize, frameSize, dataFile)};
    return Start(frameScript);
}

DecoderAction ScriptedDecoder::DecompressingReadComplete(int32_t fileId, bool ok) {
    pictureRead = ok;
    DecoderAction next = OnRead(fileId, ok);
    return ok ? next : DecoderFailure();
}

DecoderAction ScriptedDecoder::DecompressingAudioCore() {
    ++audioDecompressCalls;
    pictureRead = false;
    frameScript = {Step::Read(int64_t{currentAudioFrame} * audioFrameBytes,
                              static_cast<uint32_t>(audioFrameBytes), dataFile)};
    return Start(frameScript);
}

DecoderAction ScriptedDecoder::DecompressingAudioReadComplete(int32_t fileId, bool ok) {
    pictureRead = ok;
    DecoderAction next = OnRead(fileId, ok);
    return ok ? next : DecoderFailure();
}

bool ScriptedDecoder::GetImage(int32_t bufferSize, uint8_t* buffer) {
    if (!pictureRead || imageFails) {
        return false;
    }
    std::memcpy(buffer, readBuffer.data(), std::min<size_t>(static_cast<size_t>(bufferSize), frameSize));
    return true;
}

bool ScriptedDecoder::GetAudio(int32_t size, uint8_t* buffer) {
    if (!pictureRead) {
        return false;
    }
    std::memcpy(buffer, readBuffer.data(),
                std::min<size_t>(static_cast<size_t>(size), static_cast<size_t>(audioFrameBytes)));
    return true;
}

int32_t ScriptedDecoder::GetPreviousFrame(int32_t frame, int32_t filter) {
    for (int32_t index = std::min(frame - 1, totalFrames - 1); index >= 0; --index) {
        uint16_t camera = static_cast<size_t>(index) < cameras.size() ? cameras[index] : 0;
        if (camera == filter) {
            return index;
        }
    }
    return -1;
}

int32_t ScriptedDecoder::GetNextFrame(int32_t frame, int32_t filter) {
    for (int32_t index = std::max(frame + 1, 0); index < totalFrames; ++index) {
        uint16_t camera = static_cast<size_t>(index) < cameras.size() ? cameras[index] : 0;
        if (camera == filter) {
            return index;
        }
    }
    return -1;
}

bool ScriptedDecoder::IsExtension(const char* extension) {
    return strcasecmp(extension, "tst") == 0;
}

FrameTimes ScriptedDecoder::GetFrameTimes() {
    FrameTimes times = {};
    size_t frame = static_cast<size_t>(currentFrame);
    times.recordedTime = frame < recordedTimes.size() ? recordedTimes[frame] : FrameTime(currentFrame);
    times.streamTime = FrameTime(currentFrame);
    return times;
}

FrameTimes ScriptedDecoder::GetAudioFrameTimes() {
    FrameTimes times = {};
    times.recordedTime = FrameTime(currentAudioFrame) + 1;
    times.streamTime = times.recordedTime;
    return times;
}

void ScriptedDecoder::GetFrameCamera(CameraTag* camera) {
    std::memset(camera, 0, sizeof(*camera));
    size_t frame = static_cast<size_t>(currentFrame);
    camera->number = frame < cameras.size() ? cameras[frame] : 0;
    std::snprintf(camera->name, sizeof(camera->name), "Camera %u", static_cast<unsigned>(camera->number));
}

void ScriptedDecoder::GetAudioFrameCamera(CameraTag* camera) {
    std::memset(camera, 0, sizeof(*camera));
    std::snprintf(camera->name, sizeof(camera->name), "Microphone");
}

DecoderAction ScriptedDecoder::UnloadingCore() {
    if (closeFilesOnUnload && !openFiles.empty()) {
        return DDA_CLOSE;
    }
    return DDA_COMPLETE;
}

DecoderAction ScriptedDecoder::UnloadingCloseComplete(int32_t fileId) {
    completions.push_back({CallRecord::Close, fileId});
    Forget(fileId);
    return openFiles.empty() ? DDA_COMPLETE : DDA_CLOSE;
}

DecoderAction ScriptedDecoder::FailingCore() {
    if (closeFilesOnFailure && !openFiles.empty()) {
        return DDA_CLOSE;
    }
    return DDA_NO_ACTION;
}

DecoderAction ScriptedDecoder::FailingCloseComplete(int32_t fileId) {
    completions.push_back({CallRecord::Close, fileId});
    Forget(fileId);
    return DecoderFailure();
}

} // namespace ClientTests
