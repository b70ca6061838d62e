#include "native/dvd/FFMpegFile.h"

#include "interface/LibraryFrame.h"
#include "native/dvd/DvdFiles.h"

#include <string>

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/mem.h>
}

namespace Vorn::Vorncast {
namespace {

constexpr const char* SourceFile = "Decoders\\DVD\\FFMpegFile";
constexpr int ReaderBufferBytes = 8192;
// What the reader may fill of its buffer; the rest stays free as the decoders' read padding.
constexpr int ReaderUsableBytes = 8160;

} // namespace

FFMpegFile::~FFMpegFile() {
    Close();
}

int FFMpegFile::Open(const char* fileSet) {
    std::string_view rest = fileSet != nullptr ? fileSet : "";
    while (!rest.empty()) {
        size_t end = rest.find(';');
        std::string path(rest.substr(0, end));
        if (!path.empty() && composite.Append(path.c_str()) != Success) {
            return DvdFail(SourceFile, __LINE__, GeneralFailure, "FFMpegFile::Open > Failed to append file");
        }
        rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
    }
    return composite.FileCount() > 0
               ? Success
               : DvdFail(SourceFile, __LINE__, GeneralFailure, "FFMpegFile::Open > Failed to append file");
}

int FFMpegFile::ReadBytes(void* opaque, uint8_t* destination, int size) {
    auto* file = static_cast<FFMpegFile*>(opaque);
    if (size <= 0 || file->position >= file->composite.TotalSize()) {
        return AVERROR_EOF;
    }
    uint32_t delivered = 0;
    if (file->composite.Seek(file->position, nullptr) != Success ||
        file->composite.Read(size, destination, size, &delivered) != Success || delivered == 0) {
        return AVERROR_EOF;
    }
    file->position += delivered;
    return static_cast<int>(delivered);
}

int64_t FFMpegFile::SeekBytes(void* opaque, int64_t offset, int whence) {
    auto* file = static_cast<FFMpegFile*>(opaque);
    const int64_t size = file->composite.TotalSize();
    int64_t target = 0;
    switch (whence & ~AVSEEK_FORCE) {
    case AVSEEK_SIZE:
        return size;
    case SEEK_SET:
        target = offset;
        break;
    case SEEK_CUR:
        target = file->position + offset;
        break;
    case SEEK_END:
        target = size + offset;
        break;
    default:
        return -1;
    }
    if (target < 0 || target > size) {
        return -1;
    }
    file->position = target;
    return target;
}

bool FFMpegFile::OpenInput() {
    Close();
    position = 0;
    auto* buffer = static_cast<uint8_t*>(av_malloc(ReaderBufferBytes));
    io = buffer != nullptr
             ? avio_alloc_context(buffer, ReaderUsableBytes, 0, this, ReadBytes, nullptr, SeekBytes)
             : nullptr;
    if (io == nullptr) {
        av_free(buffer);
        return false;
    }
    const AVInputFormat* input = nullptr;
    if (av_probe_input_buffer(io, &input, "** Composite file **", nullptr, 0, 0) < 0) {
        return false;
    }
    format = avformat_alloc_context();
    if (format == nullptr) {
        return false;
    }
    format->pb = io;
    format->flags |= AVFMT_FLAG_CUSTOM_IO;
    // On failure the context is freed and the pointer cleared; the reader stays ours.
    return avformat_open_input(&format, "** composite file **", input, nullptr) == 0;
}

bool FFMpegFile::FindStreamInfo() {
    return format != nullptr && avformat_find_stream_info(format, nullptr) >= 0;
}

void FFMpegFile::Close() {
    if (format != nullptr) {
        avformat_close_input(&format);
    }
    if (io != nullptr) {
        av_freep(&io->buffer);
        avio_context_free(&io);
    }
}

} // namespace Vorn::Vorncast
