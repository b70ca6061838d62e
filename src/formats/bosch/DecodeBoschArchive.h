#pragma once

#include "codecs/video/IppDecoderMPEG4.h"
#include "core/decoder/FormatDecoder.h"
#include "core/framelists/CameraInfoList.h"
#include "core/framelists/TimeList.h"
#include "core/time/TimeZoneInformation.h"
#include "core/time/TimeZoneRules.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Vorn::Vorncast::Decoders {

// An export of a Bosch recorder: a ".info" file beside a folder of the same name, in which each
// backup is a folder with a "Backup.info" (camera name, time zone), dBASE-style ".DBF" index
// tables of 425-byte records, and numbered ".DBX" files of MPEG-4 video. Each backup is one camera
// with its own codec; the frames of all tables merge by time, and each frame knows the key frame
// it decodes from, so that stepping forward decodes one frame.
class DecodeBoschArchive : public FormatDecoder {
public:
    explicit DecodeBoschArchive(const DecoderRow& row);
    ~DecodeBoschArchive() override;

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;
    int32_t GetPreviousFrame(int32_t frame, int32_t camera) override;
    int32_t GetNextFrame(int32_t frame, int32_t camera) override;
    int32_t IndexOfFrameAtStreamTime(int64_t streamTime) override;
    uint64_t GetFramePeriod() override { return static_cast<uint64_t>(frames.EstimateFramePeriod()); }
    void GetCameras(uint8_t* mask) override;

    struct BoschArchiveFrameInfo {
        int64_t recordedTime;
        int64_t streamTime;
        int64_t offset; // in the data file
        int32_t size;
        int16_t channel;   // the backup, its camera and codec
        int16_t dbfIndex;  // the table among all tables of the archive
        int16_t dbxNumber; // the data file of the table
        int32_t iFrame;    // the key frame: in the table while loading, in the merged list after
    };
    static constexpr uint32_t RecordSize = 425;

protected:
    FrameTimes GetFrameTimes() override;
    void GetFrameCamera(CameraTag* camera) override;
    void ForgetRecording() override;
    DecoderAction LoadingCore() override;
    DecoderAction DecompressingCore() override;

private:
    using FrameList = FrameItemList<BoschArchiveFrameInfo>;
    struct Backup;
    struct Table;

    DecoderAction OnBackupsListed(bool ok, FileList& listed);
    DecoderAction OpenBackupInfo();
    DecoderAction OnBackupInfoOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnBackupInfo(ByteView text);
    DecoderAction OnBackupInfoClosed(int32_t fileId);
    DecoderAction ListTables();
    DecoderAction OnTablesListed(bool ok, FileList& listed);
    DecoderAction OpenTable();
    DecoderAction OnTableOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnTableHeader(ByteView header);
    DecoderAction ReadTableRecord();
    DecoderAction OnTableRecord(ByteView record);
    DecoderAction OnTableClosed(int32_t fileId);
    DecoderAction MergeTables();
    DecoderAction FinishLoad();
    // A key frame as the merge meets it: its table, its place there, its data file and its place in
    // the merged list.
    struct KeyFrame {
        int16_t table;
        int32_t local;
        int16_t dbxNumber;
        int32_t global;
    };
    void MapKeyFrames(const std::vector<KeyFrame>& keyFrames);
    void SetUpTimeZone();

    DecoderAction WalkOn();
    DecoderAction OnDataClosed(int32_t fileId);
    DecoderAction OpenDataFile();
    DecoderAction OnDataOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction ReadWalkFrame();
    DecoderAction OnWalkFrame(ByteView frame);

    std::string DataFilePath(const BoschArchiveFrameInfo& frame) const;

    std::string root;
    std::vector<std::string> backupEntries;
    std::vector<std::unique_ptr<Backup>> backups;
    std::vector<std::unique_ptr<Table>> tables;
    std::vector<std::string> tableNames; // of every table of the archive, by dbfIndex
    FrameList frames;
    CameraInfoList cameras;
    TimeZoneInformation timeZone = {};
    TimeZoneRules zoneRules;
    int64_t timeZoneOffset = 0;
    size_t backupIndex = 0;
    size_t tableIndex = 0;
    size_t firstTableOfBackup = 0;
    int32_t fileId = -1;
    uint64_t fileSize = 0;
    uint64_t recordOffset = 0;
    int32_t pictureWidth = 0;
    int32_t pictureHeight = 0;
    int32_t frameToDecode = -1;
    int32_t currentBackup = 0;
};

} // namespace Vorn::Vorncast::Decoders
