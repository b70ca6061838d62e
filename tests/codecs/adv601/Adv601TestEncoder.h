#pragma once

// A small ADV601 field encoder for tests, benchmarks and fuzzing seeds: colour conversion, the
// forward 9/7 wavelet transform that the decoder's synthesis undoes, a uniform quantiser per
// block, the two symbol models and the block and word layout of a field.
//
// Encoding runs in two steps so that tests can damage a field on purpose: EncodeAdv601Field
// gives the field as blocks of tokens, which a test may edit, and WriteAdv601Field packs it into
// bytes. EncodeAdv601 does both.

#include "codecs/adv601/ADV601Tables.h"

#include <array>
#include <cstdint>
#include <vector>

namespace Vorn::Vorncast::Decoders::Testing {

// One Huffman symbol of a block and the raw bits that follow it.
struct Adv601Token {
    uint8_t symbol = 0;
    uint32_t extra = 0;
    int32_t extraBits = 0;
};

struct Adv601Block {
    uint8_t marker = ADV601MarkerTable0;
    uint16_t scale = 256; // quantiser step in 1/256
    std::vector<Adv601Token> tokens;
    // Words written after the block's data, in front of the delimiter that ends it. An empty
    // block's reader skips them; after any other block they break the field.
    std::vector<uint32_t> wordsBeforeDelimiter;
};

// A field before packing: its header and its 42 blocks, by block index.
struct Adv601Field {
    uint8_t fieldType = ADV601FieldType1;
    std::array<uint8_t, 12> headerBytes{};
    std::array<Adv601Block, ADV601BlockCount> blocks;
};

struct Adv601EncoderOptions {
    bool tallField = true;
    // Quantiser steps in 1/256: for the three lowest-band blocks, and for all the others.
    uint16_t lowBandScale = 64;
    uint16_t detailScale = 128;
    // Markers given to the blocks by stream position, in turn (empty blocks aside).
    std::vector<uint8_t> markers = {ADV601MarkerTable0, ADV601MarkerTable1, ADV601MarkerTable2,
                                    ADV601MarkerTable0Second};
    // A block whose values all quantise to zero is written as an empty block.
    bool emptyWhenZero = true;
    // Store the blue difference where the red one belongs and the other way round, as a field
    // meant for decoding with swapChroma.
    bool swapChroma = false;
    uint8_t fieldType = ADV601FieldType1;
};

// Quantised values of a block (in line order) as tokens of symbol model 0 or 1. Values beyond
// what the model can carry are clamped.
std::vector<Adv601Token> Adv601ModelTokens(int32_t model, const std::vector<int32_t>& values);

// The model and Huffman table a marker selects (-1 for the empty block).
int32_t Adv601ModelOf(uint8_t marker);
int32_t Adv601TableOf(uint8_t marker);

// The coefficient planes of a picture: luma 720 wide, the colour differences 360 wide, each as
// many lines as the field.
struct Adv601Planes {
    int32_t height = 0;
    std::vector<float> y, u, v;
};

// `bgr`: 720 x field height pixels, blue first, top line first.
Adv601Planes Adv601ColourPlanes(const uint8_t* bgr, bool tallField);
// The forward transform of all three planes, in place.
void Adv601Analyze(Adv601Planes& planes);

Adv601Field EncodeAdv601Field(const uint8_t* bgr, const Adv601EncoderOptions& options = {});
std::vector<uint8_t> WriteAdv601Field(const Adv601Field& field, bool reversedWords = false);
std::vector<uint8_t> EncodeAdv601(const uint8_t* bgr, const Adv601EncoderOptions& options = {},
                                  bool reversedWords = false);

} // namespace Vorn::Vorncast::Decoders::Testing
