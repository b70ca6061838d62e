#pragma once

#include "codecs/jpeg/JpegCodec.h"
#include "codecs/mpeg2ps/IppDecoderMPEG2PS.h"
#include "core/CoreTypes.h"
#include "formats/shared/ReferencePictures.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Vorn::Vorncast::Decoders {

// One channel section of the configuration.
struct InputChannelData {
    int32_t channelId = 0;
    int32_t inputNumber = 0;
    char name[64] = {};
    char quality[33] = {};
};

struct UVMSConfig {
    char dir[MaxPathLength] = {};
    std::vector<InputChannelData> channels;

    void Clear() { *this = UVMSConfig{}; }
    const InputChannelData* ChannelOfInput(int32_t inputNumber) const;
};

// Reads the ".ocf" text: "[channelN]" sections with their input number, name and quality, and the
// media directory of "[filesystem1]".
void ParseUVMSConfig(std::string_view text, UVMSConfig* config);

// One media file of a channel, from its 112-byte header.
struct UVMSChannelFile {
    uint32_t firstImage = 0;
    uint32_t lastImage = 0;
    uint32_t indexOffset = 0;
    uint32_t inputNumber = 0;
    int32_t mediaPosition = 0; // in the media file list
    uint64_t fileSize = 0;
};

struct UVMSChannelFrameInfo {
    int64_t time = 0;
    uint64_t offset = 0; // of the image's 224-byte header
    uint32_t size = 0;   // of the data behind the header
    PictureKind type = PictureKind::Other;
    uint32_t imageNumber = 0;
    int32_t channelFile = 0;
    uint16_t related[2] = {}; // stored, not used
};

// The frames of one input of the recorder, with what decoding them needs between calls.
struct UVMSInputChannel {
    CameraTag camera{};
    uint32_t inputNumber = 0;
    uint16_t width = 0;
    uint16_t height = 0;
    std::vector<UVMSChannelFile> files;
    std::vector<UVMSChannelFrameInfo> frames;
    uint32_t highestImage = 0;
    bool anyImage = false;

    ReferencePictures references;
    int32_t decodedFrame = -1;
    int32_t targetFrame = -1;
    int32_t fetchFrame = -1;
    int32_t openFileId = -1;
    int32_t openMediaPosition = -1;
    uint8_t* picture = nullptr;
    bool imageGood = false;
    std::unique_ptr<JpegDecoderScratch> jpeg;
    std::unique_ptr<IppDecoderMPEG2PS> mpeg;

    PictureKind KindOf(int32_t frame) const { return frames[static_cast<size_t>(frame)].type; }
};

} // namespace Vorn::Vorncast::Decoders
