#include "formats/uvms/DecodeUVMS.h"

#include "model/support/LogLevels.h"

#include <cstring>

namespace Vorn::Vorncast::Decoders {

namespace {

// The image is read from 4 bytes before its data: a JPEG image starts there with its mark, a
// program stream 4 bytes later with its pack header.
constexpr uint64_t ImageReadOffset = 220;
constexpr uint32_t JpegMark = 0xFFD8FFE0;
constexpr uint32_t PackMark = 0x000001BA;
// The size the program stream decoder is made for.
constexpr int32_t StreamWidth = 704;
constexpr int32_t StreamHeight = 288;

} // namespace

// A frame is fetched by its channel, from the references its channel holds.
DecoderAction DecodeUVMS::DecompressingCore() {
    if (currentFrame < 0 || currentFrame >= totalFrames) {
        return DDA_COMPLETE;
    }
    UVMSInputChannel& channel = CurrentChannel();
    channel.targetFrame = merged[static_cast<size_t>(currentFrame)].second;
    if (channel.targetFrame == channel.decodedFrame) {
        return FetchDone(channel.picture, true);
    }
    auto kindAt = [&channel](int32_t frame) { return channel.KindOf(frame); };
    const int32_t start =
        IsAnchor(channel.KindOf(channel.targetFrame)) &&
                channel.references.Held(channel.targetFrame) != nullptr
            ? channel.targetFrame
            : WalkStart(channel.targetFrame, static_cast<int32_t>(channel.frames.size()), channel.references,
                        kindAt, [this] { Log(LogCore, "DecodeUVMS::FindPreviousIorP() No such frame\n"); });
    if (start < 0) {
        Log(LogCore, "DecodeUVMS:: DecompressingCore() Failed to find I-Frame\n");
        return FetchDone(nullptr, false);
    }
    return FetchFrom(start);
}

// Anchors a reference buffer holds are passed over without a read where the decoder's own
// references stay right.
DecoderAction DecodeUVMS::FetchFrom(int32_t frame) {
    UVMSInputChannel& channel = CurrentChannel();
    auto kindAt = [&channel](int32_t index) { return channel.KindOf(index); };
    const auto count = static_cast<int32_t>(channel.frames.size());
    while (IsAnchor(channel.KindOf(frame))) {
        uint8_t* held = channel.references.Held(frame);
        if (held == nullptr) {
            break;
        }
        if (frame == channel.targetFrame) {
            return FetchDone(held, true);
        }
        if (!channel.references.CanPassOver(frame, NextAnchor(frame, count, kindAt))) {
            break;
        }
        frame = NextOnWalk(frame, channel.targetFrame, kindAt);
    }
    channel.fetchFrame = frame;
    const int32_t media =
        channel.files[static_cast<size_t>(channel.frames[static_cast<size_t>(frame)].channelFile)]
            .mediaPosition;
    if (channel.openMediaPosition == media) {
        return ReadFetchFrame();
    }
    if (channel.openFileId == -1) {
        return OpenFetchFile();
    }
    return Close(channel.openFileId, &DecodeUVMS::OnFetchClosed);
}

DecoderAction DecodeUVMS::OnFetchClosed(int32_t) {
    CurrentChannel().openFileId = -1;
    CurrentChannel().openMediaPosition = -1;
    return OpenFetchFile();
}

DecoderAction DecodeUVMS::OpenFetchFile() {
    UVMSInputChannel& channel = CurrentChannel();
    const UVMSChannelFrameInfo& frame = channel.frames[static_cast<size_t>(channel.fetchFrame)];
    const int32_t media = channel.files[static_cast<size_t>(frame.channelFile)].mediaPosition;
    const std::string path = tables.mediaRoot + tables.mediaFiles[static_cast<size_t>(media)];
    channel.openMediaPosition = media;
    return Open(path.c_str(), &DecodeUVMS::OnFetchOpened, nullptr);
}

DecoderAction DecodeUVMS::OnFetchOpened(int32_t fileId, uint64_t) {
    UVMSInputChannel& channel = CurrentChannel();
    if (fileId == -1) {
        channel.openMediaPosition = -1;
        return Fail("UVMSInputChannel::DecompressingOpenComplete failing bad fileId\n");
    }
    channel.openFileId = fileId;
    return ReadFetchFrame();
}

DecoderAction DecodeUVMS::ReadFetchFrame() {
    UVMSInputChannel& channel = CurrentChannel();
    const UVMSChannelFrameInfo& frame = channel.frames[static_cast<size_t>(channel.fetchFrame)];
    return Read(channel.openFileId, frame.offset + ImageReadOffset, frame.size + 4, &DecodeUVMS::OnImage,
                "DecodeUVMS::DecompressingReadComplete failed while positioning\n");
}

DecoderAction DecodeUVMS::OnImage(ByteView bytes) {
    UVMSInputChannel& channel = CurrentChannel();
    uint8_t* output = nullptr;
    const bool good = DecodeImage(bytes, &output);
    if (!good) {
        channel.references.Forget(channel.fetchFrame);
        return FetchDone(nullptr, false);
    }
    if (channel.fetchFrame == channel.targetFrame) {
        return FetchDone(output, true);
    }
    auto kindAt = [&channel](int32_t index) { return channel.KindOf(index); };
    return FetchFrom(NextOnWalk(channel.fetchFrame, channel.targetFrame, kindAt));
}

// JPEG images go to the third picture; program stream anchors to a reference buffer, B frames to
// the third picture. Both decoders are made on first use.
bool DecodeUVMS::DecodeImage(ByteView bytes, uint8_t** output) {
    UVMSInputChannel& channel = CurrentChannel();
    const int32_t pictureSize = imageWidth * imageHeight * 3;
    if (bytes.U32BE(0) == JpegMark) {
        if (!channel.jpeg) {
            channel.jpeg = std::make_unique<JpegDecoderScratch>();
        }
        *output = channel.references.BPicture();
        return JpegDecodeToBuffer(*channel.jpeg, bytes.Data(), static_cast<int32_t>(bytes.Size()), *output,
                                  pictureSize);
    }
    if (bytes.U32BE(4) != PackMark) {
        return false;
    }
    if (!channel.mpeg) {
        channel.mpeg = std::make_unique<IppDecoderMPEG2PS>();
        channel.mpeg->Initialise(StreamWidth, StreamHeight, 3, false, nullptr, 0);
    }
    const bool anchor = IsAnchor(channel.KindOf(channel.fetchFrame));
    *output = anchor ? channel.references.DecodeAnchor(channel.fetchFrame) : channel.references.BPicture();
    return channel.mpeg->Decode(bytes.Data() + 4, static_cast<int32_t>(bytes.Size() - 4), *output,
                                pictureSize) &&
           channel.mpeg->HasNewPicture();
}

DecoderAction DecodeUVMS::FetchDone(uint8_t* picture, bool good) {
    UVMSInputChannel& channel = CurrentChannel();
    channel.picture = picture;
    channel.imageGood = good && picture != nullptr;
    channel.decodedFrame = channel.imageGood ? channel.targetFrame : -1;
    return DDA_COMPLETE;
}

bool DecodeUVMS::GetImage(int32_t bufferSize, uint8_t* buffer) {
    if (bufferSize > 0) {
        std::memset(buffer, 0, static_cast<size_t>(bufferSize));
    }
    if (currentFrame < 0 || currentFrame >= totalFrames || !CurrentChannel().imageGood) {
        return false;
    }
    const int32_t pictureSize = imageWidth * imageHeight * 3;
    if (bufferSize < pictureSize) {
        Log(LogCore, "DecodeUVMS::GetImage() uncompressed Buffer too small\n");
        return false;
    }
    std::memcpy(buffer, CurrentChannel().picture, static_cast<size_t>(pictureSize));
    return true;
}

} // namespace Vorn::Vorncast::Decoders
