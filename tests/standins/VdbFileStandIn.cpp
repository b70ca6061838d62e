// A stand-in for the LJD Leviathan maker's picture library: it reads the image store (.vmb) itself,
// each image a 24-byte header and its picture as raw blue, green, red lines, top line first, of the
// header's two measures. A camera's chain is its records in store order. When the program that loads
// it exports VdbStandInReadFile, the store is read through it, so that a test or a fuzzer can serve a
// file set from memory; otherwise from the file system.
#include "formats/ljd/VdbFile.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstring>
#include <vector>

#define VDB_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

struct Record {
    int32_t camera;
    int32_t width;
    int32_t height;
    bool key;
    size_t pixels; // offset in the store
};

struct Store {
    std::vector<uint8_t> bytes;
    std::vector<Record> records;
};

uint32_t Word(const uint8_t* at, int bytes) {
    uint32_t value = 0;
    for (int index = bytes - 1; index >= 0; --index) {
        value = value << 8 | at[index];
    }
    return value;
}

int32_t Give(Store* store, int32_t record, VdbBitmap* bitmap) {
    const Record& found = store->records[static_cast<size_t>(record)];
    *bitmap = {found.width, found.height, found.width * 3, store->bytes.data() + found.pixels};
    return 0;
}

// The program's reader: the size of the file at `path` (-1 when it cannot be read), and up to
// `capacity` of its bytes into `bytes` when that is not null.
using ProgramReader = int64_t (*)(const char* path, uint8_t* bytes, int64_t capacity);

bool ReadThroughProgram(ProgramReader reader, const char* path, std::vector<uint8_t>* bytes) {
    const int64_t size = reader(path, nullptr, 0);
    bytes->resize(size > 0 ? static_cast<size_t>(size) : 0);
    return size >= 0 && reader(path, bytes->data(), size) == size;
}

bool ReadFromFileSystem(const char* path, std::vector<uint8_t>* bytes) {
    FILE* file = std::fopen(path, "rb");
    if (file == nullptr) {
        return false;
    }
    uint8_t chunk[4096];
    for (size_t got; (got = std::fread(chunk, 1, sizeof chunk, file)) > 0;) {
        bytes->insert(bytes->end(), chunk, chunk + got);
    }
    std::fclose(file);
    return true;
}

} // namespace

VDB_EXPORT VdbHandle VDB_Open(const char* path) {
    auto* store = new Store;
    auto reader = reinterpret_cast<ProgramReader>(dlsym(RTLD_DEFAULT, "VdbStandInReadFile"));
    const bool served = reader != nullptr ? ReadThroughProgram(reader, path, &store->bytes)
                                          : ReadFromFileSystem(path, &store->bytes);
    if (!served) {
        delete store;
        return nullptr;
    }
    for (size_t at = 0; at + 24 <= store->bytes.size();) {
        const uint8_t* header = store->bytes.data() + at;
        const uint32_t size = Word(header + 4, 4);
        Record record{header[16], static_cast<int32_t>(Word(header + 17, 2)),
                      static_cast<int32_t>(Word(header + 19, 2)), (header[21] & 2) != 0, at + 24};
        if (size < 24 || at + size > store->bytes.size() ||
            24 + size_t(record.width) * record.height * 3 > size) {
            break;
        }
        store->records.push_back(record);
        at += size;
    }
    return store;
}

VDB_EXPORT void VDB_Close(VdbHandle handle) {
    delete static_cast<Store*>(handle);
}

VDB_EXPORT int32_t VDB_FirstRecord(VdbHandle) {
    return 0;
}

VDB_EXPORT int32_t VDB_RecordCount(VdbHandle handle) {
    return static_cast<int32_t>(static_cast<Store*>(handle)->records.size());
}

VDB_EXPORT int32_t VDB_ReadRecord(VdbHandle handle, int32_t record, VdbRecordInfo* info) {
    Store* store = static_cast<Store*>(handle);
    if (record < 0 || static_cast<size_t>(record) >= store->records.size()) {
        return 1;
    }
    const Record& found = store->records[static_cast<size_t>(record)];
    *info = {found.width, found.height, found.camera, found.key ? 1 : 0};
    return 0;
}

VDB_EXPORT int32_t VDB_GetFirstBitmap(VdbHandle handle, int32_t record, VdbBitmap* bitmap) {
    Store* store = static_cast<Store*>(handle);
    if (record < 0 || static_cast<size_t>(record) >= store->records.size() ||
        !store->records[static_cast<size_t>(record)].key) {
        return 1;
    }
    return Give(store, record, bitmap);
}

VDB_EXPORT int32_t VDB_GetNextBitmap(VdbHandle handle, int32_t* record, VdbBitmap* bitmap) {
    Store* store = static_cast<Store*>(handle);
    if (*record < 0 || static_cast<size_t>(*record) >= store->records.size()) {
        return 1;
    }
    const int32_t camera = store->records[static_cast<size_t>(*record)].camera;
    for (size_t next = static_cast<size_t>(*record) + 1; next < store->records.size(); ++next) {
        if (store->records[next].camera == camera) {
            *record = static_cast<int32_t>(next);
            return Give(store, *record, bitmap);
        }
    }
    return 1;
}
