#include "formats/DecodeGenericJPEG.h"

#include "formats/shared/JpegStartScan.h"

#include <algorithm>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr int32_t LogFailure = 0;

} // namespace

BaseDecoder* CreateDecodeGenericJPEG(const DecoderRow&) {
    return new DecodeGenericJPEG();
}

void DecodeGenericJPEG::Reset() {
    ForgetFile();
    readBuffer.Free();
    frameList.Clear();
    loadingState = LS_SCANNING;
    readOffset = 0;
    imageValid = false;
}

// ---- loading ----

DecoderAction DecodeGenericJPEG::LoadingOpenComplete(int32_t newFileId, uint64_t newFileSize) {
    return TakeOpenedFile(newFileId, newFileSize,
                          "DecodeGenericJPEG::LoadingOpenComplete failed with bad fileId or fileSize\n");
}

void DecodeGenericJPEG::LoadingGetReadParameters(int32_t* outFileId, uint64_t* offset, uint32_t* size,
                                                 uint8_t** buffer) {
    if (loadingState != LS_SCANNING) {
        ReadFrame(0, outFileId, offset, size, buffer);
        return;
    }
    ReportProgress(static_cast<double>(readOffset) / static_cast<double>(fileSize));
    *outFileId = fileId;
    *offset = static_cast<uint64_t>(readOffset);
    *size = static_cast<uint32_t>(std::min<int64_t>(fileSize - readOffset, ScanBlockSize));
    readBuffer.Resize(*size);
    *buffer = readBuffer.Data();
}

DecoderAction DecodeGenericJPEG::LoadingReadComplete(int32_t, bool ok) {
    if (!ok) {
        Log(LogFailure, "DecodeGenericJPEG::LoadingReadComplete failed with bad result\n");
        return DecoderFailure();
    }
    switch (loadingState) {
    case LS_SCANNING:
        return ScanBlock();
    case LS_READING_FIRST_FRAME:
        return ReadFirstFrameHeader();
    default:
        Log(LogFailure, "LoadingReadComplete fell through switch\n");
        return DecoderFailure();
    }
}

// The whole capacity is scanned, also behind a short last read: the bytes there are left over
// from the block before, and a marker among them gives a frame beyond the end of the file.
DecoderAction DecodeGenericJPEG::ScanBlock() {
    ScanJpegStarts(readBuffer.View(), static_cast<uint64_t>(readOffset), [this](uint64_t offset) {
        FrameInfo frame{};
        frame.offset = offset;
        frameList.Append(frame);
    });
    // The capacity stays at a full block once reached: the last read is the one whose offset
    // reaches the last full block of the file.
    if (readOffset >= fileSize - static_cast<int64_t>(readBuffer.Capacity())) {
        return FinishScan();
    }
    readOffset += ScanBlockSize;
    return DDA_READ;
}

DecoderAction DecodeGenericJPEG::FinishScan() {
    if (frameList.Count() == 0) {
        Log(LogFailure, "DecodeGenericJPEG::LoadingReadComplete failed with no frames detected\n");
        ReportProgress(1.0);
        return DecoderFailure();
    }
    SizeJpegFrames(frameList, fileSize);
    ReportProgress(1.0);
    totalFrames = frameList.Count();
    loadingState = LS_READING_FIRST_FRAME;
    return DDA_READ;
}

DecoderAction DecodeGenericJPEG::ReadFirstFrameHeader() {
    int32_t width = 0, height = 0, planes = 0;
    if (!JpegReadHeader(readBuffer.Data(), static_cast<int32_t>(readBuffer.Capacity()), &width, &height,
                        &planes)) {
        Log(LogFailure, "DecompressGenericJPEG failed to decode first frame header.\n");
        return DecoderFailure();
    }
    imageWidth = width;
    imageHeight = height;
    colour = planes == 3;
    SetTimeSpan(0, 0);
    frameList.AssignUniformStreamTimes();
    return DDA_COMPLETE;
}

// ---- fetching a frame ----

void DecodeGenericJPEG::DecompressingGetReadParameters(int32_t* outFileId, uint64_t* offset, uint32_t* size,
                                                       uint8_t** buffer) {
    ReadFrame(currentFrame, outFileId, offset, size, buffer);
}

DecoderAction DecodeGenericJPEG::DecompressingReadComplete(int32_t, bool ok) {
    if (!ok) {
        Log(LogFailure, "DecodeGenericJPEG::DecompressingReadComplete failed with bad result\n");
        return DecoderFailure();
    }
    imageValid = true;
    return DDA_COMPLETE;
}

// The decoder is given the whole capacity: it stops at the frame's own end-of-image marker.
bool DecodeGenericJPEG::GetImage(int32_t bufferSize, uint8_t* buffer) {
    if (!imageValid) {
        return false;
    }
    if (!JpegDecodeToBuffer(jpegScratch, readBuffer.Data(), static_cast<int32_t>(readBuffer.Capacity()),
                            buffer, bufferSize)) {
        imageValid = false;
        Log(LogFailure, "Bad image %d\n", currentFrame);
        return false;
    }
    return true;
}

} // namespace Vorn::Vorncast::Decoders
