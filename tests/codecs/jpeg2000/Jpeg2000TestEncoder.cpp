#include "codecs/jpeg2000/Jpeg2000TestEncoder.h"

#include <openjpeg.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

namespace Jpeg2000Testing {

namespace {

struct Sink {
    std::vector<uint8_t> bytes;
    size_t position = 0;
};

OPJ_SIZE_T Write(void* buffer, OPJ_SIZE_T count, void* user) {
    auto* sink = static_cast<Sink*>(user);
    if (sink->bytes.size() < sink->position + count) {
        sink->bytes.resize(sink->position + count);
    }
    std::memcpy(sink->bytes.data() + sink->position, buffer, count);
    sink->position += count;
    return count;
}

OPJ_OFF_T Skip(OPJ_OFF_T count, void* user) {
    auto* sink = static_cast<Sink*>(user);
    sink->position += static_cast<size_t>(count);
    sink->bytes.resize(std::max(sink->bytes.size(), sink->position));
    return count;
}

OPJ_BOOL Seek(OPJ_OFF_T position, void* user) {
    auto* sink = static_cast<Sink*>(user);
    sink->position = static_cast<size_t>(position);
    sink->bytes.resize(std::max(sink->bytes.size(), sink->position));
    return OPJ_TRUE;
}

void Quiet(const char*, void*) {}

struct CodecRelease {
    void operator()(opj_codec_t* codec) const { opj_destroy_codec(codec); }
};
struct StreamRelease {
    void operator()(opj_stream_t* stream) const { opj_stream_destroy(stream); }
};
struct ImageRelease {
    void operator()(opj_image_t* image) const { opj_image_destroy(image); }
};

std::unique_ptr<opj_image_t, ImageRelease> MakeImage(const std::vector<Plane>& planes, int width, int height,
                                                     const EncodeOptions& options) {
    std::vector<opj_image_cmptparm_t> parameters(planes.size());
    for (size_t i = 0; i < planes.size(); ++i) {
        opj_image_cmptparm_t& p = parameters[i];
        std::memset(&p, 0, sizeof p);
        p.dx = static_cast<OPJ_UINT32>(planes[i].dx);
        p.dy = static_cast<OPJ_UINT32>(planes[i].dy);
        p.w = static_cast<OPJ_UINT32>((width + planes[i].dx - 1) / planes[i].dx);
        p.h = static_cast<OPJ_UINT32>((height + planes[i].dy - 1) / planes[i].dy);
        p.prec = static_cast<OPJ_UINT32>(options.precision);
        p.sgnd = options.isSigned ? 1 : 0;
    }
    OPJ_COLOR_SPACE space = options.ycc          ? OPJ_CLRSPC_SYCC
                            : planes.size() >= 3 ? OPJ_CLRSPC_SRGB
                                                 : OPJ_CLRSPC_GRAY;
    std::unique_ptr<opj_image_t, ImageRelease> image(
        opj_image_create(static_cast<OPJ_UINT32>(planes.size()), parameters.data(), space));
    if (image == nullptr) {
        return image;
    }
    image->x0 = 0;
    image->y0 = 0;
    image->x1 = static_cast<OPJ_UINT32>(width);
    image->y1 = static_cast<OPJ_UINT32>(height);
    for (size_t i = 0; i < planes.size(); ++i) {
        size_t count = static_cast<size_t>(parameters[i].w) * parameters[i].h;
        std::copy_n(planes[i].samples.begin(), std::min(count, planes[i].samples.size()),
                    image->comps[i].data);
    }
    return image;
}

} // namespace

std::vector<uint8_t> Encode(const std::vector<Plane>& planes, int width, int height,
                            const EncodeOptions& options) {
    auto image = MakeImage(planes, width, height, options);
    std::unique_ptr<opj_codec_t, CodecRelease> codec(
        opj_create_compress(options.jp2 ? OPJ_CODEC_JP2 : OPJ_CODEC_J2K));
    if (image == nullptr || codec == nullptr) {
        return {};
    }
    opj_set_error_handler(codec.get(), Quiet, nullptr);
    opj_set_warning_handler(codec.get(), Quiet, nullptr);
    opj_set_info_handler(codec.get(), Quiet, nullptr);
    opj_cparameters_t parameters;
    opj_set_default_encoder_parameters(&parameters);
    parameters.tcp_numlayers = 1;
    parameters.tcp_rates[0] = options.lossless ? 0.0f : options.compressionRatio;
    parameters.cp_disto_alloc = 1;
    parameters.irreversible = options.lossless ? 0 : 1;
    parameters.numresolution = 3;
    parameters.tcp_mct = options.multipleComponentTransform ? 1 : 0;
    if (options.tileSize > 0) {
        parameters.tile_size_on = OPJ_TRUE;
        parameters.cp_tdx = options.tileSize;
        parameters.cp_tdy = options.tileSize;
    }
    if (opj_setup_encoder(codec.get(), &parameters, image.get()) == OPJ_FALSE) {
        return {};
    }
    Sink sink;
    std::unique_ptr<opj_stream_t, StreamRelease> stream(opj_stream_create(64 * 1024, OPJ_FALSE));
    opj_stream_set_user_data(stream.get(), &sink, nullptr);
    opj_stream_set_write_function(stream.get(), Write);
    opj_stream_set_skip_function(stream.get(), Skip);
    opj_stream_set_seek_function(stream.get(), Seek);
    if (opj_start_compress(codec.get(), image.get(), stream.get()) == OPJ_FALSE ||
        opj_encode(codec.get(), stream.get()) == OPJ_FALSE ||
        opj_end_compress(codec.get(), stream.get()) == OPJ_FALSE) {
        return {};
    }
    return std::move(sink.bytes);
}

std::vector<uint8_t> MakeRgbPicture(int width, int height) {
    std::vector<uint8_t> rgb(static_cast<size_t>(width) * height * 3);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            uint8_t* pixel = &rgb[(static_cast<size_t>(y) * width + x) * 3];
            pixel[0] = static_cast<uint8_t>(40 + x * 160 / width);
            pixel[1] = static_cast<uint8_t>(30 + y * 180 / height);
            pixel[2] = static_cast<uint8_t>((x / 8 + y / 8) % 2 == 0 ? 200 : 60);
        }
    }
    return rgb;
}

std::vector<uint8_t> MakeGreyPicture(int width, int height) {
    std::vector<uint8_t> grey(static_cast<size_t>(width) * height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            grey[static_cast<size_t>(y) * width + x] = static_cast<uint8_t>((x * 7 + y * 13) % 251);
        }
    }
    return grey;
}

std::vector<Plane> RgbPlanes(const std::vector<uint8_t>& rgb, int width, int height) {
    std::vector<Plane> planes(3);
    for (int c = 0; c < 3; ++c) {
        planes[c].samples.resize(static_cast<size_t>(width) * height);
        for (size_t i = 0; i < planes[c].samples.size(); ++i) {
            planes[c].samples[i] = rgb[i * 3 + c];
        }
    }
    return planes;
}

std::vector<Plane> GreyPlanes(const std::vector<uint8_t>& grey) {
    Plane plane;
    plane.samples.assign(grey.begin(), grey.end());
    return {plane};
}

std::vector<uint8_t> ToBgr(const std::vector<uint8_t>& rgb) {
    std::vector<uint8_t> bgr(rgb.size());
    for (size_t i = 0; i + 2 < rgb.size(); i += 3) {
        bgr[i] = rgb[i + 2];
        bgr[i + 1] = rgb[i + 1];
        bgr[i + 2] = rgb[i];
    }
    return bgr;
}

double Psnr(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
    if (a.size() != b.size() || a.empty()) {
        return 0.0;
    }
    double sum = 0.0;
    for (size_t i = 0; i < a.size(); ++i) {
        double d = static_cast<double>(a[i]) - b[i];
        sum += d * d;
    }
    if (sum == 0.0) {
        return 99.0;
    }
    return 10.0 * std::log10(255.0 * 255.0 / (sum / static_cast<double>(a.size())));
}

} // namespace Jpeg2000Testing
