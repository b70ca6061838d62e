#include "core/decoder/BaseDecoder.h"

#include "model/support/Buffer.h"
#include "model/support/Path.h"

#include <cstring>

// The operations of each phase as BaseDecoder supplies them. A format decoder overrides those its
// file set needs; any other that is reached refuses: it logs its name, zeroes what it would give
// out (a file id to close reads -1) and fails the step.

namespace Vorn::Vorncast::Decoders {

namespace {} // namespace

void BaseDecoder::LogRefusal(const char* operation) {
    Log(LogCore, "BaseDecoder %s not implemented\n", operation);
}

DecoderAction BaseDecoder::Refuse(const char* operation) {
    LogRefusal(operation);
    return DecoderFailure();
}

void BaseDecoder::RefuseName(const char* operation, char* name) {
    LogRefusal(operation);
    std::memset(name, 0, MaxPathLength);
}

void BaseDecoder::RefuseFileToClose(const char* operation, int32_t* fileId) {
    LogRefusal(operation);
    *fileId = -1;
}

void BaseDecoder::RefuseReadParameters(const char* operation, int32_t* fileId, uint64_t* offset,
                                       uint32_t* size, uint8_t** buffer) {
    LogRefusal(operation);
    *fileId = 0;
    *offset = 0;
    *size = 0;
    *buffer = nullptr;
}

void BaseDecoder::RefuseListPath(const char* operation, char* directory, char* pattern, int32_t* depth) {
    LogRefusal(operation);
    std::memset(directory, 0, MaxPathLength);
    std::memset(pattern, 0, MaxPathLength);
    *depth = 0;
}

// The extension test: confidence 50 when the decoder knows the extension of the path, else 0.
DecoderAction BaseDecoder::QueryingCore() {
    Buffer extension = Path::GetExtension(Buffer(loadName));
    queryConfidence = IsExtension(extension.Size() > 0 ? extension.Text() : "") ? 50 : 0;
    return DDA_COMPLETE;
}

DecoderAction BaseDecoder::PositioningAudioCore() {
    return DDA_COMPLETE;
}
DecoderAction BaseDecoder::DecompressingAudioCore() {
    return Refuse("DecompressingAudioCore");
}
DecoderAction BaseDecoder::FailingCore() {
    return DDA_NO_ACTION;
}

// Querying

void BaseDecoder::QueryingGetOpenName(char* name) {
    RefuseName("QueryingGetOpenName", name);
}
DecoderAction BaseDecoder::QueryingOpenComplete(int32_t, uint64_t) {
    return Refuse("QueryingOpenComplete");
}
void BaseDecoder::QueryingGetListPath(char* directory, char* pattern, int32_t* depth) {
    RefuseListPath("QueryingGetListPath", directory, pattern, depth);
}
DecoderAction BaseDecoder::QueryingFileListComplete(bool, FileList&) {
    return Refuse("QueryingFileListComplete");
}
void BaseDecoder::QueryingGetFileToClose(int32_t* fileId) {
    RefuseFileToClose("QueryingGetFileToClose", fileId);
}
DecoderAction BaseDecoder::QueryingCloseComplete(int32_t) {
    return Refuse("QueryingCloseComplete");
}
void BaseDecoder::QueryingGetReadParameters(int32_t* fileId, uint64_t* offset, uint32_t* size,
                                            uint8_t** buffer) {
    RefuseReadParameters("QueryingGetReadParameters", fileId, offset, size, buffer);
}
DecoderAction BaseDecoder::QueryingReadComplete(int32_t, bool) {
    return Refuse("QueryingReadComplete");
}
DecoderAction BaseDecoder::QueryingEventComplete(WaitObject) {
    return DDA_NO_ACTION;
}

// Loading

void BaseDecoder::LoadingGetOpenName(char* name) {
    RefuseName("LoadingGetOpenName", name);
}
DecoderAction BaseDecoder::LoadingOpenComplete(int32_t, uint64_t) {
    return Refuse("LoadingOpenComplete");
}
void BaseDecoder::LoadingGetListPath(char* directory, char* pattern, int32_t* depth) {
    RefuseListPath("LoadingGetListPath", directory, pattern, depth);
}
DecoderAction BaseDecoder::LoadingFileListComplete(bool, FileList&) {
    return Refuse("LoadingFileListComplete");
}
void BaseDecoder::LoadingGetFileToClose(int32_t* fileId) {
    RefuseFileToClose("LoadingGetFileToClose", fileId);
}
DecoderAction BaseDecoder::LoadingCloseComplete(int32_t) {
    return Refuse("LoadingCloseComplete");
}
void BaseDecoder::LoadingGetReadParameters(int32_t* fileId, uint64_t* offset, uint32_t* size,
                                           uint8_t** buffer) {
    RefuseReadParameters("LoadingGetReadParameters", fileId, offset, size, buffer);
}
DecoderAction BaseDecoder::LoadingReadComplete(int32_t, bool) {
    return Refuse("LoadingReadComplete");
}
DecoderAction BaseDecoder::LoadingEventComplete(WaitObject) {
    return DDA_NO_ACTION;
}

// Positioning

void BaseDecoder::PositioningGetOpenName(char* name) {
    RefuseName("PositioningGetOpenName", name);
}
DecoderAction BaseDecoder::PositioningOpenComplete(int32_t, uint64_t) {
    return Refuse("PositioningOpenComplete");
}
void BaseDecoder::PositioningGetFileToClose(int32_t* fileId) {
    RefuseFileToClose("PositioningGetFileToClose", fileId);
}
DecoderAction BaseDecoder::PositioningCloseComplete(int32_t) {
    return Refuse("PositioningCloseComplete");
}
void BaseDecoder::PositioningGetReadParameters(int32_t* fileId, uint64_t* offset, uint32_t* size,
                                               uint8_t** buffer) {
    RefuseReadParameters("PositioningGetReadParameters", fileId, offset, size, buffer);
}
DecoderAction BaseDecoder::PositioningReadComplete(int32_t, bool) {
    return Refuse("PositioningReadComplete");
}
DecoderAction BaseDecoder::PositioningEventComplete(WaitObject) {
    return DDA_NO_ACTION;
}

// PositioningAudio

void BaseDecoder::PositioningAudioGetOpenName(char* name) {
    RefuseName("PositioningAudioGetOpenName", name);
}
DecoderAction BaseDecoder::PositioningAudioOpenComplete(int32_t, uint64_t) {
    return Refuse("PositioningAudioOpenComplete");
}
void BaseDecoder::PositioningAudioGetFileToClose(int32_t* fileId) {
    RefuseFileToClose("PositioningAudioGetFileToClose", fileId);
}
DecoderAction BaseDecoder::PositioningAudioCloseComplete(int32_t) {
    return Refuse("PositioningAudioCloseComplete");
}
void BaseDecoder::PositioningAudioGetReadParameters(int32_t* fileId, uint64_t* offset, uint32_t* size,
                                                    uint8_t** buffer) {
    RefuseReadParameters("PositioningAudioGetReadParameters", fileId, offset, size, buffer);
}
DecoderAction BaseDecoder::PositioningAudioReadComplete(int32_t, bool) {
    return Refuse("PositioningAudioReadComplete");
}
DecoderAction BaseDecoder::PositioningAudioEventComplete(WaitObject) {
    return DDA_NO_ACTION;
}

// Decompressing

void BaseDecoder::DecompressingGetOpenName(char* name) {
    RefuseName("DecompressingGetOpenName", name);
}
DecoderAction BaseDecoder::DecompressingOpenComplete(int32_t, uint64_t) {
    return Refuse("DecompressingOpenComplete");
}
void BaseDecoder::DecompressingGetFileToClose(int32_t* fileId) {
    RefuseFileToClose("DecompressingGetFileToClose", fileId);
}
DecoderAction BaseDecoder::DecompressingCloseComplete(int32_t) {
    return Refuse("DecompressingCloseComplete");
}
void BaseDecoder::DecompressingGetReadParameters(int32_t* fileId, uint64_t* offset, uint32_t* size,
                                                 uint8_t** buffer) {
    RefuseReadParameters("DecompressingGetReadParameters", fileId, offset, size, buffer);
}
DecoderAction BaseDecoder::DecompressingReadComplete(int32_t, bool) {
    return Refuse("DecompressingReadComplete");
}
DecoderAction BaseDecoder::DecompressingEventComplete(WaitObject) {
    return DDA_NO_ACTION;
}

// DecompressingAudio

void BaseDecoder::DecompressingAudioGetOpenName(char* name) {
    RefuseName("DecompressingAudioGetOpenName", name);
}
DecoderAction BaseDecoder::DecompressingAudioOpenComplete(int32_t, uint64_t) {
    return Refuse("DecompressingAudioOpenComplete");
}
void BaseDecoder::DecompressingAudioGetFileToClose(int32_t* fileId) {
    RefuseFileToClose("DecompressingAudioGetFileToClose", fileId);
}
DecoderAction BaseDecoder::DecompressingAudioCloseComplete(int32_t) {
    return Refuse("DecompressingAudioCloseComplete");
}
void BaseDecoder::DecompressingAudioGetReadParameters(int32_t* fileId, uint64_t* offset, uint32_t* size,
                                                      uint8_t** buffer) {
    RefuseReadParameters("DecompressingAudioGetReadParameters", fileId, offset, size, buffer);
}
DecoderAction BaseDecoder::DecompressingAudioReadComplete(int32_t, bool) {
    return Refuse("DecompressingAudioReadComplete");
}
DecoderAction BaseDecoder::DecompressingAudioEventComplete(WaitObject) {
    return DDA_NO_ACTION;
}

// Unloading

void BaseDecoder::UnloadingGetFileToClose(int32_t* fileId) {
    RefuseFileToClose("UnloadingGetFileToClose", fileId);
}
DecoderAction BaseDecoder::UnloadingCloseComplete(int32_t) {
    return Refuse("UnloadingCloseComplete");
}
DecoderAction BaseDecoder::UnloadingEventComplete(WaitObject) {
    return DDA_NO_ACTION;
}

// Failing

void BaseDecoder::FailingGetFileToClose(int32_t* fileId) {
    RefuseFileToClose("FailingGetFileToClose", fileId);
}
DecoderAction BaseDecoder::FailingCloseComplete(int32_t) {
    return Refuse("FailingCloseComplete");
}
DecoderAction BaseDecoder::FailingEventComplete(WaitObject) {
    return DDA_NO_ACTION;
}

} // namespace Vorn::Vorncast::Decoders
