#include "formats/avi/DecodeDV25AVI.h"

#include "codecs/video/IppDecoderDV25.h"
#include "formats/avi/DvTimeCode.h"

namespace Vorn::Vorncast::Decoders {

void DecodeDV25AVI::ForgetRecording() {
    BaseAVIDecoder::ForgetRecording();
    hasTimeStamps = false;
    hasCameraInfo = false;
    metaFrame = 0;
}

void DecodeDV25AVI::SetupCamera(PerCameraDatum& camera) {
    camera.fourCC = FourCCLE("dvsd");
    camera.width = IppDecoderDV25::Width;
    camera.height = IppDecoderDV25::Height50;
    camera.decodedImage.assign(static_cast<size_t>(camera.width * camera.height * 3), 0);
}

bool DecodeDV25AVI::ValidateFourCC(uint32_t code) {
    return code == FourCCLE("DVSD") || code == FourCCLE("dvsd");
}

// The start of each frame in turn, where the subcode lies.
void DecodeDV25AVI::MetaDataReadParameters(uint64_t* offset, uint32_t* size) {
    AVIMultiFileFrameInfoList* frames = CurrentFileFrames();
    if (frames == nullptr || metaFrame >= frames->Count()) {
        *offset = 0;
        *size = 1;
        return;
    }
    const AVIMultiFileFrameInfo frame = frames->GetAt(metaFrame);
    *offset = frame.offset;
    *size = std::min(frame.size, DvTimeCodeBytes);
}

// A frame whose time code reads takes it as its time; the others keep theirs.
DecoderAction DecodeDV25AVI::ProcessMetaData(ByteView bytes) {
    AVIMultiFileFrameInfoList* frames = CurrentFileFrames();
    if (frames == nullptr || metaFrame >= frames->Count()) {
        metaFrame = 0;
        return DDA_NO_ACTION;
    }
    AVIMultiFileFrameInfo frame = frames->GetAt(metaFrame);
    if (ReadDvRecordingTime(bytes, &frame.recordedTime)) {
        frame.streamTime = frame.recordedTime;
        frames->ReplaceAt(metaFrame, frame);
        hasTimeStamps = true;
    }
    ++metaFrame;
    if (metaFrame >= frames->Count()) {
        metaFrame = 0;
        return DDA_NO_ACTION;
    }
    return DDA_READ;
}

} // namespace Vorn::Vorncast::Decoders
