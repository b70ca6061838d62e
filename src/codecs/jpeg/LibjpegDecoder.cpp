#include "codecs/jpeg/LibjpegDecoder.h"

#include <jerror.h>

namespace Vorn::Vorncast::Decoders {

namespace {

// What the source hands over once the bytes are used up: an end-of-image marker, so that libjpeg
// finishes the picture with what it has instead of waiting for more.
const JOCTET EndOfImage[2] = {0xFF, JPEG_EOI};

} // namespace

J_COLOR_SPACE LibjpegColourSpace(int32_t channels) {
    switch (channels) {
    case 1:
        return JCS_GRAYSCALE;
    case 4:
        return JCS_CMYK;
    default:
        return JCS_EXT_BGR;
    }
}

LibjpegDecoder::LibjpegDecoder() {
    info.err = jpeg_std_error(&errors.base);
    errors.base.error_exit = OnError;
    errors.base.emit_message = OnMessage;
    errors.base.output_message = OnOutputMessage;
    // Creation fails only when memory runs out; the decoder then refuses every picture.
    if (setjmp(errors.jump) != 0) {
        return;
    }
    jpeg_create_decompress(&info);
    created = true;
    source.base.init_source = OnInitSource;
    source.base.fill_input_buffer = OnFillInput;
    source.base.skip_input_data = OnSkipInput;
    source.base.resync_to_restart = jpeg_resync_to_restart;
    source.base.term_source = OnTermSource;
    info.src = &source.base;
}

LibjpegDecoder::~LibjpegDecoder() {
    if (created) {
        jpeg_destroy_decompress(&info);
    }
}

LibjpegResult LibjpegDecoder::Decode(const LibjpegRequest& newRequest) {
    if (!created) {
        return {LibjpegOutcome::Failed, 0};
    }
    Prepare(newRequest);
    // libjpeg reports errors by OnError, which jumps back here. Run() keeps no objects with
    // destructors in its frame, so that nothing is skipped by the jump.
    if (setjmp(errors.jump) != 0) {
        return Abandon();
    }
    return Run();
}

void LibjpegDecoder::Prepare(const LibjpegRequest& newRequest) {
    request = &newRequest;
    size_t rowBytes = static_cast<size_t>(request->channels) * static_cast<size_t>(request->width);
    layout = JpegOutputLayout(request->buffer, request->bufferSize,
                              JpegLineStep(request->width, request->channels), rowBytes);
    rowPointers.resize(static_cast<size_t>(request->height));
    for (size_t line = 0; line < rowPointers.size(); ++line) {
        rowPointers[line] = layout.Row(line);
    }
    spareRow.resize(rowBytes);
    errors.scanEndedEarly = false;
    source.exhausted = false;
    source.base.next_input_byte = request->bytes;
    source.base.bytes_in_buffer = request->size;
    linesDone = false;
}

LibjpegResult LibjpegDecoder::Run() {
    jpeg_read_header(&info, TRUE);
    if (!HeaderMatchesRequest()) {
        return Abandon();
    }
    info.out_color_space = LibjpegColourSpace(request->channels);
    jpeg_start_decompress(&info);
    if (info.output_components != request->channels) {
        return Abandon();
    }
    // Pictures in several scans are read whole before the first line comes out.
    if (jpeg_has_multiple_scans(&info) && (source.exhausted || errors.scanEndedEarly)) {
        jpeg_abort_decompress(&info);
        return {LibjpegOutcome::Truncated, request->size};
    }
    if (!ReadLines()) {
        jpeg_abort_decompress(&info);
        return {LibjpegOutcome::Truncated, request->size};
    }
    linesDone = true;
    if (request->readToEnd) {
        jpeg_finish_decompress(&info);
    } else {
        jpeg_abort_decompress(&info);
    }
    return {LibjpegOutcome::Complete, Consumed()};
}

// After an error. A picture whose lines are all out stays good even when what follows its scan
// is damaged.
LibjpegResult LibjpegDecoder::Abandon() {
    size_t consumed = Consumed();
    jpeg_abort_decompress(&info);
    return {linesDone ? LibjpegOutcome::Complete : LibjpegOutcome::Failed, consumed};
}

bool LibjpegDecoder::HeaderMatchesRequest() const {
    return info.image_width == static_cast<JDIMENSION>(request->width) &&
           info.image_height == static_cast<JDIMENSION>(request->height) &&
           info.num_components == request->channels;
}

bool LibjpegDecoder::ReadLines() {
    size_t fit = layout.RowsThatFit();
    while (info.output_scanline < info.output_height) {
        size_t line = info.output_scanline;
        if (line < fit) {
            JDIMENSION got =
                jpeg_read_scanlines(&info, &rowPointers[line], static_cast<JDIMENSION>(fit - line));
            for (size_t i = 0; i < got; ++i) {
                FinishRow(rowPointers[line + i]);
            }
        } else {
            JSAMPROW spare = spareRow.data();
            jpeg_read_scanlines(&info, &spare, 1);
            FinishRow(spare);
            layout.WritePartialRow(line, spare);
        }
        if (errors.scanEndedEarly || info.output_scanline == line) {
            return false;
        }
    }
    return true;
}

void LibjpegDecoder::FinishRow(uint8_t* row) const {
    if (request->channels == 4) {
        PremultiplyFourChannelRow(row, static_cast<size_t>(request->width));
    }
}

size_t LibjpegDecoder::Consumed() const {
    return source.exhausted ? request->size : request->size - source.base.bytes_in_buffer;
}

void LibjpegDecoder::OnError(j_common_ptr info) {
    auto* errors = reinterpret_cast<ErrorManager*>(info->err);
    std::longjmp(errors->jump, 1);
}

// Warnings are not printed. The one that matters is a scan cut short by a marker that ends it: the
// end of the picture (real, or made up by the source when the bytes ran out) or any other segment.
// A restart marker met too early, or a code below the frame markers, is damage that libjpeg gets
// past at the next restart.
void LibjpegDecoder::OnMessage(j_common_ptr info, int level) {
    auto* errors = reinterpret_cast<ErrorManager*>(info->err);
    if (level >= 0) {
        return;
    }
    ++errors->base.num_warnings;
    int marker = reinterpret_cast<j_decompress_ptr>(info)->unread_marker;
    bool isRestart = marker >= JPEG_RST0 && marker <= JPEG_RST0 + 7;
    if (errors->base.msg_code == JWRN_HIT_MARKER && marker >= 0xC0 && !isRestart) {
        errors->scanEndedEarly = true;
    }
}

void LibjpegDecoder::OnOutputMessage(j_common_ptr) {}

void LibjpegDecoder::OnInitSource(j_decompress_ptr) {}

boolean LibjpegDecoder::OnFillInput(j_decompress_ptr info) {
    auto* source = reinterpret_cast<SourceManager*>(info->src);
    source->exhausted = true;
    source->base.next_input_byte = EndOfImage;
    source->base.bytes_in_buffer = sizeof(EndOfImage);
    return TRUE;
}

void LibjpegDecoder::OnSkipInput(j_decompress_ptr info, long count) {
    auto* source = reinterpret_cast<SourceManager*>(info->src);
    if (count <= 0) {
        return;
    }
    size_t skip = static_cast<size_t>(count);
    if (skip > source->base.bytes_in_buffer) {
        OnFillInput(info);
        return;
    }
    source->base.next_input_byte += skip;
    source->base.bytes_in_buffer -= skip;
}

void LibjpegDecoder::OnTermSource(j_decompress_ptr) {}

} // namespace Vorn::Vorncast::Decoders
