#include "Adv601TestEncoder.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace Vorn::Vorncast::Decoders::Testing {

namespace {

// ---- colour -----------------------------------------------------------------------------------

constexpr double LumaGain = 1.1643835306;
constexpr double LumaOffset = 128 - 16;
constexpr double BlueGain = 2.0172321796;
constexpr double RedGain = 1.5960266590;

double FullLuma(const uint8_t* pixel) {
    return 0.299 * pixel[2] + 0.587 * pixel[1] + 0.114 * pixel[0];
}

// ---- wavelet ----------------------------------------------------------------------------------

// Analysis filters of the 9/7 wavelet, centred: low pass over nine samples, high pass over seven.
// The high band is kept at half the usual gain, which the decoder's synthesis expects.
constexpr double LowPass[5] = {0.602949018236358, 0.266864118442872, -0.078223266528988, -0.016864118442875,
                               0.026748757410810};
constexpr double HighPass[4] = {1.115087052456994, -0.591271763114247, -0.057543526228500, 0.091271763114250};
constexpr double HighBandGain = 0.5;

constexpr int32_t Reach = 4;

// One line of `length` samples, `step` apart, into its low band followed by its high band.
// `padded` is scratch for the line mirrored at both ends without repeating the end sample.
void AnalyzeLine(float* line, int32_t step, int32_t length, std::vector<double>& padded) {
    padded.resize(length + 2 * Reach);
    double* at = padded.data() + Reach;
    for (int32_t i = 0; i < length; ++i) {
        at[i] = line[i * step];
    }
    for (int32_t k = 1; k <= Reach; ++k) {
        at[-k] = at[k];
        at[length - 1 + k] = at[length - 1 - k];
    }
    int32_t lowCount = (length + 1) / 2;
    for (int32_t k = 0; k < lowCount; ++k) {
        const double* centre = at + 2 * k;
        double sum = LowPass[0] * centre[0];
        for (int32_t tap = 1; tap < 5; ++tap) {
            sum += LowPass[tap] * (centre[-tap] + centre[tap]);
        }
        line[k * step] = static_cast<float>(sum);
    }
    for (int32_t k = 0; k < length - lowCount; ++k) {
        const double* centre = at + 2 * k + 1;
        double sum = HighPass[0] * centre[0];
        for (int32_t tap = 1; tap < 4; ++tap) {
            sum += HighPass[tap] * (centre[-tap] + centre[tap]);
        }
        line[(lowCount + k) * step] = static_cast<float>(HighBandGain * sum);
    }
}

// The synthesis in reverse: the full width across first, then for each level rows and columns
// of a region half as wide and half as high (rounding up) as the one before.
void AnalyzePlane(std::vector<float>& plane, int32_t width, int32_t height) {
    std::vector<double> padded;
    for (int32_t row = 0; row < height; ++row) {
        AnalyzeLine(plane.data() + row * width, 1, width, padded);
    }
    int32_t regionWidth = width;
    int32_t regionHeight = height;
    for (int32_t level = 1; level <= 4; ++level) {
        regionWidth = (regionWidth + 1) / 2;
        for (int32_t row = 0; row < regionHeight; ++row) {
            AnalyzeLine(plane.data() + row * width, 1, regionWidth, padded);
        }
        for (int32_t column = 0; column < regionWidth; ++column) {
            AnalyzeLine(plane.data() + column, width, regionHeight, padded);
        }
        regionHeight = (regionHeight + 1) / 2;
    }
}

// ---- symbol models ----------------------------------------------------------------------------

// A value beyond the direct symbols: `symbol`, then `bits` of value - `positiveOffset` for a
// positive value, value - `negativeOffset` for a negative one.
struct Escape {
    int32_t limit; // largest magnitude it carries
    uint8_t symbol;
    int32_t bits;
    int32_t positiveOffset;
    int32_t negativeOffset;
};

constexpr Escape Model0Escapes[] = {
    {251, 0, 8, 124, -379},
    {2299, 1, 12, 252, -4347},
    {35067, 128, 16, 2300, -67835},
};
constexpr int32_t Model0DirectLimit = 123;

constexpr Escape Model1Escapes[] = {
    {544, 255, 10, 33, -1056},
    {8736, 254, 14, 545, -16928},
};
constexpr int32_t Model1DirectLimit = 32;

// Zero runs: `symbol` covers `first` up to `first` + 2^bits - 1.
struct RunCode {
    uint8_t symbol;
    int32_t bits;
    int32_t first;
};

constexpr RunCode Model0Runs[] = {{4, 12, 277}, {3, 8, 21}, {2, 4, 5}};
constexpr RunCode Model1Runs[] = {
    {239, 16, 18490}, {240, 14, 2106}, {241, 10, 1082}, {242, 9, 570}, {243, 8, 314}, {244, 7, 186},
    {245, 6, 122},    {246, 5, 90},    {247, 4, 74},    {248, 3, 66},  {249, 2, 62},  {250, 1, 60},
};

template <size_t N>
void AddRun(std::vector<Adv601Token>& tokens, int32_t run, const RunCode (&codes)[N], int32_t shortLimit,
            int32_t shortBase) {
    while (run > 0) {
        if (run <= shortLimit) {
            tokens.push_back({static_cast<uint8_t>(shortBase + run)});
            return;
        }
        for (const RunCode& code : codes) {
            if (run >= code.first) {
                int32_t chunk = std::min(run, code.first + (1 << code.bits) - 1);
                tokens.push_back({code.symbol, static_cast<uint32_t>(chunk - code.first), code.bits});
                run -= chunk;
                break;
            }
        }
    }
}

template <size_t N>
void AddValue(std::vector<Adv601Token>& tokens, int32_t value, int32_t directLimit, int32_t directBase,
              const Escape (&escapes)[N]) {
    int32_t limit = escapes[N - 1].limit;
    value = std::clamp(value, -limit, limit);
    if (std::abs(value) <= directLimit) {
        tokens.push_back({static_cast<uint8_t>(value + directBase)});
        return;
    }
    for (const Escape& escape : escapes) {
        if (std::abs(value) <= escape.limit) {
            int32_t raw = value > 0 ? value - escape.positiveOffset : value - escape.negativeOffset;
            tokens.push_back({escape.symbol, static_cast<uint32_t>(raw), escape.bits});
            return;
        }
    }
}

// ---- packing ----------------------------------------------------------------------------------

// Bits into 32-bit words, most significant bit first.
class WordWriter {
public:
    // The low `count` (0 to 32) bits of `value`.
    void Put(uint32_t value, int32_t count) {
        if (count == 0) {
            return;
        }
        uint64_t bits = value & (count == 32 ? 0xFFFFFFFFu : (1u << count) - 1);
        pending = pending << count | bits;
        used += count;
        if (used >= 32) {
            used -= 32;
            words.push_back(static_cast<uint32_t>(pending >> used));
            pending &= (uint64_t{1} << used) - 1;
        }
    }
    // Pads the last word with zero bits.
    void Align() {
        if (used > 0) {
            Put(0, 32 - used);
        }
    }
    void PutWord(uint32_t word) {
        Align();
        words.push_back(word);
    }
    std::vector<uint32_t> words;

private:
    uint64_t pending = 0; // the last `used` bits not yet in a word
    int32_t used = 0;
};

struct CodeWord {
    uint16_t bits = 0;
    int32_t length = 0;
};

std::array<CodeWord, 256> SymbolCodes(int32_t table) {
    std::array<CodeWord, 256> bySymbol{};
    int32_t count = 0;
    const ADV601Code* codes = ADV601Codes(table, &count);
    for (int32_t i = 0; i < count; ++i) {
        bySymbol[codes[i].symbol] = {static_cast<uint16_t>(codes[i].code >> (16 - codes[i].length)),
                                     codes[i].length};
    }
    return bySymbol;
}

void WriteBlock(WordWriter& writer, const Adv601Block& block) {
    writer.Put(block.marker, 8);
    writer.Put(block.scale, 16);
    int32_t table = Adv601TableOf(block.marker);
    if (table >= 0) {
        static const std::array<std::array<CodeWord, 256>, ADV601HuffmanTableCount> codes = {
            SymbolCodes(0), SymbolCodes(1), SymbolCodes(2)};
        for (const Adv601Token& token : block.tokens) {
            const CodeWord& code = codes[table][token.symbol];
            writer.Put(code.bits, code.length);
            writer.Put(token.extra, token.extraBits);
        }
    }
    writer.Align();
}

// ---- field ------------------------------------------------------------------------------------

std::vector<int32_t> Quantise(const Adv601Planes& planes, const ADV601BlockGeometry& block, uint16_t scale) {
    const std::vector<float>& plane =
        block.plane == ADV601PlaneY ? planes.y : (block.plane == ADV601PlaneU ? planes.u : planes.v);
    int32_t stride = block.plane == ADV601PlaneY ? ADV601FieldWidth : ADV601ChromaWidth;
    double step = scale / 256.0;
    std::vector<int32_t> values;
    values.reserve(block.width * block.height);
    for (int32_t row = 0; row < block.height; ++row) {
        for (int32_t column = 0; column < block.width; ++column) {
            double coefficient = plane[(block.y + row) * stride + block.x + column];
            values.push_back(static_cast<int32_t>(std::lround(coefficient / step)));
        }
    }
    return values;
}

bool IsLowestBand(int32_t index) {
    return index >= ADV601BlockCount - 3;
}

} // namespace

int32_t Adv601ModelOf(uint8_t marker) {
    switch (marker) {
    case ADV601MarkerTable0:
    case ADV601MarkerTable0Second:
        return 0;
    case ADV601MarkerTable1:
    case ADV601MarkerTable2:
        return 1;
    default:
        return -1;
    }
}

int32_t Adv601TableOf(uint8_t marker) {
    switch (marker) {
    case ADV601MarkerTable0:
    case ADV601MarkerTable0Second:
        return 0;
    case ADV601MarkerTable1:
        return 1;
    case ADV601MarkerTable2:
        return 2;
    default:
        return -1;
    }
}

std::vector<Adv601Token> Adv601ModelTokens(int32_t model, const std::vector<int32_t>& values) {
    std::vector<Adv601Token> tokens;
    size_t i = 0;
    while (i < values.size()) {
        if (values[i] != 0) {
            if (model == 0) {
                AddValue(tokens, values[i], Model0DirectLimit, 128, Model0Escapes);
            } else {
                AddValue(tokens, values[i], Model1DirectLimit, 32, Model1Escapes);
            }
            ++i;
            continue;
        }
        size_t end = i;
        while (end < values.size() && values[end] == 0) {
            ++end;
        }
        auto run = static_cast<int32_t>(end - i);
        if (model == 0) {
            AddRun(tokens, run, Model0Runs, 4, 251);
        } else {
            AddRun(tokens, run, Model1Runs, 59, 64);
        }
        i = end;
    }
    return tokens;
}

Adv601Planes Adv601ColourPlanes(const uint8_t* bgr, bool tallField) {
    Adv601Planes planes;
    planes.height = ADV601FieldHeight(tallField);
    planes.y.resize(ADV601FieldWidth * planes.height);
    planes.u.resize(ADV601ChromaWidth * planes.height);
    planes.v.resize(ADV601ChromaWidth * planes.height);
    for (int32_t row = 0; row < planes.height; ++row) {
        for (int32_t pair = 0; pair < ADV601ChromaWidth; ++pair) {
            double blue = 0;
            double red = 0;
            for (int32_t half = 0; half < 2; ++half) {
                int32_t column = 2 * pair + half;
                const uint8_t* pixel = bgr + (row * ADV601FieldWidth + column) * 3;
                double luma = FullLuma(pixel);
                planes.y[row * ADV601FieldWidth + column] = static_cast<float>(luma / LumaGain - LumaOffset);
                blue += (pixel[0] - luma) / BlueGain;
                red += (pixel[2] - luma) / RedGain;
            }
            planes.u[row * ADV601ChromaWidth + pair] = static_cast<float>(blue / 2);
            planes.v[row * ADV601ChromaWidth + pair] = static_cast<float>(red / 2);
        }
    }
    return planes;
}

void Adv601Analyze(Adv601Planes& planes) {
    AnalyzePlane(planes.y, ADV601FieldWidth, planes.height);
    AnalyzePlane(planes.u, ADV601ChromaWidth, planes.height);
    AnalyzePlane(planes.v, ADV601ChromaWidth, planes.height);
}

Adv601Field EncodeAdv601Field(const uint8_t* bgr, const Adv601EncoderOptions& options) {
    Adv601Planes planes = Adv601ColourPlanes(bgr, options.tallField);
    Adv601Analyze(planes);
    if (options.swapChroma) {
        planes.u.swap(planes.v);
    }
    Adv601Field field;
    field.fieldType = options.fieldType;
    const ADV601BlockGeometry* geometry = ADV601Geometry(options.tallField);
    for (int32_t position = 0; position < ADV601BlockCount; ++position) {
        int32_t index = ADV601StreamOrder[position];
        Adv601Block& block = field.blocks[index];
        block.scale = IsLowestBand(index) ? options.lowBandScale : options.detailScale;
        std::vector<int32_t> values = Quantise(planes, geometry[index], block.scale);
        bool allZero = std::all_of(values.begin(), values.end(), [](int32_t v) { return v == 0; });
        if (options.emptyWhenZero && allZero) {
            block.marker = ADV601MarkerEmpty;
            continue;
        }
        block.marker = options.markers[position % options.markers.size()];
        block.tokens = Adv601ModelTokens(Adv601ModelOf(block.marker), values);
    }
    return field;
}

std::vector<uint8_t> WriteAdv601Field(const Adv601Field& field, bool reversedWords) {
    WordWriter writer;
    writer.PutWord(ADV601Delimiter);
    writer.PutWord(static_cast<uint32_t>(field.fieldType) << 24);
    for (size_t word = 0; word < 3; ++word) {
        const uint8_t* bytes = field.headerBytes.data() + 4 * word;
        writer.PutWord(bytes[0] | bytes[1] << 8 | bytes[2] << 16 | static_cast<uint32_t>(bytes[3]) << 24);
    }
    for (int32_t position = 0; position < ADV601BlockCount; ++position) {
        const Adv601Block& block = field.blocks[ADV601StreamOrder[position]];
        WriteBlock(writer, block);
        if (position == ADV601BlockCount - 1) {
            break;
        }
        for (uint32_t word : block.wordsBeforeDelimiter) {
            writer.PutWord(word);
        }
        writer.PutWord(ADV601Delimiter);
    }
    std::vector<uint8_t> bytes;
    bytes.reserve(writer.words.size() * 4);
    for (uint32_t word : writer.words) {
        for (int32_t byte = 0; byte < 4; ++byte) {
            int32_t shift = reversedWords ? 24 - 8 * byte : 8 * byte;
            bytes.push_back(static_cast<uint8_t>(word >> shift));
        }
    }
    return bytes;
}

std::vector<uint8_t> EncodeAdv601(const uint8_t* bgr, const Adv601EncoderOptions& options,
                                  bool reversedWords) {
    return WriteAdv601Field(EncodeAdv601Field(bgr, options), reversedWords);
}

} // namespace Vorn::Vorncast::Decoders::Testing
