#pragma once

#include "codecs/vfw/DibDriver.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libswscale/swscale.h>
}

#include <vector>

namespace Vorn::Vorncast::Decoders {

// A driver on libavcodec: the decoder is the one FFmpeg's RIFF table names for the stream's
// FourCC. Where the table says MPEG-4 part 2 or H.264, recorders are known to label one as the
// other, so the decoder is opened only at the first frame, after its start codes have been read.
class AvcodecVfwDriver final : public DibDriver {
public:
    explicit AvcodecVfwDriver(uint32_t handler);
    ~AvcodecVfwDriver() override;
    AvcodecVfwDriver(const AvcodecVfwDriver&) = delete;
    AvcodecVfwDriver& operator=(const AvcodecVfwDriver&) = delete;

    int32_t End() override;

    // The decoder the RIFF table gives for a FourCC, or AV_CODEC_ID_NONE.
    static AVCodecID CodecForFourCC(uint32_t fourCC);

protected:
    bool CanDecode() const override;
    int32_t Prepare(ByteView input) override;
    int32_t DecodeFrame(ByteView frame, uint8_t* dib) override;

private:
    bool OpenDecoder(AVCodecID id);
    AVCodecID ChooseDecoder(ByteView firstFrame) const;
    int32_t Send(ByteView frame);
    // Collects every picture the decoder has ready; the last one counts. ICERR_DONTDRAW if none.
    int32_t Receive();
    int32_t WriteDib(uint8_t* dib);
    void Release();

    uint32_t handler;
    AVCodecID tableCodec;
    std::vector<uint8_t> extradata;
    std::vector<uint8_t> packetBytes;
    AVCodecContext* context = nullptr;
    AVPacket* packet = nullptr;
    AVFrame* frame = nullptr;
    AVFrame* latest = nullptr;
    SwsContext* scaler = nullptr;
};

} // namespace Vorn::Vorncast::Decoders
