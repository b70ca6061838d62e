#include "support/PngFile.h"

#include "support/OutputFiles.h"

#include <png.h>
#include <stdexcept>

namespace VorncastTool {

namespace {

[[noreturn]] void FailPng(png_structp, png_const_charp message) {
    throw std::runtime_error(message);
}
void IgnorePngWarning(png_structp, png_const_charp) {}

void WriteRows(FILE* file, const Picture& picture) {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, FailPng, IgnorePngWarning);
    png_infop info = png == nullptr ? nullptr : png_create_info_struct(png);
    if (info == nullptr) {
        png_destroy_write_struct(&png, nullptr);
        throw std::runtime_error("libpng could not be set up");
    }
    try {
        png_init_io(png, file);
        const int colourType = picture.bytesPerPixel == 1 ? PNG_COLOR_TYPE_GRAY : PNG_COLOR_TYPE_RGB;
        png_set_IHDR(png, info, static_cast<png_uint_32>(picture.width),
                     static_cast<png_uint_32>(picture.height), 8, colourType, PNG_INTERLACE_NONE,
                     PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        png_write_info(png, info);
        if (picture.bytesPerPixel == 3) {
            png_set_bgr(png);
        }
        for (int32_t y = 0; y < picture.height; ++y) {
            png_write_row(png, picture.Pixel(0, y));
        }
        png_write_end(png, nullptr);
    } catch (...) {
        png_destroy_write_struct(&png, &info);
        throw;
    }
    png_destroy_write_struct(&png, &info);
}

} // namespace

void WritePng(const std::string& path, const Picture& picture) {
    NewFile file(path);
    try {
        WriteRows(file.Handle(), picture);
    } catch (const std::exception& error) {
        throw std::runtime_error("cannot write " + path + ": " + error.what());
    }
    file.Finish();
}

} // namespace VorncastTool
