#pragma once

#include "codecs/vfw/VfwDriver.h"
#include "codecs/vfw/VfwTypes.h"

#include <cstdint>
#include <memory>
#include <string>

namespace Vorn::Vorncast::Decoders {

class BaseDecoder;

// The bridge to video decompressors for AVI streams in private codecs. A stream is opened under
// one of the private codes of `PrivateCodecs` (the AVI layer has replaced the file's FourCC by
// one) and decoded through driver messages; its pictures come out as 24-bit blue-first DIBs,
// bottom-up, of the size the output format gives (CopyDibTopDown of DibPicture.h turns them into
// the library's layout). The FourCCs 0 and "RGB2" mean uncompressed frames, which are copied.
//
// Texts go to the owning decoder's log, or to the library's log without an owner.
class VFWDecoder {
public:
    struct PrivateCodec {
        uint32_t code;
        const char* driverFile;
    };
    static constexpr int PrivateCodecCount = 8;
    static const PrivateCodec PrivateCodecs[PrivateCodecCount];

    // Results of Decompress besides 0.
    static constexpr int32_t DecompressFailed = -100;
    static constexpr int32_t NotBegun = -401;
    static constexpr int32_t NoData = -402;
    static constexpr int32_t NoOutputBuffer = -403;
    static constexpr int32_t NoDataNoOutputBuffer = -404;

    // `outFormat` buffers of the caller take a BITMAPINFOHEADER: at most this many bytes.
    static constexpr uint32_t CallerFormatBytes = BitmapInfoHeaderSize;

    explicit VFWDecoder(BaseDecoder* owner = nullptr, VfwDriverOpener openDriver = OpenCodecDriver);
    ~VFWDecoder();
    VFWDecoder(const VFWDecoder&) = delete;
    VFWDecoder& operator=(const VFWDecoder&) = delete;

    // Opens a decompressor for the stream: 0 on success (also when the driver found cannot deliver
    // RGB; Decompress then answers NotBegun), -1 when none opens. Once it has succeeded, later
    // calls do nothing until Close. `outFormat` receives the picture format.
    int32_t Initialise(uint32_t fourCC, const uint8_t* format, uint32_t size, uint8_t* outFormat);
    // Decodes one frame into `outBuffer` (`outBufferSize` bytes) and its format into `outFormat`.
    // 0 on success; DecompressFailed with `outBuffer` zeroed when the frame fails or the picture
    // does not fit; the negative codes above for missing arguments or no decompressor.
    int32_t Decompress(const uint8_t* data, uint32_t size, uint8_t* outFormat, uint8_t* outBuffer,
                       uint32_t outBufferSize, uint32_t flags, uint32_t frame);
    // Ends decompression and closes the driver; Initialise may then run again.
    void Close();

    // FourCCs whose frames are uncompressed pictures, copied as they are.
    static bool IsUncompressedFourCC(uint32_t code) { return code == 0 || code == FourCCLE("RGB2"); }
    bool IsUncompressed() const { return initialised && IsUncompressedFourCC(fourCC); }
    bool IsBegun() const { return begun; }
    // Bytes of the picture Decompress delivers (biSizeImage of the output format).
    uint32_t OutputImageSize() const;

private:
    bool TryPrivateCodec(const PrivateCodec& codec);
    bool OpenDriver(const PrivateCodec& codec);
    bool BeginDecompression();
    void CopyFormatOut(uint8_t* outFormat) const;
    bool CheckResult(int32_t result, VfwMessage message);
    void FreeBuffers();
    void Log(int level, const char* format, ...) __attribute__((format(printf, 3, 4)));

    BaseDecoder* owner;
    VfwDriverOpener openDriver;

    std::unique_ptr<VfwDriver> driver;
    std::string driverPath;
    std::unique_ptr<uint8_t[]> outputBuffer;
    std::unique_ptr<uint8_t[]> inputFormat;
    uint32_t formatSize = 0;
    std::unique_ptr<uint8_t[]> outputFormat;
    bool begun = false;
    bool initialised = false;
    IcDecompress decompress;
    uint32_t fourCC = 0;
};

} // namespace Vorn::Vorncast::Decoders
