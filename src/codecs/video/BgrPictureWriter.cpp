#include "codecs/video/BgrPictureWriter.h"

extern "C" {
#include <libavutil/frame.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr int32_t BytesPerPixel = 3;
// Below this width the converter's vector stores may reach past a line end of an exact buffer.
constexpr int32_t NarrowWidth = 64;

// Blackens what a picture smaller than the output leaves uncovered: the right part of each
// covered line and all lines below.
void BlackenUncovered(uint8_t* output, size_t lineBytes, int32_t lines, size_t coveredBytes,
                      int32_t coveredLines) {
    if (coveredBytes < lineBytes) {
        for (int32_t line = 0; line < coveredLines; ++line) {
            std::memset(output + line * lineBytes + coveredBytes, 0, lineBytes - coveredBytes);
        }
    }
    if (coveredLines < lines) {
        std::memset(output + coveredLines * lineBytes, 0, (lines - coveredLines) * lineBytes);
    }
}

} // namespace

bool BgrPictureWriter::Convert(const AVFrame& picture, uint8_t* output, size_t step, int32_t copyWidth,
                               int32_t copyHeight) {
    const size_t copyBytes = static_cast<size_t>(copyWidth) * BytesPerPixel;
    const bool narrow = copyWidth < NarrowWidth;
    const size_t scratchStep = (copyBytes + 63) / 64 * 64 + 64;
    if (narrow) {
        narrowScratch.resize(scratchStep * static_cast<size_t>(copyHeight));
    }
    uint8_t* planes[4] = {narrow ? narrowScratch.data() : output, nullptr, nullptr, nullptr};
    int strides[4] = {static_cast<int>(narrow ? scratchStep : step), 0, 0, 0};
    if (sws_scale(converter, picture.data, picture.linesize, 0, copyHeight, planes, strides) != copyHeight) {
        return false;
    }
    if (narrow) {
        for (int32_t line = 0; line < copyHeight; ++line) {
            std::memcpy(output + static_cast<size_t>(line) * step, narrowScratch.data() + line * scratchStep,
                        copyBytes);
        }
    }
    return true;
}

BgrPictureWriter::~BgrPictureWriter() {
    Release();
}

void BgrPictureWriter::Release() {
    sws_freeContext(converter);
    converter = nullptr;
    std::vector<uint8_t>().swap(narrowScratch);
}

bool BgrPictureWriter::Write(const AVFrame& picture, uint8_t* output, int32_t width, int32_t height,
                             bool lineDoubling) {
    const int32_t copyWidth = std::min(picture.width, width);
    const int32_t copyHeight = std::min(picture.height, height);
    if (copyWidth <= 0 || copyHeight <= 0) {
        return false;
    }
    converter = sws_getCachedContext(converter, copyWidth, copyHeight,
                                     static_cast<AVPixelFormat>(picture.format), copyWidth, copyHeight,
                                     AV_PIX_FMT_BGR24, SWS_BILINEAR, nullptr, nullptr, nullptr);
    if (converter == nullptr) {
        return false;
    }
    const size_t lineBytes = static_cast<size_t>(width) * BytesPerPixel;
    const size_t step = lineDoubling ? 2 * lineBytes : lineBytes;
    if (!Convert(picture, output, step, copyWidth, copyHeight)) {
        return false;
    }
    BlackenUncovered(output, step, height, static_cast<size_t>(copyWidth) * BytesPerPixel, copyHeight);
    if (lineDoubling) {
        for (int32_t line = 0; line < height; ++line) {
            std::memcpy(output + line * step + lineBytes, output + line * step, lineBytes);
        }
    }
    return true;
}

} // namespace Vorn::Vorncast::Decoders
