#include "formats/DecodeGenericJPEG.h"

#include "formats/shared/JpegStartScan.h"

namespace Vorn::Vorncast::Decoders {

void DecodeGenericJPEG::ForgetRecording() {
    ForgetFile();
    frameList.Clear();
    scanOffset = 0;
    imageValid = false;
}

// ---- loading ----

DecoderAction DecodeGenericJPEG::LoadingCore() {
    return ScanLoadedFile(ScanBlockSize, &DecodeGenericJPEG::OnBlock,
                          "DecodeGenericJPEG::LoadingOpenComplete failed with bad fileId or fileSize\n",
                          "DecodeGenericJPEG::LoadingReadComplete failed with bad result\n");
}

// The whole capacity is scanned, also behind a short last read: the bytes there are left over
// from the block before, and a marker among them gives a frame beyond the end of the file.
DecoderAction DecodeGenericJPEG::OnBlock(ByteView) {
    ScanJpegStarts(readBuffer.View(), static_cast<uint64_t>(scanOffset), [this](uint64_t offset) {
        FrameInfo frame{};
        frame.offset = offset;
        frameList.Append(frame);
    });
    // The capacity stays at a full block once reached: the last read is the one whose offset
    // reaches the last full block of the file.
    if (scanOffset >= fileSize - static_cast<int64_t>(readBuffer.Capacity())) {
        return FinishScan();
    }
    scanOffset += ScanBlockSize;
    return ReadNextBlock();
}

DecoderAction DecodeGenericJPEG::FinishScan() {
    if (frameList.Count() == 0) {
        ReportProgress(1.0);
        return Fail("DecodeGenericJPEG::LoadingReadComplete failed with no frames detected\n");
    }
    SizeJpegFrames(frameList, fileSize);
    ReportProgress(1.0);
    totalFrames = frameList.Count();
    return ReadFrame(0, &DecodeGenericJPEG::OnFirstFrame,
                     "DecodeGenericJPEG::LoadingReadComplete failed with bad result\n");
}

DecoderAction DecodeGenericJPEG::OnFirstFrame(ByteView) {
    int32_t width = 0, height = 0, planes = 0;
    if (!JpegReadHeader(readBuffer.Data(), static_cast<int32_t>(readBuffer.Capacity()), &width, &height,
                        &planes)) {
        return Fail("DecompressGenericJPEG failed to decode first frame header.\n");
    }
    imageWidth = width;
    imageHeight = height;
    colour = planes == 3;
    SetTimeSpan(0, 0);
    frameList.AssignUniformStreamTimes();
    return DDA_COMPLETE;
}

// ---- fetching a frame ----

DecoderAction DecodeGenericJPEG::DecompressingCore() {
    return ReadFrame(currentFrame, &DecodeGenericJPEG::OnFrame,
                     "DecodeGenericJPEG::DecompressingReadComplete failed with bad result\n");
}

DecoderAction DecodeGenericJPEG::OnFrame(ByteView) {
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
        Log(LogCore, "Bad image %d\n", currentFrame);
        return false;
    }
    return true;
}

} // namespace Vorn::Vorncast::Decoders
