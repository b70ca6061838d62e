#pragma once

#include <cstdint>

// The calls of the LJD Leviathan recorder maker's picture library, "libvdbfile.so", as this library
// binds them at run time. Any library that exports these seven calls can stand in for it.
extern "C" {

typedef void* VdbHandle;

// A decoded picture: three bytes a pixel in blue, green, red order, top line first, `bytesPerLine`
// apart. The bits belong to the library and stay valid until its next call on the handle.
struct VdbBitmap {
    int32_t width;
    int32_t height;
    int32_t bytesPerLine;
    const uint8_t* bits;
};

struct VdbRecordInfo {
    int32_t width;
    int32_t height;
    int32_t camera;
    int32_t isKeyFrame;
};

typedef VdbHandle (*VdbOpenCall)(const char* path); // 0 on failure
typedef void (*VdbCloseCall)(VdbHandle handle);
typedef int32_t (*VdbFirstRecordCall)(VdbHandle handle);
typedef int32_t (*VdbRecordCountCall)(VdbHandle handle);
// 0 on success, as for the two bitmap calls.
typedef int32_t (*VdbReadRecordCall)(VdbHandle handle, int32_t record, VdbRecordInfo* info);
// Positions on key record `record` and decodes it.
typedef int32_t (*VdbGetFirstBitmapCall)(VdbHandle handle, int32_t record, VdbBitmap* bitmap);
// Decodes the record after `*record` in the same camera's chain, and moves `*record` to it.
typedef int32_t (*VdbGetNextBitmapCall)(VdbHandle handle, int32_t* record, VdbBitmap* bitmap);

} // extern "C"
