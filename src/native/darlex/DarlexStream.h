#pragma once

#include "codecs/adv601/ADV601Decoder.h"
#include "model/decoder/SampleDescription.h"
#include "model/decoder/Stream.h"
#include "model/files/CompositeFile.h"
#include "native/darlex/DarlexBlocks.h"

#include <memory>
#include <string>
#include <vector>

namespace Vorn::Vorncast {

// One frame of the second a stream stands in.
struct DarlexFrameInfo {
    int64_t position;
    int64_t time;
    int32_t ordinal; // in its second
    int32_t dataBlocks;
};

// The pictures of one camera between a track's bounds. There is no index: a seek searches the
// 512-byte grid by time, halving the range, and the stream keeps the frames of the one second it
// stands in, whose times share out that second.
class DarlexStream : public Stream {
public:
    DarlexStream(int32_t channel, int64_t lower, int64_t upper);
    ~DarlexStream() override;

    // Opens the stream's own chain of the image's files.
    int Open(const std::vector<std::string>& paths);

    int GoToTime(SeekRequest request, Sample* sample) override;
    int GetNextSample(SampleRequest request, Sample* sample) override;
    int GetPreviousSample(SampleRequest request, Sample* sample) override;
    int ReleaseSample(Sample sample) override;
    SampleDescription* GetSampleDescription(int descriptionHandle) override;

    // Sectors looked at for a frame header, and frame headers found, since the stream was made.
    int64_t BlocksExamined() const { return blocksExamined; }
    int64_t HeadersFound() const { return headersFound; }

private:
    enum Position : int32_t { BeforeStart = 0, OnSample = 1, AfterEnd = 2 };
    // A stretch of the image: positions from `lower` on and below `upper`.
    struct Bounds {
        int64_t lower = 0;
        int64_t upper = 0;
    };
    struct Found {
        int64_t position = 0;
        DarlexFrameHeader header;
    };

    int FindFrameHeader(int32_t direction, int64_t start, int64_t limit, Found* found, AbortOperation abort);
    int FindChannelFrame(int32_t direction, int64_t start, int64_t limit, Found* found, AbortOperation abort);
    int ReadBlocks(int64_t first, int64_t count);
    int SearchByTime(int64_t target, AbortOperation abort, Found* found, Bounds* second);
    int RunBack(int64_t from, Found* found, AbortOperation abort);
    int BuildLocalIndex(const Found& from, AbortOperation abort, Bounds bounds);
    void AddToLocalIndex(const Found& frame);
    int32_t IndexOf(int64_t position) const;
    int StepToNextSecond(AbortOperation abort);
    int StepToPreviousSecond(AbortOperation abort);
    int GetSampleFromHeader(const DarlexFrameInfo& frame, const SampleRequest& request, Sample* sample);

    int64_t targetSecond = 0;
    int64_t currentPosition = -1;
    int64_t lowerBound;
    int64_t upperBound;
    int64_t endOfFile = 0;
    std::unique_ptr<Decoders::ADV601Decoder> decoderContext;
    std::vector<DarlexFrameInfo> localIndex;
    int32_t indexPosition = -1;
    int32_t position = BeforeStart;
    CompositeFile file;
    std::unique_ptr<VideoSampleDescription> description;
    std::vector<uint8_t> blocks; // a run of sectors read at once by the search
    std::vector<uint8_t> field;
    int64_t blocksExamined = 0;
    int64_t headersFound = 0;
};

} // namespace Vorn::Vorncast
