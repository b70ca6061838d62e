#include "core/decoder/ScriptedDecoder.h"

#include <algorithm>
#include <cstdio>

namespace Vorn::Vorncast::Decoders::Testing {

DecoderAction ScriptedDecoder::Start(const std::vector<Step>& steps) {
    script = &steps;
    stepIndex = 0;
    return steps.empty() ? DDA_COMPLETE : static_cast<DecoderAction>(steps[0].action);
}

DecoderAction ScriptedDecoder::Next() {
    ++stepIndex;
    if (stepIndex >= script->size()) {
        if (state == DDS_LOADING) {
            dataFile = lastOpened;
            SetImageFormat(0, 0, 4, 3, true, framesAfterLoad);
            FrameTimes first = {}, last = {};
            first.recordedTime = FrameTime(0);
            last.recordedTime = FrameTime(std::max(framesAfterLoad - 1, 0));
            SetTimeSpan(first, last);
        }
        return DDA_COMPLETE;
    }
    return Current().action == DDA_FAILED ? DecoderFailure() : static_cast<DecoderAction>(Current().action);
}

void ScriptedDecoder::Forget(int32_t fileId) {
    auto found = std::find(openFiles.begin(), openFiles.end(), fileId);
    if (found != openFiles.end()) {
        openFiles.erase(found);
    }
}

void ScriptedDecoder::OpenName(const char* phase, char* name) {
    Record(std::string(phase) + "GetOpenName");
    std::memset(name, 0, MaxPathLength);
    std::snprintf(name, MaxPathLength, "%s", Scripted() ? Current().path.c_str() : "");
}

void ScriptedDecoder::FileToClose(const char* phase, int32_t* fileId) {
    Record(std::string(phase) + "GetFileToClose");
    if (Scripted() && Current().action == DDA_CLOSE) {
        *fileId = ResolveFile(Current().fileId);
    } else {
        *fileId = openFiles.empty() ? CloseId : openFiles.back();
    }
}

void ScriptedDecoder::ReadParameters(const char* phase, int32_t* fileId, uint64_t* offset, uint32_t* size,
                                     uint8_t** buffer) {
    Record(std::string(phase) + "GetReadParameters");
    if (!Scripted()) {
        *size = 0;
        return;
    }
    const Step& step = Current();
    readBuffer.assign(std::max<size_t>(step.size, 1), 0xA5);
    *fileId = ResolveFile(step.fileId);
    *offset = static_cast<uint64_t>(step.offset);
    *size = step.size;
    *buffer = step.nullBuffer ? nullptr : readBuffer.data();
}

DecoderAction ScriptedDecoder::Completed(const std::string& operation, CallRecord record) {
    if (HasReply(operation) || script == nullptr) {
        return Answer(operation);
    }
    Record(operation);
    completions.push_back(record);
    if (record.kind == CallRecord::Open && record.fileId != -1) {
        openFiles.push_back(record.fileId);
        lastOpened = record.fileId;
    }
    if (record.kind != CallRecord::Close) {
        return Next();
    }
    Forget(record.fileId);
    if (state == DDS_UNLOADING) {
        return openFiles.empty() ? DDA_COMPLETE : DDA_CLOSE;
    }
    return state == DDS_FAILING ? DecoderFailure() : Next();
}

DecoderAction ScriptedDecoder::PictureRead(const char* phase, int32_t fileId, bool ok) {
    const std::string operation = std::string(phase) + "ReadComplete";
    if (HasReply(operation) || script == nullptr) {
        return Answer(operation);
    }
    pictureRead = ok;
    DecoderAction next = Completed(operation, {CallRecord::Read, fileId, 0, ok});
    return ok ? next : DecoderFailure();
}

DecoderAction ScriptedDecoder::Core(const char* name, const std::vector<Step>& steps) {
    if (HasReply(name) || steps.empty()) {
        return Answer(name);
    }
    Record(name);
    return Start(steps);
}

DecoderAction ScriptedDecoder::PositioningCore() {
    ++positioningCalls;
    return Core("PositioningCore", positionScript);
}

DecoderAction ScriptedDecoder::DecompressingCore() {
    ++decompressCalls;
    pictureRead = false;
    if (HasReply("DecompressingCore") || dataFile < 0) {
        return Answer("DecompressingCore");
    }
    frameScript = {Step::Read(int64_t{currentFrame} * frameSize, frameSize, dataFile)};
    return Core("DecompressingCore", frameScript);
}

DecoderAction ScriptedDecoder::UnloadingCore() {
    if (!HasReply("UnloadingCore") && closeFilesOnUnload && !openFiles.empty()) {
        Record("UnloadingCore");
        return DDA_CLOSE;
    }
    return Answer("UnloadingCore");
}

DecoderAction ScriptedDecoder::FailingCore() {
    Record("FailingCore");
    return closeFilesOnFailure && !openFiles.empty() ? DDA_CLOSE : DDA_NO_ACTION;
}

bool ScriptedDecoder::GetImage(int32_t bufferSize, uint8_t* buffer) {
    if (!pictureRead || imageFails) {
        return false;
    }
    std::memcpy(buffer, readBuffer.data(), std::min<size_t>(static_cast<size_t>(bufferSize), frameSize));
    return true;
}

FrameTimes ScriptedDecoder::GetFrameTimes() {
    FrameTimes times = {};
    size_t frame = static_cast<size_t>(currentFrame);
    times.recordedTime = frame < recordedTimes.size() ? recordedTimes[frame] : FrameTime(currentFrame);
    times.streamTime = FrameTime(currentFrame);
    return times;
}

void ScriptedDecoder::GetFrameCamera(CameraTag* camera) {
    std::memset(camera, 0, sizeof(*camera));
    size_t frame = static_cast<size_t>(currentFrame);
    camera->number = frame < cameras.size() ? cameras[frame] : 0;
}

} // namespace Vorn::Vorncast::Decoders::Testing
