#include "codecs/vfw/VFWDecoder.h"

#include "core/binary/ByteOrder.h"
#include "core/decoder/BaseDecoder.h"
#include "interface/LibraryFrame.h"

#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr int LogInfo = LogEvent;

// The drivers lay beside the program.
std::string ProgramFolder() {
    char path[4096];
    ssize_t length = readlink("/proc/self/exe", path, sizeof path - 1);
    if (length <= 0) {
        return ".";
    }
    std::string folder(path, static_cast<size_t>(length));
    size_t slash = folder.find_last_of('/');
    return slash == std::string::npos ? std::string(".") : folder.substr(0, slash);
}

uint32_t FormatField(const uint8_t* format, size_t at) {
    return ByteView(format, BitmapInfoHeaderSize).U32LE(at);
}

std::unique_ptr<uint8_t[]> ZeroedBytes(size_t size) {
    return std::unique_ptr<uint8_t[]>(new (std::nothrow) uint8_t[size]());
}

} // namespace

const VFWDecoder::PrivateCodec VFWDecoder::PrivateCodecs[PrivateCodecCount] = {
    {FourCCLE("lkz0"), "LK_SN4Codec.dll"}, {FourCCLE("lkz1"), "LK_MPG4C32.dll"},
    {FourCCLE("lkz2"), "LK_ir50_32.dll"},  {FourCCLE("lkz3"), "LK_GeoCodec.dll"},
    {FourCCLE("lkz4"), "LK_GX264.dll"},    {FourCCLE("lkz5"), "LK_GXAMP4.dll"},
    {FourCCLE("lkz6"), "LK_Wavlor.dll"},   {FourCCLE("lkz7"), "LK_tjpegcodec.dll"},
};

VFWDecoder::VFWDecoder(BaseDecoder* owner, VfwDriverOpener openDriver)
    : owner(owner), openDriver(openDriver) {}

VFWDecoder::~VFWDecoder() {
    Close();
}

int32_t VFWDecoder::Initialise(uint32_t stream, const uint8_t* format, uint32_t size, uint8_t* outFormat) {
    if (initialised) {
        return 0;
    }
    // Both copies hold at least a whole header, so that a short format reads as zeroes.
    formatSize = std::max(format != nullptr ? size : 0, BitmapInfoHeaderSize);
    inputFormat = ZeroedBytes(formatSize);
    outputFormat = ZeroedBytes(formatSize);
    if (inputFormat == nullptr || outputFormat == nullptr) {
        FreeBuffers();
        return -1;
    }
    if (format != nullptr) {
        std::memcpy(inputFormat.get(), format, size);
        std::memcpy(outputFormat.get(), format, size);
    }
    fourCC = stream;
    if (IsUncompressedFourCC(fourCC)) {
        CopyFormatOut(outFormat);
        initialised = true;
        return 0;
    }
    Log(LogInfo, "Trying to locate suitable coded for FourCC: %s\n", FourCCText(fourCC).Text());
    for (const PrivateCodec& codec : PrivateCodecs) {
        if (FourCCEqualIgnoringCase(fourCC, codec.code) && TryPrivateCodec(codec)) {
            CopyFormatOut(outFormat);
            initialised = true;
            return 0;
        }
    }
    Log(LogCore, "Unable to locate suitable coded for FourCC: %s\n", FourCCText(fourCC).Text());
    return -1;
}

// True when the codec's driver is open: decoding, or unable to deliver RGB.
bool VFWDecoder::TryPrivateCodec(const PrivateCodec& codec) {
    Log(LogInfo, "Found a handler: %s\n", codec.driverFile);
    Log(LogInfo, "Correct FourCC for this format is: %s\n",
        FourCCText(FormatField(inputFormat.get(), BitmapCompressionOffset)).Text());
    if (!OpenDriver(codec)) {
        return false;
    }
    std::memset(outputFormat.get(), 0, formatSize);
    CheckResult(driver->GetFormat(inputFormat.get(), formatSize, outputFormat.get()),
                ICM_DECOMPRESS_GET_FORMAT);
    if (FormatField(outputFormat.get(), BitmapCompressionOffset) != BI_RGB) {
        Log(LogCore, "VFW decoder doesn't support RGB output\n");
        return true;
    }
    if (!BeginDecompression()) {
        return false;
    }
    Log(LogInfo, "Found suitable codec for fourCC %s\n", FourCCText(fourCC).Text());
    return true;
}

bool VFWDecoder::OpenDriver(const PrivateCodec& codec) {
    IcOpen open;
    open.fccHandler = FormatField(inputFormat.get(), BitmapCompressionOffset);
    driverPath = ProgramFolder() + "/" + codec.driverFile;
    driver = openDriver(driverPath.c_str(), open);
    if (driver == nullptr) {
        Log(LogCore, "Failed to open driver: %s\n", driverPath.c_str());
        return false;
    }
    Log(LogInfo, "Driver opened: %s\n", driverPath.c_str());
    return true;
}

bool VFWDecoder::BeginDecompression() {
    int32_t result = driver->Begin(inputFormat.get(), outputFormat.get(), formatSize);
    if (result != ICERR_OK) {
        Log(LogCore, "Decompress Begin returned : %d\n", result);
    }
    uint32_t imageSize = FormatField(outputFormat.get(), BitmapSizeImageOffset);
    if (CheckResult(result, ICM_DECOMPRESS_BEGIN)) {
        outputBuffer = ZeroedBytes(std::max<uint32_t>(imageSize, 1));
        if (outputBuffer != nullptr) {
            begun = true;
            return true;
        }
    }
    Log(LogCore, "Error in DECOMPRESS_BEGIN\n");
    if (!driver->Close()) {
        Log(LogCore, "Error closing driver %s.\n", driverPath.c_str());
    }
    driver.reset();
    return false;
}

int32_t VFWDecoder::Decompress(const uint8_t* data, uint32_t size, uint8_t* outFormat, uint8_t* outBuffer,
                               uint32_t outBufferSize, uint32_t flags, uint32_t frame) {
    if (outBuffer == nullptr) {
        return data != nullptr ? NoOutputBuffer : NoDataNoOutputBuffer;
    }
    if (data == nullptr) {
        return NoData;
    }
    if (IsUncompressed()) {
        CopyFormatOut(outFormat);
        std::memcpy(outBuffer, data, std::min(size, outBufferSize));
        return 0;
    }
    if (!begun) {
        return NotBegun;
    }
    Store<uint32_t, ByteOrder::Little>(inputFormat.get() + BitmapSizeImageOffset, size);
    decompress = IcDecompress{flags, inputFormat.get(), data, outputFormat.get(), outputBuffer.get(), frame};
    int32_t result = driver->Decompress(decompress);
    if (result != ICERR_OK) {
        Log(LogCore, "Decompress returned : %d\n", result);
    }
    uint32_t imageSize = OutputImageSize();
    if (CheckResult(result, ICM_DECOMPRESS) && imageSize <= outBufferSize) {
        CopyFormatOut(outFormat);
        std::memcpy(outBuffer, outputBuffer.get(), imageSize);
        return 0;
    }
    std::memset(outBuffer, 0, outBufferSize);
    return DecompressFailed;
}

void VFWDecoder::Close() {
    if (begun) {
        int32_t result = driver->End();
        if (result != ICERR_OK) {
            Log(LogCore, "Decompress End returned : %d\n", result);
        }
        if (!CheckResult(result, ICM_DECOMPRESS_END)) {
            Log(LogCore, "Error in DECOMPRESS_END\n");
        }
    }
    if (driver != nullptr && !driver->Close()) {
        Log(LogCore, "Error closing driver.\n");
    }
    driver.reset();
    FreeBuffers();
    begun = false;
    initialised = false;
}

uint32_t VFWDecoder::OutputImageSize() const {
    return outputFormat != nullptr ? FormatField(outputFormat.get(), BitmapSizeImageOffset) : 0;
}

void VFWDecoder::CopyFormatOut(uint8_t* outFormat) const {
    if (outFormat == nullptr || outputFormat == nullptr) {
        return;
    }
    // The format's first word is its length.
    uint32_t length = std::min({FormatField(outputFormat.get(), 0), formatSize, CallerFormatBytes});
    std::memcpy(outFormat, outputFormat.get(), length);
}

bool VFWDecoder::CheckResult(int32_t result, VfwMessage message) {
    const char* name = result != ICERR_OK ? VfwResultName(result) : nullptr;
    if (name != nullptr) {
        Log(result == ICERR_DONTDRAW ? LogInfo : LogCore, "%s\n", name);
    }
    return VfwResultIsGood(result, message);
}

void VFWDecoder::FreeBuffers() {
    outputBuffer.reset();
    inputFormat.reset();
    outputFormat.reset();
    formatSize = 0;
}

void VFWDecoder::Log(int level, const char* format, ...) {
    char text[BaseDecoder::LogBufferSize];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    if (owner != nullptr) {
        owner->Log(level, "%s", text);
    } else {
        Vorncast::Log(__FILE__, __LINE__, level, "%s", text);
    }
}

} // namespace Vorn::Vorncast::Decoders
