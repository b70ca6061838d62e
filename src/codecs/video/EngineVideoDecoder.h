#pragma once

#include "codecs/video/BgrPictureWriter.h"
#include "codecs/video/IppDecoder.h"
#include "codecs/video/VideoEngine.h"

#include <cstdint>
#include <memory>

namespace Vorn::Vorncast::Decoders {

// The adapter shape that all engine-backed video decoders share: the output check, the engine's
// input, the engine call and the conversion of its picture into the caller's buffer. Subclasses
// name the engine and refine the steps where their codec needs it.
class EngineVideoDecoder : public IppDecoder {
public:
    using IppDecoder::Decode;
    using IppDecoder::Initialise;

    // Needs three channels and the picture size, and opens the engine with `config` as its
    // configuration. A second call starts the engine afresh.
    bool Initialise(int32_t width, int32_t height, int32_t channels, bool lineDoubling, const uint8_t* config,
                    int32_t configSize) override;
    void Reset() override;
    void Release() override;
    bool Decode(const uint8_t* input, int32_t size, uint8_t* output, int32_t outputSize) override;
    bool DecodeSkippingPicture(const uint8_t* input, int32_t size) override;
    int32_t GetFrameType() const override { return frameType; }
    bool HasNewPicture() const override { return newPicture; }

    // The picture of the last DecodeSkippingPicture, kept aside for a later WritePicture: it shares
    // the engine's frame instead of copying it, so a decoder that walks several frames converts
    // only the one it shows, straight into its caller's buffer. Null when that decode gave none.
    using KeptPicture = std::shared_ptr<const AVFrame>;
    KeptPicture KeepPicture() const;
    bool WritePicture(const KeptPicture& picture, uint8_t* output, int32_t outputSize);

protected:
    EngineVideoDecoder(const char* adapterName, VideoCodec codec, bool decodingOrderOutput);

    // Logs a failed engine step in the words of this adapter's engine.
    virtual void LogEngineFailure(int32_t status) const = 0;
    // False when the output cannot take a picture of the present size. Logs
    // "<adapter>::Decode bad output buffer\n" unless the adapter fails silently.
    virtual bool CheckOutput(const uint8_t* input, int32_t size, const uint8_t* output, int32_t outputSize);
    // Configuration bytes in the form the engine takes them.
    virtual bool OpenEngine(ByteView config);
    // Places the access unit into the engine's input; a negative engine status when it cannot.
    virtual int32_t PrepareInput(ByteView accessUnit);
    // Called with each picture's size before it is written; an adapter that takes its size from
    // the stream adopts it here.
    virtual void AdoptPictureSize(int32_t /*pictureWidth*/, int32_t /*pictureHeight*/) {}

    // Hands out the next held-back picture at the end of a walk; false when there is none left.
    bool FlushDelayed(uint8_t* output, int32_t outputSize);
    bool OutputFits(const uint8_t* output, int32_t outputSize) const;
    void LogBadOutput() const;

    const char* const adapterName;
    const VideoCodec codec;
    const bool decodingOrderOutput;
    bool logsBadOutput = true;
    VideoEngine engine;

private:
    // Gives the access unit to the engine; false, after logging why, when it cannot be taken.
    bool Feed(const uint8_t* input, int32_t size, EngineStep* step);
    bool Deliver(EngineStep step, uint8_t* output, int32_t outputSize);

    BgrPictureWriter writer;
    bool newPicture = false;
    bool skippedPicture = false;
    int32_t frameType = VideoFrameNone;
};

} // namespace Vorn::Vorncast::Decoders
