#pragma once

#include "formats/avi/BaseAVIDecoder.h"
#include "model/support/Calendar.h"

#include <map>

namespace Vorn::Vorncast::Decoders {

// Octar and Initial Electronic Systems recorders: MJPEG AVI files in a tree of date and hour
// folders, each named by its seconds since midnight and its camera. A "VISI" header names the
// camera; a "txts" stream, where there is one, dates every frame. A frame may hold two fields,
// one JPEG image each, which are woven into one picture.
class DecodeOctarIESS : public BaseAVIDecoder {
public:
    explicit DecodeOctarIESS(const DecoderRow& row);

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;

protected:
    void ForgetRecording() override;
    bool ValidateFourCC(uint32_t code) override;
    DecoderAction ListRecordingFiles() override;
    void MetaDataReadParameters(uint64_t* offset, uint32_t* size) override;
    DecoderAction ProcessMetaData(ByteView bytes) override;

    static constexpr uint32_t VisiBytes = 88;

    // Reads the 88 bytes at the running place: a "VISI" header names the camera; movi ends the search.
    DecoderAction SearchVisi(ByteView bytes);
    bool searchingVisi = true;
    uint64_t visiPosition = 0;
    int32_t visiCamera = -1;
    char visiName[21] = {};

private:
    bool HasTextStream();
    DecoderAction TimesFromName();
    DecoderAction FinishFile();
    void SpreadEarlierFile(int32_t camera);
    bool WeaveFields(ByteView frame, int32_t bufferSize, uint8_t* buffer);

    bool dateFromPath = false;
    SystemTime date = {};
    std::map<int32_t, size_t> lastStreamOfCamera; // camera number to its latest file's stream
    std::vector<uint8_t> fieldScratch;
};

} // namespace Vorn::Vorncast::Decoders
