#include "codecs/jpeg2000/Jpeg2000Picture.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr int ColourPlanes = 3;
constexpr OPJ_UINT32 MaxPrecision = 31;

// Brings the samples of one component to 8 bits, and maps output positions to its samples.
class ComponentReader {
public:
    ComponentReader(const opj_image_t& image, const opj_image_comp_t& component, int32_t width)
        : component(component) {
        offset = component.sgnd != 0 ? (int64_t{1} << (component.prec - 1)) : 0;
        shift = component.prec > 8 ? static_cast<int>(component.prec) - 8 : 0;
        maximum = (int64_t{1} << std::min<OPJ_UINT32>(component.prec, 8)) - 1;
        columns.resize(static_cast<size_t>(width));
        for (int32_t x = 0; x < width; ++x) {
            columns[static_cast<size_t>(x)] =
                SampleIndex(image.x0 + static_cast<OPJ_UINT32>(x), component.dx, component.x0, component.w);
        }
        imageY0 = image.y0;
    }

    // The first sample of the component's line that covers output line `y`.
    const OPJ_INT32* Line(int32_t y) const {
        OPJ_UINT32 row =
            SampleIndex(imageY0 + static_cast<OPJ_UINT32>(y), component.dy, component.y0, component.h);
        return component.data + static_cast<size_t>(row) * component.w;
    }

    int Value(const OPJ_INT32* line, int32_t x) const {
        int64_t value = (static_cast<int64_t>(line[columns[static_cast<size_t>(x)]]) + offset) >> shift;
        if (component.prec < 8) {
            value = value * 255 / maximum;
        }
        return static_cast<int>(std::clamp<int64_t>(value, 0, 255));
    }

private:
    // The sample that covers reference-grid position `position`; the component's grid starts at
    // `origin` and has `count` samples spaced `step` apart.
    static OPJ_UINT32 SampleIndex(OPJ_UINT32 position, OPJ_UINT32 step, OPJ_UINT32 origin, OPJ_UINT32 count) {
        OPJ_UINT32 index = position / step;
        index = index > origin ? index - origin : 0;
        return std::min(index, count - 1);
    }

    const opj_image_comp_t& component;
    std::vector<OPJ_UINT32> columns;
    OPJ_UINT32 imageY0 = 0;
    int64_t offset = 0;
    int shift = 0;
    int64_t maximum = 255;
};

bool ComponentUsable(const opj_image_comp_t& component) {
    return component.data != nullptr && component.w > 0 && component.h > 0 && component.dx > 0 &&
           component.dy > 0 && component.prec > 0 && component.prec <= MaxPrecision;
}

bool IsSubsampled(const opj_image_comp_t& component) {
    return component.dx > 1 || component.dy > 1;
}

// Pictures that say they are YCbCr, and bare codestreams whose chroma is subsampled against
// full-size luma, which only YCbCr pictures are.
bool IsYcc(const opj_image_t& image) {
    if (image.numcomps < 3) {
        return false;
    }
    if (image.color_space == OPJ_CLRSPC_SYCC || image.color_space == OPJ_CLRSPC_EYCC) {
        return true;
    }
    bool unstated = image.color_space == OPJ_CLRSPC_UNKNOWN || image.color_space == OPJ_CLRSPC_UNSPECIFIED;
    return unstated && !IsSubsampled(image.comps[0]) &&
           (IsSubsampled(image.comps[1]) || IsSubsampled(image.comps[2]));
}

uint8_t Clamp8(double value) {
    return static_cast<uint8_t>(std::clamp(std::lround(value), 0L, 255L));
}

void WriteGrey(const ComponentReader& grey, int32_t width, int32_t height, int planes, uint8_t* output) {
    for (int32_t y = 0; y < height; ++y) {
        const OPJ_INT32* line = grey.Line(y);
        for (int32_t x = 0; x < width; ++x) {
            auto value = static_cast<uint8_t>(grey.Value(line, x));
            std::fill_n(output, planes, value);
            output += planes;
        }
    }
}

void WriteRgb(const ComponentReader (&rgb)[3], int32_t width, int32_t height, uint8_t* output) {
    for (int32_t y = 0; y < height; ++y) {
        const OPJ_INT32* red = rgb[0].Line(y);
        const OPJ_INT32* green = rgb[1].Line(y);
        const OPJ_INT32* blue = rgb[2].Line(y);
        for (int32_t x = 0; x < width; ++x) {
            output[0] = static_cast<uint8_t>(rgb[2].Value(blue, x));
            output[1] = static_cast<uint8_t>(rgb[1].Value(green, x));
            output[2] = static_cast<uint8_t>(rgb[0].Value(red, x));
            output += ColourPlanes;
        }
    }
}

void WriteYcc(const ComponentReader (&ycc)[3], int32_t width, int32_t height, uint8_t* output) {
    for (int32_t y = 0; y < height; ++y) {
        const OPJ_INT32* luma = ycc[0].Line(y);
        const OPJ_INT32* blueDifference = ycc[1].Line(y);
        const OPJ_INT32* redDifference = ycc[2].Line(y);
        for (int32_t x = 0; x < width; ++x) {
            double l = ycc[0].Value(luma, x);
            double cb = ycc[1].Value(blueDifference, x) - 128.0;
            double cr = ycc[2].Value(redDifference, x) - 128.0;
            output[0] = Clamp8(l + 1.772 * cb);
            output[1] = Clamp8(l - 0.344136 * cb - 0.714136 * cr);
            output[2] = Clamp8(l + 1.402 * cr);
            output += ColourPlanes;
        }
    }
}

} // namespace

bool DescribePicture(const opj_image_t& image, Jpeg2000PictureInfo* info) {
    if (image.numcomps == 0 || image.comps == nullptr || image.x1 <= image.x0 || image.y1 <= image.y0) {
        return false;
    }
    Jpeg2000PictureInfo described;
    described.width = static_cast<int32_t>(std::min<OPJ_UINT32>(image.x1 - image.x0, INT32_MAX));
    described.height = static_cast<int32_t>(std::min<OPJ_UINT32>(image.y1 - image.y0, INT32_MAX));
    described.components = static_cast<int32_t>(image.numcomps);
    described.colour = image.numcomps != 1;
    uint64_t bytes = static_cast<uint64_t>(described.width) * static_cast<uint64_t>(described.height) *
                     (described.colour ? ColourPlanes : 1);
    if (bytes > MaxPictureBytes) {
        return false;
    }
    *info = described;
    return true;
}

size_t PictureBytes(const Jpeg2000PictureInfo& info) {
    return static_cast<size_t>(info.width) * static_cast<size_t>(info.height) *
           (info.colour ? ColourPlanes : 1);
}

bool WritePicture(const opj_image_t& image, const Jpeg2000PictureInfo& info, uint8_t* output) {
    int planes = info.colour ? ColourPlanes : 1;
    OPJ_UINT32 used = image.numcomps >= 3 ? 3 : 1;
    for (OPJ_UINT32 i = 0; i < used; ++i) {
        if (!ComponentUsable(image.comps[i])) {
            return false;
        }
    }
    if (used == 1) {
        WriteGrey(ComponentReader(image, image.comps[0], info.width), info.width, info.height, planes,
                  output);
        return true;
    }
    const ComponentReader readers[3] = {ComponentReader(image, image.comps[0], info.width),
                                        ComponentReader(image, image.comps[1], info.width),
                                        ComponentReader(image, image.comps[2], info.width)};
    if (IsYcc(image)) {
        WriteYcc(readers, info.width, info.height, output);
    } else {
        WriteRgb(readers, info.width, info.height, output);
    }
    return true;
}

} // namespace Vorn::Vorncast::Decoders
