#include "formats/avi/DecodeVisimetricsMPEG.h"

#include "codecs/mpeg2ps/IppDecoderMPEG2PS.h"
#include "core/framelists/StreamTimes.h"
#include "core/time/Ticks.h"
#include "formats/riff/RiffChunks.h"
#include "formats/riff/RiffHeaders.h"

#include <algorithm>
#include <cstring>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr int32_t SamplesPerAudioFrame = 1152;

} // namespace

DecodeVisimetricsMPEG::DecodeVisimetricsMPEG(const DecoderRow& row) : DecodeOctarIESS(row) {
    multiFile = false;
}

void DecodeVisimetricsMPEG::ForgetRecording() {
    DecodeOctarIESS::ForgetRecording();
    audioFrames.Clear();
    audioTaken = false;
    firstTime = 0;
    audioFileId = -1;
    audioBytes = 0;
    totalAudioFrames = 0;
    mp3.Close();
}

DecoderAction DecodeVisimetricsMPEG::ProcessFileList(FileList&) {
    const char* slash = std::strrchr(loadName, '/');
    if (slash == nullptr) {
        return Fail("DecodeVisimetricsMPEG: Decode Failure (Error processing loadName)\n");
    }
    files.Names().Add(slash + 1);
    return DDA_COMPLETE;
}

// The frames are pieces of program stream, or elementary video where they hold no packets.
std::unique_ptr<IppDecoder> DecodeVisimetricsMPEG::MakeMpeg2Decoder() {
    return std::make_unique<IppDecoderMPEG2PS>();
}

void DecodeVisimetricsMPEG::MetaDataReadParameters(uint64_t* offset, uint32_t* size) {
    StreamInfo* text = parser.GetStream(1);
    if (searchingVisi || text == nullptr || !TextFrameAt(text, offset, size)) {
        *offset = visiPosition;
        *size = VisiBytes;
    }
}

DecoderAction DecodeVisimetricsMPEG::ProcessMetaData(ByteView bytes) {
    if (!audioTaken) {
        TakeAudioStream();
    }
    if (searchingVisi) {
        return SearchVisi(bytes);
    }
    StreamInfo* text = parser.GetStream(1);
    if (text == nullptr || text->type != FourCCLE("txts") || text->frames.Count() == 0) {
        return Fail("DecodeVisimetricsMPEG: Decode Failure (the second stream is no txts stream)\n");
    }
    if (metaIndex == 0) {
        firstTime = TicksFromSystemTime(bytes.SystemTimeLE(0));
    }
    return ++metaIndex < text->frames.Count() ? DDA_READ : SpreadTimes();
}

// The audio stream's chunks are the audio frames; its format gives their samples.
void DecodeVisimetricsMPEG::TakeAudioStream() {
    audioTaken = true;
    for (int32_t index = 0; index < parser.StreamCount(); ++index) {
        StreamInfo* stream = parser.GetStream(index);
        if (stream == nullptr || stream->type != FourCCLE("auds")) {
            continue;
        }
        Log(1, "Found an audio stream in file %d\n", currentFileIndex);
        WaveFormatEx format;
        if (WaveFormatEx::Read(ByteView(stream->format.data(), stream->format.size()), &format)) {
            audioSamplesPerSecond = static_cast<int32_t>(format.samplesPerSecond);
            audioChannels = format.channels;
        }
        audioBitsPerSample = 16;
        audioFrameBytes = SamplesPerAudioFrame * 2 * std::max(audioChannels, 1);
        for (AVIMultiFileFrameInfo frame : stream->frames) {
            frame.fileIndex = currentFileIndex;
            audioFrames.Append(frame);
        }
        hasAudio = true;
        return;
    }
}

// The audio is the recording's clock: the video's frames share the time its frames take.
DecoderAction DecodeVisimetricsMPEG::SpreadTimes() {
    AVIMultiFileFrameInfoList* video = CurrentFileFrames();
    if (video == nullptr) {
        return DDA_NO_ACTION;
    }
    const int32_t videoCount = video->Count();
    const int32_t audioCount = audioFrames.Count();
    const double duration = audioCount > 0 ? static_cast<double>(audioCount) * AudioFrameTicks
                                           : parser.FrameDuration() * videoCount;
    for (int32_t index = 0; index < videoCount; ++index) {
        SetCurrentFileFrameTime(index, SaturatingAdd(firstTime, DurationTicks(duration / videoCount, index)));
    }
    int32_t index = 0;
    for (AVIMultiFileFrameInfo& frame : audioFrames) {
        frame.recordedTime = SaturatingAdd(firstTime, DurationTicks(duration / audioCount, index++));
        frame.streamTime = frame.recordedTime;
    }
    totalAudioFrames = audioCount;
    SetCurrentFileCamera(visiCamera >= 0 ? visiCamera : currentFileIndex, visiName);
    return DDA_NO_ACTION;
}

// Audio chunks the recorder wrote into the middle of a picture are cut out, heads and all; the
// pieces between them close up.
uint32_t DecodeVisimetricsMPEG::OwnFrameBytes(const AVIMultiFileFrameInfo& frame) {
    pieces.clear();
    uint64_t from = frame.offset;
    const uint64_t end = frame.offset + frame.size;
    for (const AVIMultiFileFrameInfo& audio : audioFrames) {
        const uint64_t head = audio.offset - RiffChunkHeaderSize;
        if (audio.offset < RiffChunkHeaderSize || head < from || audio.offset + audio.size > end) {
            continue;
        }
        pieces.insert(pieces.end(), readBuffer.Data() + (from - frame.offset),
                      readBuffer.Data() + (head - frame.offset));
        from = audio.offset + audio.size;
    }
    if (from == frame.offset) {
        return frame.size;
    }
    pieces.insert(pieces.end(), readBuffer.Data() + (from - frame.offset), readBuffer.Data() + frame.size);
    std::copy(pieces.begin(), pieces.end(), readBuffer.Data());
    return static_cast<uint32_t>(pieces.size());
}

FrameTimes DecodeVisimetricsMPEG::GetAudioFrameTimes() {
    FrameTimes times{};
    if (currentAudioFrame >= 0 && currentAudioFrame < audioFrames.Count()) {
        times.recordedTime = audioFrames.GetAt(currentAudioFrame).recordedTime;
        times.streamTime = times.recordedTime;
    }
    return times;
}

int32_t DecodeVisimetricsMPEG::IndexOfAudioFrameAtStreamTime(int64_t streamTime) {
    return audioFrames.IndexAtStreamTime(streamTime);
}

int32_t DecodeVisimetricsMPEG::GetAudioFrameAtOrBefore(int32_t frame, int32_t camera) {
    return GetPreviousAudioFrame(frame + 1, camera);
}

int32_t DecodeVisimetricsMPEG::GetPreviousAudioFrame(int32_t frame, int32_t) {
    return StreamTimes::PreviousIndex(frame, audioFrames.Count());
}

int32_t DecodeVisimetricsMPEG::GetNextAudioFrame(int32_t frame, int32_t) {
    return frame + 1 < audioFrames.Count() ? frame + 1 : -1;
}

DecoderAction DecodeVisimetricsMPEG::DecompressingAudioCore() {
    audioBytes = 0;
    if (currentAudioFrame < 0 || currentAudioFrame >= audioFrames.Count()) {
        Log(0,
            "\t\tDecodeVisimetricsMPEG: Decode Failure (!!!GetAudio called with an out of range value of "
            "%d)\n",
            currentAudioFrame);
        return DDA_COMPLETE;
    }
    if (audioFileId == -1) {
        return Open(files.PathAt(0), &DecodeVisimetricsMPEG::OnAudioFileOpened,
                    "DecodeVisimetricsMPEG: Decode Failure (Bad fileId in DecompressingAudioOpenComplete)\n");
    }
    return ReadAudioFrame();
}

DecoderAction DecodeVisimetricsMPEG::OnAudioFileOpened(int32_t fileId, uint64_t) {
    audioFileId = fileId;
    return ReadAudioFrame();
}

DecoderAction DecodeVisimetricsMPEG::ReadAudioFrame() {
    const AVIMultiFileFrameInfo frame = audioFrames.GetAt(currentAudioFrame);
    return Read(audioFileId, frame.offset, frame.size, &DecodeVisimetricsMPEG::OnAudioFrame,
                "DecodeVisimetricsMPEG: Decode Failure (DecompressingAudioReadComplete failed)\n");
}

DecoderAction DecodeVisimetricsMPEG::OnAudioFrame(ByteView bytes) {
    audioBytes = static_cast<uint32_t>(bytes.Size());
    return DDA_COMPLETE;
}

bool DecodeVisimetricsMPEG::GetImage(int32_t bufferSize, uint8_t* buffer) {
    if (!DecodeOctarIESS::GetImage(bufferSize, buffer)) {
        Log(0, "No frame decoded\n");
        return false;
    }
    return true;
}

bool DecodeVisimetricsMPEG::GetAudio(int32_t size, uint8_t* buffer) {
    if (audioBytes == 0 || (!mp3.IsInitialised() && !mp3.Initialise())) {
        return false;
    }
    return mp3.Decode(readBuffer.Data(), static_cast<int32_t>(audioBytes), buffer, size);
}

} // namespace Vorn::Vorncast::Decoders
