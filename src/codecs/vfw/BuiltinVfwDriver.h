#pragma once

#include "codecs/vfw/DibDriver.h"
#include "codecs/vfw/VfwBuiltinDecoders.h"

#include <memory>

namespace Vorn::Vorncast::Decoders {

// A driver whose frames go to one of the library's own decode functions (VfwBuiltinDecoders.h).
class BuiltinVfwDriver final : public DibDriver {
public:
    explicit BuiltinVfwDriver(uint32_t handler) : handler(handler) {}

    int32_t End() override { return ICERR_OK; }

protected:
    bool CanDecode() const override;
    int32_t Prepare(ByteView input) override;
    int32_t DecodeFrame(ByteView frame, uint8_t* dib) override;

private:
    uint32_t handler;
    VfwBuiltinDecodeFunction decode = nullptr;
    std::unique_ptr<uint8_t[]> picture;
};

} // namespace Vorn::Vorncast::Decoders
