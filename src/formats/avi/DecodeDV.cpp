#include "formats/avi/DecodeDV.h"

#include "core/framelists/StreamTimes.h"
#include "formats/avi/DvTimeCode.h"

namespace Vorn::Vorncast::Decoders {

void DecodeDV::ForgetRecording() {
    frames.Clear();
    fileId = -1;
    frameCount = 0;
    imageBytes = 0;
    dvDecoder.Release();
}

DecoderAction DecodeDV::LoadingCore() {
    Reset();
    imageWidth = IppDecoderDV25::Width;
    imageHeight = IppDecoderDV25::Height50;
    colour = true;
    return Open(loadName, &DecodeDV::OnOpened,
                "DecodeDV: Decode Failure (LoadingOpenComplete called with a bad file)\n");
}

DecoderAction DecodeDV::OnOpened(int32_t newFileId, uint64_t fileSize) {
    fileId = newFileId;
    frameCount = fileSize / DvPalFrameBytes;
    return ReadNextFrame();
}

DecoderAction DecodeDV::ReadNextFrame() {
    const auto index = static_cast<uint64_t>(frames.Count());
    if (index >= frameCount) {
        return Finish();
    }
    ReportProgress(static_cast<double>(index) / static_cast<double>(frameCount));
    return TryRead(fileId, index * DvPalFrameBytes, DvPalFrameBytes, &DecodeDV::OnFrame);
}

// A frame whose time code is out of range has no time of its own.
DecoderAction DecodeDV::OnFrame(bool ok, ByteView bytes) {
    if (!ok) {
        return Fail("DecodeDV: Decode Failure (LoadingReadComplete called with result == false)\n");
    }
    FrameInfo frame{};
    frame.offset = static_cast<uint64_t>(frames.Count()) * DvPalFrameBytes;
    frame.size = DvPalFrameBytes;
    ReadDvRecordingTime(bytes, &frame.recordedTime);
    frame.streamTime = frame.recordedTime;
    frames.Append(frame);
    return ReadNextFrame();
}

DecoderAction DecodeDV::Finish() {
    totalFrames = frames.Count();
    if (totalFrames == 0) {
        return Fail("DecodeDV: Decode Failure (No frames in the frameInfoList!)\n");
    }
    SetTimeSpan(frames.GetFirstTime(), frames.GetLastTime());
    StreamTimes::AssignSpreading(frames.begin(), frames.end());
    ReportProgress(1.0);
    dvDecoder.Initialise(IppDecoderDV25::Width, IppDecoderDV25::Height50, 3, false);
    return DDA_COMPLETE;
}

DecoderAction DecodeDV::DecompressingCore() {
    imageBytes = 0;
    const FrameInfo frame = frames.GetAt(currentFrame);
    return Read(fileId, frame.offset, frame.size, &DecodeDV::OnFrameRead,
                "DecodeDV: Decode Failure (DecompressingReadComplete called with result == false)\n");
}

DecoderAction DecodeDV::OnFrameRead(ByteView bytes) {
    imageBytes = static_cast<uint32_t>(bytes.Size());
    return DDA_COMPLETE;
}

bool DecodeDV::GetImage(int32_t bufferSize, uint8_t* buffer) {
    return imageBytes > 0 &&
           dvDecoder.Decode(readBuffer.Data(), static_cast<int32_t>(imageBytes), buffer, bufferSize);
}

DecoderAction DecodeDV::FailingCloseComplete(int32_t closed) {
    const DecoderAction action = FrameListDecoder::FailingCloseComplete(closed);
    if (!HasOpenFiles()) {
        Log(0, "DecodeDV: Decode Failure (failingCloseComplete - final call to DecoderFailure())\n");
    }
    return action;
}

} // namespace Vorn::Vorncast::Decoders
