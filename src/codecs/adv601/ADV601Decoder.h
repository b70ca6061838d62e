#pragma once

#include "codecs/adv601/ADV601Tables.h"

#include <cstdint>
#include <exception>
#include <memory>

namespace Vorn::Vorncast::Decoders {

// A damaged field. Raised deep inside the field decoder and caught by ADV601Decoder::Decode,
// which keeps the text for the caller's log.
class ADV601Exception : public std::exception {
public:
    explicit ADV601Exception(const char* message) : message(message) {}
    const char* what() const noexcept override { return message; }

private:
    const char* message;
};

// Decodes fields of the ADV601 wavelet chip: a stream of 32-bit words holding 42 Huffman-coded
// sub-band blocks, a five-level wavelet synthesis and a conversion from YUV to blue-first RGB.
// One object decodes one field at a time and can take field after field, also after a damaged
// one. All memory is taken at construction.
class ADV601Decoder {
public:
    static constexpr int32_t BytesPerPixel = 3;

    // Bytes of the picture that Decode writes for a field of this height.
    static constexpr int32_t OutputSize(bool tallField) {
        return ADV601FieldWidth * (tallField ? ADV601TallFieldHeight : ADV601ShortFieldHeight) *
               BytesPerPixel;
    }

    ADV601Decoder();
    ~ADV601Decoder();
    ADV601Decoder(const ADV601Decoder&) = delete;
    ADV601Decoder& operator=(const ADV601Decoder&) = delete;

    // Decodes the field in the `size` bytes at `data` into `output`, which must hold
    // OutputSize(tallField) bytes: 288 lines (tallField) or 243, top line first, each 720
    // pixels of blue, green, red. `swapChroma` exchanges the two colour-difference planes.
    // A field stored with byte-reversed words is turned round in place in `data`.
    // False for a damaged field: `output` is then untouched and LastError() says why.
    bool Decode(bool tallField, bool swapChroma, uint8_t* data, int32_t size, uint8_t* output);

    // Why the last Decode failed; "" after a success.
    const char* LastError() const { return lastError; }

    // The values of the block decoded last, in line order, times its quantiser step: after a
    // whole field, those of the field's last block. For inspection of the block data.
    const float* LastBlockValues() const { return blockBuffer.get(); }

private:
    // The whole field; throws ADV601Exception on the first fault.
    void DecodeField(bool tallField, bool swapChroma, uint8_t* data, int32_t size, uint8_t* output);

    // Word and bit input.
    void StartInput(uint8_t* data, int32_t size);
    uint32_t FetchWord();
    uint32_t NextWord();
    void ReverseWords();
    uint32_t Read(int32_t count);
    int32_t ReadSymbol();
    void Consume(int32_t count);

    // Field layout and block data.
    void ReadFieldHeader();
    void ReadBlock(int32_t streamPosition, const ADV601BlockGeometry& block);
    void SelectModel(uint8_t marker);
    void SkipToDelimiter();
    void DemodelBlock0(int32_t count);
    void DemodelBlock1(int32_t count);
    void PutValue(int32_t& filled, int32_t value);
    void PutZeroRun(int32_t& filled, int32_t count, int32_t run, const char* failure);
    void PlaceBlock(const ADV601BlockGeometry& block);

    // Picture reconstruction.
    float* Plane(int32_t plane) const;
    void SynthesizeLuma(int32_t height);
    void SynthesizeChroma(float* plane, int32_t height);
    void VerticalPass(float* plane, int32_t stride, int32_t columns, int32_t length);
    void HorizontalPass(float* plane, int32_t stride, int32_t rows, int32_t length);
    void SynthesizeLine(float* line, int32_t length);
    void ConvertColour(int32_t height, bool swapChroma, uint8_t* output) const;

    uint8_t* inputStart = nullptr;
    int32_t inputPosition = 0; // index of the next word to fetch
    int32_t wordCount = 0;
    int32_t inputEnd = 0; // index of the word after the last; one zero word is served there
    uint8_t headerBytes[12] = {};
    int32_t blockIndex = 0;
    int32_t fieldType = 0;
    uint8_t tableSelect[2] = {}; // Huffman table, symbol model
    bool emptyBlock = false;
    double scale = 0;
    uint32_t bitBuffer = 0; // the next bits, at the top
    int32_t bitsLeft = 0;
    bool wordPending = false; // a word fetched ahead for a symbol peek
    uint32_t pendingWord = 0;
    const ADV601Code* huffmanTable = nullptr;
    int32_t huffmanCount = 0;
    const int16_t* huffmanPrefixes = nullptr;
    const ADV601BlockGeometry* geometry = nullptr;
    std::unique_ptr<float[]> planes; // planeY, planeU and planeV in one allocation
    float* planeY = nullptr;
    float* planeU = nullptr;
    float* planeV = nullptr;
    std::unique_ptr<float[]> blockBuffer;
    std::unique_ptr<float[]> lineScratch;
    std::unique_ptr<float[]> regionScratch; // the rows of a vertical pass, interleaved
    const char* lastError = "";
};

} // namespace Vorn::Vorncast::Decoders
