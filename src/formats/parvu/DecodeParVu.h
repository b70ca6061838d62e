#pragma once

#include "codecs/jpeg/JpegCodec.h"
#include "codecs/video/IppDecoderMPEG4.h"
#include "core/framelists/TimeList.h"
#include "formats/shared/FolderFiles.h"
#include "formats/shared/FrameListDecoder.h"

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

namespace Vorn::Vorncast::Decoders {

// A frame of a Dedicated Micros recording: the standard head (the offset is that of its 168-byte
// picture header, the size runs to the end of its data), the vid file that holds it, and its kind.
struct ParVuFrameItem : FrameInfo {
    int32_t fileIndex;
    uint16_t kind;
};
class ParVuFrameList : public BaseFrameInfoList<ParVuFrameItem> {};

// Dedicated Micros Observer recordings, as partitions of a recorder's disk or as separate `vid` and
// `idx` files. Every picture stands behind a 168-byte header. An idx file is a run of 12-byte
// entries (picture offset, time in seconds, camera, kind) for the vid file of the same name; a
// partition holds its pictures itself, behind a 28-byte header, an index of 12-byte entries and
// sections of 24 bytes whose records (16 bytes for frames, 64 for cameras) list them. Pictures are
// JPEG images, with or without their own headers, or MPEG-4 frames, decoded by one decoder for
// each camera.
class DecodeParVu : public FrameListDecoder<ParVuFrameList> {
public:
    using FrameListDecoder::FrameListDecoder;

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;

    // The kind word of a frame from which decoding can start; its low byte says MPEG-4 when 1.
    static constexpr uint16_t KeyFrameMark = 8192;
    static constexpr uint16_t Mpeg4Kind = 1;

protected:
    void ForgetRecording() override;
    DecoderAction QueryingCore() override;
    DecoderAction LoadingCore() override;
    DecoderAction DecompressingCore() override;

private:
    struct Section {
        uint32_t type;
        uint32_t offset;
    };
    static constexpr uint32_t FrameSection = 1;
    static constexpr uint32_t CameraSection = 5;
    struct Mpeg4Camera {
        IppDecoderMPEG4 decoder;
        std::vector<uint8_t> picture;
        int32_t lastDecoded = -1;
    };
    static constexpr uint32_t HeaderSize = 168;
    static constexpr uint32_t EntrySize = 12;

    DecoderAction OnQueryOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnQueryMagic(ByteView magic);
    DecoderAction OnQueryClosed(int32_t fileId);

    DecoderAction OnParListed(bool ok, FileList& listed);
    DecoderAction OpenPartition();
    DecoderAction OnPartitionOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnPartitionHeader(ByteView header);
    DecoderAction OnPartitionIndex(ByteView index);
    DecoderAction ReadNextSection();
    DecoderAction OnSection(ByteView section);
    DecoderAction OnFrameRecords(ByteView records);
    void AppendEntry(ByteReader& r);
    DecoderAction OnIdxListed(bool ok, FileList& listed);
    DecoderAction OnVidListed(bool ok, FileList& listed);
    DecoderAction OpenIdx();
    DecoderAction OnIdxOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnIdxEntries(ByteView entries);
    DecoderAction OnIdxClosed(int32_t fileId);
    DecoderAction OnVidOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction ReadPictureHeader();
    DecoderAction OnPictureHeaderRead(bool ok, ByteView header);
    DecoderAction OnVidClosed(int32_t fileId);
    DecoderAction Finish();

    DecoderAction FetchCurrentFrame();
    DecoderAction StartMpeg4Walk();
    DecoderAction ReadFetchFrame();
    DecoderAction OnFetchClosed(int32_t fileId);
    DecoderAction OnFetchOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnFetchFrame(ByteView bytes);
    DecoderAction TakeJpeg(ByteView header, ByteView data);
    DecoderAction TakeMpeg4(ByteView data);

    FolderFiles idxFiles;
    // The vid files, or the partitions, that hold the pictures.
    FolderFiles vidFiles;
    bool partitions = false;
    std::vector<Section> sections;
    int32_t fileIndex = 0;
    int32_t fileId = -1;
    uint64_t fileSize = 0;
    int32_t firstOfFile = 0;
    int32_t headerFrame = 0;
    int32_t pictureWidth = 0;
    int32_t pictureHeight = 0;

    int32_t fetchFileId = -1;
    int32_t fetchFileIndex = -1;
    int32_t fetchFrame = -1;
    Mpeg4Camera* fetchCamera = nullptr;
    std::map<uint16_t, std::unique_ptr<Mpeg4Camera>> mpeg4Cameras;
    bool imageValid = false;
    bool imageIsJpeg = false;
    std::vector<uint8_t> jpeg;
    JpegDecoderScratch jpegScratch;
};

} // namespace Vorn::Vorncast::Decoders
