#include "formats/DecodeGenericADV601.h"

namespace Vorn::Vorncast::Decoders {

namespace {

// The word after the all-ones word of a field's start: a field type, stored in either word order.
bool IsFieldTypeWord(uint32_t word) {
    return word == 0x41000000 || word == 0x40000000 || word == 0x00000040 || word == 0x00000041;
}

} // namespace

void DecodeGenericADV601::ForgetRecording() {
    ForgetFile();
    frameList.Clear();
    scanOffset = 0;
    previousWordAllOnes = false;
    fetchedSize = 0;
    imageValid = false;
}

// ---- loading ----

DecoderAction DecodeGenericADV601::LoadingCore() {
    return ScanLoadedFile(ScanBlockSize, &DecodeGenericADV601::OnBlock,
                          "DecodeGenericADV601::LoadingOpenComplete failed with bad fileId or fileSize\n",
                          "DecodeGenericADV601::LoadingReadComplete failed while loading\n");
}

// A tail of fewer than four bytes holds no word and is not read.
DecoderAction DecodeGenericADV601::OnBlock(ByteView block) {
    ScanBlock(block);
    scanOffset += static_cast<int64_t>(block.Size());
    return fileSize - scanOffset >= 4 ? ReadNextBlock() : FinishScan();
}

void DecodeGenericADV601::ScanBlock(ByteView block) {
    for (size_t index = 0; block.Has(index, 4); index += 4) {
        uint32_t word = block.U32LE(index);
        if (previousWordAllOnes && IsFieldTypeWord(word)) {
            FrameInfo frame{};
            frame.offset = static_cast<uint64_t>(scanOffset) + index - 4;
            frameList.Append(frame);
        }
        previousWordAllOnes = word == ADV601Delimiter;
    }
}

DecoderAction DecodeGenericADV601::FinishScan() {
    int32_t framesInSequence = frameList.Count();
    totalFrames = framesInSequence;
    if (framesInSequence <= 0) {
        return Fail("DecodeGenericADV601::LoadingReadComplete failed with framesInSequence <= 0\n");
    }
    if (SizeFrames() < MinGoodFrames) {
        return Fail("DecodeGenericADV601 Insufficient good frames\n");
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

DecoderAction DecodeGenericADV601::DecompressingCore() {
    imageValid = false;
    return ReadFrame(currentFrame, &DecodeGenericADV601::OnFrame,
                     "DecodeGenericADV601::DecompressingReadComplete failed with bad result\n");
}

DecoderAction DecodeGenericADV601::OnFrame(ByteView field) {
    fetchedSize = static_cast<uint32_t>(field.Size());
    imageValid = true;
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
        Log(LogCore, "Bad image %d\n", currentFrame);
        return false;
    }
    return true;
}

} // namespace Vorn::Vorncast::Decoders
