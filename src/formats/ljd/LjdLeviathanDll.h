#pragma once

#include "core/CoreTypes.h"
#include "core/decoder/MasWorkerThread.h"
#include "formats/ljd/VdbFile.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

struct LjdLeviathanDllInput {
    int32_t kind = 0; // 0 open, 1 close, 2 read
    char path[MaxPathLength] = {};
    int32_t camera = 0;
    int32_t keyFrame = 0;
    int32_t frame = 0;
    uint8_t* buffer = nullptr;
    int32_t bufferSize = 0;
};

struct LjdLeviathanDllOutput {
    int32_t width = 0;
    int32_t height = 0;
    bool result = false;
};

// The maker's picture library of the LJD Leviathan recorder, run on a worker thread of its own:
// it is slow and blocks. The library is bound when the object is made, "libvdbfile.so" beside this
// library first and then on the default search path; without it every request fails. Requests are
// submitted (false while one is in hand), and their results picked up once the complete event is
// signalled.
class LjdLeviathanDll : public MasWorkerThread<LjdLeviathanDllInput, LjdLeviathanDllOutput> {
public:
    LjdLeviathanDll(WaitEvent& completeEvent, LogSink log, void* logContext);
    ~LjdLeviathanDll() override;

    bool Open(const char* path);
    bool Close();
    // Decodes `frame` of `camera` from its key frame (or from the frame last decoded, when that lies
    // on the way) into `buffer`, which must stay untouched until the result is picked up.
    bool Read(int32_t camera, int32_t keyFrame, int32_t frame, uint8_t* buffer, int32_t bufferSize);

    bool GetOpenResult(int32_t* width, int32_t* height);
    bool GetCloseResult();
    bool GetReadResult();

protected:
    void SetInput(const LjdLeviathanDllInput& input) override { request = input; }
    void GetOutput(LjdLeviathanDllOutput* output) override { *output = result; }
    void Process() override;

private:
    struct Calls {
        VdbOpenCall open;
        VdbCloseCall close;
        VdbFirstRecordCall firstRecord;
        VdbRecordCountCall recordCount;
        VdbReadRecordCall readRecord;
        VdbGetFirstBitmapCall getFirstBitmap;
        VdbGetNextBitmapCall getNextBitmap;
    };

    bool Bind();
    bool ProcessOpen();
    bool ProcessRead();
    bool ReachFrame(const LjdLeviathanDllInput& wanted);
    void CopyBitmap(uint8_t* buffer, int32_t bufferSize) const;

    void* library = nullptr;
    Calls calls{};
    VdbHandle handle = nullptr;
    VdbBitmap bitmap{};
    int32_t cursorCamera = -1;
    int32_t cursorRecord = -1;
    LjdLeviathanDllInput request;
    LjdLeviathanDllOutput result;
};

} // namespace Vorn::Vorncast::Decoders
