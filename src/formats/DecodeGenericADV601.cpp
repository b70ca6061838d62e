#include "formats/DecodeGenericADV601.h"

#include <algorithm>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr int32_t LogFailure = 0;

// The word after the all-ones word of a field's start: a field type, stored in either word order.
bool IsFieldTypeWord(uint32_t word) {
    return word == 0x41000000 || word == 0x40000000 || word == 0x00000040 || word == 0x00000041;
}

} // namespace

BaseDecoder* CreateDecodeGenericADV601(const DecoderRow&) {
    return new DecodeGenericADV601();
}

void DecodeGenericADV601::Reset() {
    ForgetFile();
    readBuffer.Free();
    frameList.Clear();
    readOffset = 0;
    readSize = 0;
    previousWordAllOnes = false;
    fetchedSize = 0;
    imageValid = false;
}

// ---- loading ----

DecoderAction DecodeGenericADV601::LoadingOpenComplete(int32_t newFileId, uint64_t newFileSize) {
    DecoderAction action =
        TakeOpenedFile(newFileId, newFileSize,
                       "DecodeGenericADV601::LoadingOpenComplete failed with bad fileId or fileSize\n");
    if (action != DDA_READ) {
        return action;
    }
    readOffset = 0;
    previousWordAllOnes = false;
    readSize = static_cast<uint32_t>(std::min<int64_t>(ScanBlockSize, fileSize));
    return DDA_READ;
}

void DecodeGenericADV601::LoadingGetReadParameters(int32_t* outFileId, uint64_t* offset, uint32_t* size,
                                                   uint8_t** buffer) {
    *outFileId = fileId;
    *offset = static_cast<uint64_t>(readOffset);
    *size = readSize;
    readBuffer.Resize(readSize);
    *buffer = readBuffer.Data();
    ReportProgress(static_cast<double>(readOffset) / static_cast<double>(fileSize));
}

DecoderAction DecodeGenericADV601::LoadingReadComplete(int32_t, bool ok) {
    if (!ok) {
        Log(LogFailure, "DecodeGenericADV601::LoadingReadComplete failed while loading\n");
        return DecoderFailure();
    }
    ScanBlock();
    readOffset += readSize;
    readSize = static_cast<uint32_t>(std::min<int64_t>(ScanBlockSize, fileSize - readOffset));
    // A tail of fewer than four bytes holds no word and is not read.
    if (readSize >= 4) {
        return DDA_READ;
    }
    return FinishScan();
}

void DecodeGenericADV601::ScanBlock() {
    ByteView block = readBuffer.View().Sub(0, readSize);
    for (size_t index = 0; block.Has(index, 4); index += 4) {
        uint32_t word = block.U32LE(index);
        if (previousWordAllOnes && IsFieldTypeWord(word)) {
            FrameInfo frame{};
            frame.offset = static_cast<uint64_t>(readOffset) + index - 4;
            frameList.Append(frame);
        }
        previousWordAllOnes = word == ADV601Delimiter;
    }
}

DecoderAction DecodeGenericADV601::FinishScan() {
    int32_t framesInSequence = frameList.Count();
    totalFrames = framesInSequence;
    if (framesInSequence <= 0) {
        Log(LogFailure, "DecodeGenericADV601::LoadingReadComplete failed with framesInSequence <= 0\n");
        return DecoderFailure();
    }
    if (SizeFrames() < MinGoodFrames) {
        Log(LogFailure, "DecodeGenericADV601 Insufficient good frames\n");
        return DecoderFailure();
    }
    imageWidth = ADV601FieldWidth;
    imageHeight = ADV601TallFieldHeight;
    colour = true;
    SetTimeSpan(0, 0);
    frameList.AssignStreamTimes();
    return DDA_COMPLETE;
}

int32_t DecodeGenericADV601::SizeFrames() {
    int32_t good = 0;
    uint64_t end = static_cast<uint64_t>(fileSize);
    for (int32_t index = frameList.Count() - 1; index >= 0; --index) {
        FrameInfo record = frameList.GetAt(index);
        uint64_t size = end - record.offset;
        if (size > MaxFrameSize) {
            size = MaxFrameSize;
        } else {
            ++good;
        }
        record.size = static_cast<uint32_t>(size);
        frameList.ReplaceAt(index, record);
        end = record.offset;
    }
    return good;
}

// ---- fetching a frame ----

void DecodeGenericADV601::DecompressingGetReadParameters(int32_t* outFileId, uint64_t* offset, uint32_t* size,
                                                         uint8_t** buffer) {
    ReadFrame(currentFrame, outFileId, offset, size, buffer);
    fetchedSize = *size;
}

DecoderAction DecodeGenericADV601::DecompressingReadComplete(int32_t, bool ok) {
    imageValid = ok;
    if (!ok) {
        Log(LogFailure, "DecodeGenericADV601::DecompressingReadComplete failed with bad result\n");
        return DecoderFailure();
    }
    return DDA_COMPLETE;
}

bool DecodeGenericADV601::GetImage(int32_t bufferSize, uint8_t* buffer) {
    if (!imageValid) {
        return false;
    }
    bool fits = bufferSize >= ADV601Decoder::OutputSize(true) && buffer != nullptr;
    if (!fits ||
        !fieldDecoder.Decode(true, false, readBuffer.Data(), static_cast<int32_t>(fetchedSize), buffer)) {
        imageValid = false;
        Log(LogFailure, "Bad image %d\n", currentFrame);
        return false;
    }
    return true;
}

} // namespace Vorn::Vorncast::Decoders
