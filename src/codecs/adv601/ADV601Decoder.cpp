#include "codecs/adv601/ADV601Decoder.h"

#include "core/binary/ByteOrder.h"

#include <algorithm>
#include <iterator>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr int32_t LumaPlaneSize = ADV601FieldWidth * ADV601TallFieldHeight;
constexpr int32_t ChromaPlaneSize = ADV601ChromaWidth * ADV601TallFieldHeight;
// The largest block: the high half of the luma plane.
constexpr int32_t BlockBufferSize = ADV601ChromaWidth * ADV601TallFieldHeight;
// A line of the wavelet pass and four mirrored samples at each end.
constexpr int32_t MirrorReach = 4;
constexpr int32_t LineScratchSize = ADV601FieldWidth + 2 * MirrorReach;
// The widest vertical pass: half the luma plane's columns, all its rows.
constexpr int32_t RegionScratchSize = ADV601ChromaWidth * ADV601TallFieldHeight;

// Below this, the top byte of the second header word is zero: the field's words are stored with
// their bytes the other way round.
constexpr uint32_t ReversedWordLimit = 0x01000000;
constexpr int32_t HeaderWords = 3;
constexpr int32_t HeadScaleShift = 8;
constexpr int32_t HeadDataBits = 8;
constexpr double ScaleUnit = 256.0;
constexpr int32_t PeekBits = 16;

constexpr const char* FailedModel0 = "Failed in DemodelBlock0";
constexpr const char* FailedModel1 = "Failed in DemodelBlock1 - passed block end";

// A literal value that a symbol introduces: `bits` follow; a value at or above `negativeFrom` is
// negative and gets `negativeOffset` added, any other gets `positiveOffset` added.
struct Escape {
    int32_t bits;
    int32_t negativeFrom;
    int32_t negativeOffset;
    int32_t positiveOffset;
};

constexpr Escape Model0Escape8 = {8, 128, -379, 124};
constexpr Escape Model0Escape12 = {12, 2048, -4347, 252};
constexpr Escape Model0Escape16 = {16, 32768, -67835, 2300};
constexpr Escape Model1Escape10 = {10, 512, -1056, 33};
constexpr Escape Model1Escape14 = {14, 8192, -16928, 545};

// Zero runs of model 1 longer than its direct run symbols: symbol 239 + i reads `bits` and adds
// `offset`. Together they cover runs from 60 up, one range after another.
struct LongRun {
    int32_t bits;
    int32_t offset;
};

constexpr int32_t Model1FirstLongRun = 239;
constexpr LongRun Model1LongRuns[] = {
    {16, 18490}, {14, 2106}, {10, 1082}, {9, 570}, {8, 314}, {7, 186},
    {6, 122},    {5, 90},    {4, 74},    {3, 66},  {2, 62},  {1, 60},
};
constexpr int32_t Model1LastLongRun = Model1FirstLongRun + std::size(Model1LongRuns) - 1;

} // namespace

ADV601Decoder::ADV601Decoder()
    : planes(std::make_unique<float[]>(LumaPlaneSize + 2 * ChromaPlaneSize)), planeY(planes.get()),
      planeU(planeY + LumaPlaneSize), planeV(planeU + ChromaPlaneSize),
      blockBuffer(std::make_unique<float[]>(BlockBufferSize)),
      lineScratch(std::make_unique<float[]>(LineScratchSize)),
      regionScratch(std::make_unique<float[]>(RegionScratchSize)) {}

ADV601Decoder::~ADV601Decoder() = default;

bool ADV601Decoder::Decode(bool tallField, bool swapChroma, uint8_t* data, int32_t size, uint8_t* output) {
    lastError = "";
    try {
        DecodeField(tallField, swapChroma, data, size, output);
        return true;
    } catch (const ADV601Exception& failure) {
        lastError = failure.what();
        return false;
    }
}

void ADV601Decoder::DecodeField(bool tallField, bool swapChroma, uint8_t* data, int32_t size,
                                uint8_t* output) {
    int32_t height = ADV601FieldHeight(tallField);
    geometry = ADV601Geometry(tallField);
    StartInput(data, size);
    ReadFieldHeader();
    emptyBlock = false;
    for (int32_t position = 0; position < ADV601BlockCount; ++position) {
        blockIndex = ADV601StreamOrder[position];
        ReadBlock(position, geometry[blockIndex]);
    }
    SynthesizeLuma(height);
    SynthesizeChroma(planeU, height);
    SynthesizeChroma(planeV, height);
    ConvertColour(height, swapChroma, output);
}

void ADV601Decoder::StartInput(uint8_t* data, int32_t size) {
    inputStart = data;
    wordCount = data != nullptr && size > 0 ? size / 4 : 0;
    inputEnd = wordCount;
    inputPosition = 0;
    bitBuffer = 0;
    bitsLeft = 0;
    wordPending = false;
    pendingWord = 0;
}

// The words of the field, then one zero word, so that the last block's data may end exactly at
// the end of the input although symbol decoding looks a word ahead.
uint32_t ADV601Decoder::FetchWord() {
    if (inputPosition < inputEnd) {
        return Load<uint32_t, ByteOrder::Little>(inputStart + 4 * inputPosition++);
    }
    if (inputPosition == inputEnd) {
        ++inputPosition;
        return 0;
    }
    throw ADV601Exception("Attempt to read beyond end of input buffer");
}

// The next whole word of the stream: the one fetched ahead for a symbol, if any.
uint32_t ADV601Decoder::NextWord() {
    if (wordPending) {
        wordPending = false;
        return pendingWord;
    }
    return FetchWord();
}

void ADV601Decoder::ReverseWords() {
    for (int32_t word = 0; word < wordCount; ++word) {
        uint8_t* bytes = inputStart + 4 * word;
        Store<uint32_t, ByteOrder::Big>(bytes, Load<uint32_t, ByteOrder::Little>(bytes));
    }
}

void ADV601Decoder::ReadFieldHeader() {
    if (FetchWord() != ADV601Delimiter) {
        throw ADV601Exception("No start of field delimiter");
    }
    uint32_t kind = FetchWord();
    if (kind < ReversedWordLimit) {
        ReverseWords();
        inputPosition = 1;
        kind = FetchWord();
    }
    switch (kind >> 24) {
    case ADV601FieldType1:
        fieldType = 1;
        break;
    case ADV601FieldType2:
        fieldType = 2;
        break;
    default:
        throw ADV601Exception("Bad start of field delimiter");
    }
    for (int32_t word = 0; word < HeaderWords; ++word) {
        Store<uint32_t, ByteOrder::Little>(headerBytes + 4 * word, FetchWord());
    }
}

void ADV601Decoder::ReadBlock(int32_t streamPosition, const ADV601BlockGeometry& block) {
    // The delimiter in front of a block after an empty one was consumed by that block's skip.
    if (streamPosition > 0 && !emptyBlock && NextWord() != ADV601Delimiter) {
        throw ADV601Exception("Failed to read start of marker");
    }
    uint32_t head = NextWord();
    SelectModel(static_cast<uint8_t>(head >> 24));
    scale = ((head >> HeadScaleShift) & 0xFFFF) / ScaleUnit;
    bitBuffer = head << (32 - HeadDataBits);
    bitsLeft = HeadDataBits;

    int32_t count = block.width * block.height;
    if (emptyBlock) {
        if (streamPosition < ADV601BlockCount - 1) {
            SkipToDelimiter();
        }
        std::fill_n(blockBuffer.get(), count, 0.0f);
    } else if (tableSelect[1] == 0) {
        DemodelBlock0(count);
    } else {
        DemodelBlock1(count);
    }
    PlaceBlock(block);
}

void ADV601Decoder::SelectModel(uint8_t marker) {
    emptyBlock = false;
    switch (marker) {
    case ADV601MarkerTable0:
    case ADV601MarkerTable0Second:
        tableSelect[0] = 0;
        tableSelect[1] = 0;
        break;
    case ADV601MarkerTable2:
        tableSelect[0] = 2;
        tableSelect[1] = 1;
        break;
    case ADV601MarkerTable1:
        tableSelect[0] = 1;
        tableSelect[1] = 1;
        break;
    case ADV601MarkerEmpty:
        emptyBlock = true;
        return;
    default:
        throw ADV601Exception("Bad marker at start of block");
    }
    huffmanTable = ADV601Codes(tableSelect[0], &huffmanCount);
    huffmanPrefixes = ADV601CodesByPrefix(tableSelect[0]);
}

void ADV601Decoder::SkipToDelimiter() {
    while (NextWord() != ADV601Delimiter) {
    }
}

// Takes the next `count` (1 to 16) bits.
uint32_t ADV601Decoder::Read(int32_t count) {
    if (bitsLeft >= count) {
        uint32_t value = bitBuffer >> (32 - count);
        bitBuffer <<= count;
        bitsLeft -= count;
        return value;
    }
    uint32_t high = bitsLeft > 0 ? bitBuffer >> (32 - bitsLeft) : 0;
    int32_t fromNext = count - bitsLeft;
    uint32_t word = NextWord();
    bitBuffer = word << fromNext;
    bitsLeft = 32 - fromNext;
    return high << fromNext | word >> (32 - fromNext);
}

// Peeks 16 bits, drawing on a word fetched ahead when the buffer runs short, and finds the code
// they begin with: the largest code, left-aligned, that is not above them.
int32_t ADV601Decoder::ReadSymbol() {
    uint32_t bits = bitBuffer;
    if (bitsLeft <= PeekBits) {
        if (!wordPending) {
            pendingWord = FetchWord();
            wordPending = true;
        }
        bits |= pendingWord >> bitsLeft;
    }
    const auto peek = static_cast<uint16_t>(bits >> (32 - PeekBits));
    int32_t index = huffmanPrefixes[peek >> (PeekBits - ADV601PrefixBits)];
    if (index < 0) {
        index = ADV601FindCode(huffmanTable, huffmanCount, peek);
    }
    const ADV601Code& entry = huffmanTable[index];
    Consume(entry.length);
    return entry.symbol;
}

void ADV601Decoder::Consume(int32_t count) {
    if (count <= bitsLeft) {
        bitBuffer <<= count;
        bitsLeft -= count;
        return;
    }
    int32_t fromNext = count - bitsLeft;
    bitBuffer = pendingWord << fromNext;
    bitsLeft = 32 - fromNext;
    wordPending = false;
}

void ADV601Decoder::PutValue(int32_t& filled, int32_t value) {
    blockBuffer[filled++] = static_cast<float>(value * scale);
}

void ADV601Decoder::PutZeroRun(int32_t& filled, int32_t count, int32_t run, const char* failure) {
    if (run > count - filled) {
        throw ADV601Exception(failure);
    }
    std::fill_n(blockBuffer.get() + filled, run, 0.0f);
    filled += run;
}

namespace {

int32_t EscapedValue(uint32_t raw, const Escape& escape) {
    auto value = static_cast<int32_t>(raw);
    return value >= escape.negativeFrom ? value + escape.negativeOffset : value + escape.positiveOffset;
}

} // namespace

void ADV601Decoder::DemodelBlock0(int32_t count) {
    int32_t filled = 0;
    while (filled < count) {
        int32_t symbol = ReadSymbol();
        switch (symbol) {
        case 0:
            PutValue(filled, EscapedValue(Read(Model0Escape8.bits), Model0Escape8));
            break;
        case 1:
            PutValue(filled, EscapedValue(Read(Model0Escape12.bits), Model0Escape12));
            break;
        case 2:
            PutZeroRun(filled, count, static_cast<int32_t>(Read(4)) + 5, FailedModel0);
            break;
        case 3:
            PutZeroRun(filled, count, static_cast<int32_t>(Read(8)) + 21, FailedModel0);
            break;
        case 4:
            PutZeroRun(filled, count, static_cast<int32_t>(Read(12)) + 277, FailedModel0);
            break;
        case 128:
            PutValue(filled, EscapedValue(Read(Model0Escape16.bits), Model0Escape16));
            break;
        case 252:
        case 253:
        case 254:
        case 255:
            PutZeroRun(filled, count, symbol - 251, FailedModel0);
            break;
        default:
            PutValue(filled, symbol - 128);
            break;
        }
    }
}

void ADV601Decoder::DemodelBlock1(int32_t count) {
    int32_t filled = 0;
    while (filled < count) {
        int32_t symbol = ReadSymbol();
        if (symbol <= 64 && symbol != 32) {
            PutValue(filled, symbol - 32);
        } else if (symbol >= 65 && symbol <= 123) {
            PutZeroRun(filled, count, symbol - 64, FailedModel1);
        } else if (symbol >= Model1FirstLongRun && symbol <= Model1LastLongRun) {
            const LongRun& run = Model1LongRuns[symbol - Model1FirstLongRun];
            PutZeroRun(filled, count, static_cast<int32_t>(Read(run.bits)) + run.offset, FailedModel1);
        } else if (symbol == 254) {
            PutValue(filled, EscapedValue(Read(Model1Escape14.bits), Model1Escape14));
        } else if (symbol == 255) {
            PutValue(filled, EscapedValue(Read(Model1Escape10.bits), Model1Escape10));
        } else {
            throw ADV601Exception("Failed in DemodelBlock1 - unexpected symbol");
        }
    }
}

float* ADV601Decoder::Plane(int32_t plane) const {
    switch (plane) {
    case ADV601PlaneU:
        return planeU;
    case ADV601PlaneV:
        return planeV;
    default:
        return planeY;
    }
}

void ADV601Decoder::PlaceBlock(const ADV601BlockGeometry& block) {
    int32_t stride = block.plane == ADV601PlaneY ? ADV601FieldWidth : ADV601ChromaWidth;
    float* target = Plane(block.plane) + block.y * stride + block.x;
    const float* source = blockBuffer.get();
    for (int32_t row = 0; row < block.height; ++row, target += stride, source += block.width) {
        std::copy_n(source, block.width, target);
    }
}

} // namespace Vorn::Vorncast::Decoders
