#pragma once

#include "codecs/video/IppDecoder.h"
#include "core/decoder/FormatDecoder.h"
#include "core/framelists/TimeList.h"
#include "core/time/TimeZoneInformation.h"
#include "core/time/TimeZoneRules.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Vorn::Vorncast::Decoders {

// Exports of an IndigoVision recorder: an incident (an ".ivi" text naming a folder with the
// "sites.vdb" camera list and a footage folder), a folder of ".vmf" files, or one ".mp4" or ".vmf"
// file. Each footage file is one channel, a chain of records behind a "VSES" tag: media records
// with MPEG-4 or H.264 frames and user records with the recorder's time zone. Up to 128 channels
// are merged by time; each keeps its own codec warm, so that stepping forward decodes one frame.
// All footage files stay open from load to unload.
class DecodeIndigoVision : public FormatDecoder {
public:
    explicit DecodeIndigoVision(const DecoderRow& row);
    ~DecodeIndigoVision() override;

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;
    int32_t GetPreviousFrame(int32_t frame, int32_t camera) override;
    int32_t GetNextFrame(int32_t frame, int32_t camera) override;
    int32_t IndexOfFrameAtStreamTime(int64_t streamTime) override {
        return frames.IndexAtStreamTime(streamTime);
    }
    void GetCameras(uint8_t* mask) override;

    struct IndigoVisionFrameInfo : FrameInfo {
        int32_t channel;
        bool isKeyFrame;
    };

protected:
    FrameTimes GetFrameTimes() override;
    void GetFrameCamera(CameraTag* camera) override { *camera = frames.GetAt(currentFrame).camera; }
    void ForgetRecording() override;
    DecoderAction QueryingCore() override;
    DecoderAction LoadingCore() override;
    DecoderAction PositioningCore() override;
    DecoderAction DecompressingCore() override;

private:
    class IndigoVisionFrameInfoList : public BaseFrameInfoList<IndigoVisionFrameInfo> {};
    struct Channel;

    DecoderAction OnQueryOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnQueryTag(ByteView tag);
    DecoderAction OnQueryClosed(int32_t) { return DDA_COMPLETE; }

    DecoderAction FindIncident();
    DecoderAction OnIncidentsListed(bool ok, FileList& listed);
    DecoderAction OpenIncident();
    DecoderAction OnIncidentOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnIncident(ByteView text);
    DecoderAction OnIncidentClosed(int32_t fileId);
    DecoderAction OnSitesOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnSites(ByteView xml);
    DecoderAction OnSitesClosed(int32_t fileId);
    DecoderAction OnFootageListed(bool ok, FileList& listed);
    DecoderAction OnDirectOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnDirectHead(ByteView head);
    DecoderAction OnDirectClosed(int32_t fileId);

    DecoderAction OpenNextFootage(size_t from);
    DecoderAction OnFootageOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction SearchTag();
    DecoderAction OnTagCandidate(ByteView bytes);
    DecoderAction ReadRecord();
    DecoderAction OnRecord(ByteView record);
    void AddFrame(ByteView record);
    void AddZone(ByteView record);
    DecoderAction FinishChannel();
    DecoderAction OnChannelFirstFrame(ByteView frame);
    DecoderAction FinishLoad();
    void SetUpZones();

    DecoderAction ReadWalkFrame();
    DecoderAction OnWalkFrame(bool ok, ByteView frame);

    // A footage entry and the name of the file to open for it.
    std::string FootagePath(const std::string& name) const;
    void NameChannel(Channel& channel, const std::string& name) const;
    uint64_t ReadLimit() const;

    IndigoVisionFrameInfoList frames;
    std::vector<std::unique_ptr<Channel>> channels;
    std::vector<std::string> footage;
    std::vector<TimeZoneInformation> timeZones;
    std::vector<TimeZoneRules> zoneRules;
    CameraTag cameraTable[MaxCameras] = {};
    bool camerasMet[MaxCameras] = {};
    std::string directory;
    std::string incidentName;
    std::string siteFolder;
    std::string footageFolder;
    bool incidentLoaded = false;
    size_t footageIndex = 0;
    int32_t fileId = -1;
    uint64_t fileSize = 0;
    uint64_t vsesSearchPosition = 0;
    uint64_t readOffset = 0;
    int32_t currentChannel = 0;
};

} // namespace Vorn::Vorncast::Decoders
