#pragma once

#include "codecs/jpeg/JpegOutput.h"

#include <csetjmp>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <jpeglib.h>
#include <vector>

namespace Vorn::Vorncast::Decoders {

// libjpeg's colour space for pictures of 1, 3 or 4 bytes a pixel: grey, blue-first colour, CMYK.
J_COLOR_SPACE LibjpegColourSpace(int32_t channels);

// One picture to decode with libjpeg. Geometry comes from the codec's own marker parse; libjpeg
// must agree with it.
struct LibjpegRequest {
    const uint8_t* bytes; // from the SOI marker on
    size_t size;
    int32_t width;
    int32_t height;
    int32_t channels; // 1, 3 or 4
    uint8_t* buffer;
    size_t bufferSize;
    // Read on to the end-of-image marker, so that the bytes the picture used are known.
    bool readToEnd;
};

enum class LibjpegOutcome { Complete, Truncated, Failed };

struct LibjpegResult {
    LibjpegOutcome outcome;
    // Bytes of the request's input that the picture used (with readToEnd).
    size_t consumed;
};

// Baseline, extended and progressive decoding through libjpeg, with its errors and warnings kept
// away from the process: an error ends the decode with Failed, never with exit() or a print.
// The object is reusable; nothing of one picture carries over to the next.
class LibjpegDecoder {
public:
    LibjpegDecoder();
    ~LibjpegDecoder();
    LibjpegDecoder(const LibjpegDecoder&) = delete;
    LibjpegDecoder& operator=(const LibjpegDecoder&) = delete;

    LibjpegResult Decode(const LibjpegRequest& request);

private:
    struct ErrorManager {
        jpeg_error_mgr base;
        std::jmp_buf jump;
        // The scan met the end-of-image marker while it still needed data.
        bool scanEndedEarly;
    };
    struct SourceManager {
        jpeg_source_mgr base;
        // The bytes ran out and a made-up end-of-image marker was handed over instead.
        bool exhausted;
    };

    static void OnError(j_common_ptr info);
    static void OnMessage(j_common_ptr info, int level);
    static void OnOutputMessage(j_common_ptr info);
    static void OnInitSource(j_decompress_ptr info);
    static boolean OnFillInput(j_decompress_ptr info);
    static void OnSkipInput(j_decompress_ptr info, long count);
    static void OnTermSource(j_decompress_ptr info);

    void Prepare(const LibjpegRequest& request);
    LibjpegResult Run();
    LibjpegResult Abandon();
    bool HeaderMatchesRequest() const;
    // Reads every line into the buffer; false when the scan ends early.
    bool ReadLines();
    void FinishRow(uint8_t* row) const;
    size_t Consumed() const;

    jpeg_decompress_struct info{};
    ErrorManager errors{};
    SourceManager source{};
    const LibjpegRequest* request = nullptr;
    JpegOutputLayout layout{nullptr, 0, 1, 0};
    bool created = false;
    bool linesDone = false;
    std::vector<JSAMPROW> rowPointers;
    std::vector<uint8_t> spareRow;
};

} // namespace Vorn::Vorncast::Decoders
