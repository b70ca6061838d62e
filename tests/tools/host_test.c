/* A host program written in C against the public header only, doing what a player does with a
 * recording of the generic formats: initialise, build the autodetect collection, autodetect with the
 * callbacks, create the manual-only decoders by GUID, list tracks and streams, seek, step to both ends
 * and back, fetch pictures and check them against the pictures that were encoded, release all, close.
 * The recordings are written here first, with TurboJPEG. Usage: vorncast_host_test WORK_FOLDER */
#include <vorncast/VorncastDecoders.h>

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include <turbojpeg.h>

enum { Width = 64, Height = 48, FrameCount = 5, ScanBlock = 4096 };

static int failures = 0;

#define CHECK(condition)                                                                                     \
    do {                                                                                                     \
        if (!(condition)) {                                                                                  \
            fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #condition);                    \
            ++failures;                                                                                      \
        }                                                                                                    \
    } while (0)

#define CHECK_STATUS(call, expected)                                                                         \
    do {                                                                                                     \
        int status_ = (call);                                                                                \
        if (status_ != (expected)) {                                                                         \
            fprintf(stderr, "%s:%d: %s gave %d, not %d: %s\n", __FILE__, __LINE__, #call, status_,           \
                    (expected), LastError());                                                                \
            ++failures;                                                                                      \
        }                                                                                                    \
    } while (0)

static const char* LastError(void) {
    static char text[4096];
    uint32_t size = 0;
    text[0] = 0;
    GetVcLastError(&size, NULL);
    if (size > 0 && size <= sizeof text) {
        GetVcLastError(&size, text);
    }
    return text;
}

static unsigned char pictures[FrameCount][Width * Height * 3];

/* Blue, green and red ramps that shift with the frame, so that channel order, line order and frame
 * order faults all show. */
static void MakePicture(int frame, unsigned char* bgr) {
    for (int y = 0; y < Height; ++y) {
        for (int x = 0; x < Width; ++x) {
            unsigned char* pixel = bgr + (y * Width + x) * 3;
            pixel[0] = (unsigned char)(40 + x * 2 + frame * 20);
            pixel[1] = (unsigned char)(30 + y * 3);
            pixel[2] = (unsigned char)(200 - frame * 30);
        }
    }
}

static void WriteFile(const char* path, const unsigned char* bytes, unsigned long size) {
    FILE* file = fopen(path, "wb");
    CHECK(file != NULL && fwrite(bytes, 1, size, file) == size);
    if (file != NULL) {
        fclose(file);
    }
}

/* The pictures made and written twice: end to end in one file, zeros to the end of its last 4096-byte
 * block, and as numbered files of a folder. Full-resolution colour, so that the decoded pictures stay
 * close to the encoded ones. */
static void WriteRecordings(const char* filePath, const char* folder) {
    static unsigned char joined[FrameCount * Width * Height * 3 + ScanBlock];
    unsigned long total = 0;
    char path[1024];
    tjhandle compressor = tjInitCompress();
    mkdir(folder, 0755);
    for (int frame = 0; frame < FrameCount; ++frame) {
        unsigned char* jpeg = NULL;
        unsigned long size = 0;
        MakePicture(frame, pictures[frame]);
        CHECK(tjCompress2(compressor, pictures[frame], Width, 0, Height, TJPF_BGR, &jpeg, &size, TJSAMP_444,
                          95, 0) == 0);
        CHECK(total + size <= sizeof joined);
        memcpy(joined + total, jpeg, size);
        total += size;
        CHECK(snprintf(path, sizeof path, "%s/%03d.jpg", folder, frame + 1) < (int)sizeof path);
        WriteFile(path, jpeg, size);
        tjFree(jpeg);
    }
    tjDestroy(compressor);
    while (total % ScanBlock != 0) {
        joined[total++] = 0;
    }
    WriteFile(filePath, joined, total);
}

static int autodetectCalls = 0;
static int autodetectLastIndex = -1;
static int autodetectCount = 0;
static int logLines = 0;
static double lastProgress = -1;

static void OnLog(const char* file, int line, int level, const char* message) {
    (void)file, (void)line, (void)level, (void)message;
    ++logLines;
}

static int OnAutodetect(VcPublicDecoderInfo info, int index, int count) {
    (void)info;
    CHECK(index == autodetectLastIndex + 1);
    autodetectLastIndex = index;
    autodetectCount = count;
    ++autodetectCalls;
    return 0;
}

static void OnProgress(double fraction) {
    lastProgress = fraction;
}

static int NeverAbort(void) {
    return 0;
}

/* The frame whose encoded picture the sample shows; -1 when none is close. */
static int FrameOf(int stream, const VcSample* sample) {
    VcPublicVideoDescription description;
    CHECK_STATUS(Stream_GetVideoSampleDescription(stream, sample->descriptionHandle, &description),
                 VC_Success);
    CHECK(description.width == Width && description.height == Height && description.bytesPerPixel == 3);
    if (sample->uncompressedData == NULL || sample->uncompressedSize != Width * Height * 3) {
        return -1;
    }
    for (int frame = 0; frame < FrameCount; ++frame) {
        double sum = 0;
        for (uint32_t index = 0; index < sample->uncompressedSize; ++index) {
            sum += abs((int)pictures[frame][index] - (int)sample->uncompressedData[index]);
        }
        if (sum / sample->uncompressedSize < 3.0) {
            return frame;
        }
    }
    return -1;
}

static int Step(int stream, int forward, VcSample* sample) {
    VcSampleRequest request = {.abort = NeverAbort, .wantData = 1};
    return forward ? Stream_GetNextSample(stream, request, sample)
                   : Stream_GetPreviousSample(stream, request, sample);
}

/* The call that gave `sample` succeeded with the picture of `frame`; the sample goes back. */
static void ExpectFrame(int stream, int status, VcSample* sample, int frame) {
    CHECK_STATUS(status, VC_Success);
    CHECK(FrameOf(stream, sample) == frame);
    CHECK_STATUS(Stream_ReleaseSample(stream, *sample), VC_Success);
}

static void WalkBothWays(int stream) {
    VcSample sample = {0};
    for (int forward = 1; forward >= 0; --forward) {
        for (int step = 0; step < FrameCount; ++step) {
            ExpectFrame(stream, Step(stream, forward, &sample), &sample,
                        forward ? step : FrameCount - 1 - step);
        }
        int end = forward ? VC_EndOfStreamAfterEnd : VC_EndOfStreamBeforeStart;
        CHECK_STATUS(Step(stream, forward, &sample), end);
        CHECK(sample.uncompressedData == NULL);
        CHECK_STATUS(Step(stream, forward, &sample), end);
    }
    ExpectFrame(stream, Step(stream, 1, &sample), &sample, 0);
}

/* Seeks before the start, and to a time every frame of these clockless formats stands at. A file of
 * JPEGs finds no frame before time 0 and the last frame at 0; a folder answers its first frame for
 * any time. */
static void Seek(int stream, int startsAtAnyTime) {
    VcSeekRequest request = {.abort = NeverAbort, .wantData = 1, .targetTime = VC_TIME_MIN};
    VcSample sample = {0};
    int status = Stream_GoToTime(stream, request, &sample);
    if (!startsAtAnyTime) {
        CHECK_STATUS(status, VC_EndOfStreamBeforeStart);
        CHECK(sample.uncompressedData == NULL);
        status = Step(stream, 1, &sample);
    }
    ExpectFrame(stream, status, &sample, 0);
    request.targetTime = 0;
    status = Stream_GoToTime(stream, request, &sample);
    CHECK(sample.time.recordedTime == 0);
    ExpectFrame(stream, status, &sample, startsAtAnyTime ? 0 : FrameCount - 1);
}

static int FirstVideoStream(int decoder) {
    int tracks = 0, track = 0, stream = 0, size = 0;
    char name[256];
    VcTrackInfo trackInfo;
    VcStreamInfo streamInfo;
    CHECK_STATUS(Decoder_GetTrackCount(decoder, &tracks), VC_Success);
    CHECK(tracks == 1);
    CHECK_STATUS(Decoder_GetTrack(decoder, 0, &track), VC_Success);
    CHECK_STATUS(Track_GetInfo(track, &trackInfo), VC_Success);
    CHECK(trackInfo.streamCount == 1);
    CHECK_STATUS(Track_GetName(track, &size, NULL), VC_Success);
    CHECK(size > 0 && size <= (int)sizeof name);
    CHECK_STATUS(Track_GetName(track, &size, name), VC_Success);
    CHECK(strcmp(name, "Unnamed track") == 0);
    CHECK_STATUS(Track_GetStream(track, 0, &stream), VC_Success);
    CHECK_STATUS(Stream_GetInfo(stream, &streamInfo), VC_Success);
    CHECK(streamInfo.type == VC_StreamVideo && streamInfo.streamNumber == 0);
    return stream;
}

static int CreateByGuid(int collection, const char* name) {
    char text[256];
    int decoder = 0;
    VcPublicDecoderInfo info = {.name = text};
    CHECK_STATUS(DecoderCollection_FindDecoderInfoByName(collection, name, -1, -1, sizeof text, 0, 0, &info),
                 VC_Success);
    CHECK(info.manualOnly == 1);
    CHECK_STATUS(Decoder_Create(collection, info.guid, info.variant, info.subVariant, &decoder), VC_Success);
    return decoder;
}

static void ReadWithDecoder(int collection, const char* decoderName, const char* url, int startsAtAnyTime) {
    int decoder = CreateByGuid(collection, decoderName), resources = 0;
    int length = (int)strlen(url);
    VcQueryResult query = {0};
    CHECK_STATUS(Decoder_Query(decoder, length, url, 0, &query), VC_Success);
    CHECK_STATUS(Decoder_Query(decoder, length, url, 1, &query), VC_Success);
    CHECK(query.canLoad != 0);
    lastProgress = -1;
    CHECK_STATUS(Decoder_Load(decoder, length, url, OnProgress, NULL, NeverAbort, &resources), VC_Success);
    int stream = FirstVideoStream(decoder);
    WalkBothWays(stream);
    Seek(stream, startsAtAnyTime);
    CHECK_STATUS(Decoder_Close(decoder), VC_Success);
    CHECK_STATUS(Decoder_Release(decoder), VC_Success);
    VcStreamInfo stale;
    CHECK_STATUS(Stream_GetInfo(stream, &stale), VC_InvalidHandle);
}

static void AutodetectFindsNoneOfTheManualDecoders(int collection, const char* url) {
    int ordered = 0, decoder = -1, resources = -1, count = 0;
    VcDecoderInfoValue info;
    VcQueryResult query;
    CHECK_STATUS(DecoderCollection_GetAutodetectCollection(collection, url, &ordered), VC_Success);
    CHECK_STATUS(DecoderCollection_DecoderCount(ordered, &count), VC_Success);
    CHECK_STATUS(DecoderCollection_Autodetect(ordered, (int)strlen(url), url, OnAutodetect, OnProgress, NULL,
                                              NeverAbort, &decoder, &info, &query, &resources),
                 VC_GeneralFailure);
    CHECK(strstr(LastError(), "Failed to load") != NULL);
    CHECK(autodetectCalls == count && autodetectCount == count && decoder == 0 && resources == 0);
    CHECK_STATUS(DecoderCollection_Release(ordered), VC_Success);
}

/* A decoder lives as long as the collection it was made from, whatever happens to another one; and a
 * second decoder of its type that only queries and is released leaves its recording loaded: every frame
 * still comes, without its picture but telling the picture's size. */
static void DecodersOutliveOtherCollectionsAndDecoders(const char* url) {
    int first = 0, second = 0, resources = 0, length = (int)strlen(url);
    VcQueryResult query = {0};
    VcSample sample = {0};
    VcSampleRequest withoutData = {.abort = NeverAbort};
    CHECK_STATUS(DecoderCollection_Create(NULL, &first), VC_Success);
    CHECK_STATUS(DecoderCollection_Create(NULL, &second), VC_Success);
    int decoder = CreateByGuid(first, "Generic JPEG");
    CHECK_STATUS(Decoder_Load(decoder, length, url, NULL, NULL, NeverAbort, &resources), VC_Success);
    CHECK_STATUS(DecoderCollection_Release(second), VC_Success);
    CHECK_STATUS(Decoder_Query(decoder, length, url, 1, &query), VC_Success);
    int sameType = CreateByGuid(first, "Generic JPEG");
    CHECK_STATUS(Decoder_Query(sameType, length, url, 1, &query), VC_Success);
    CHECK_STATUS(Decoder_Release(sameType), VC_Success);
    int stream = FirstVideoStream(decoder);
    for (int frame = 0; frame < FrameCount; ++frame) {
        CHECK_STATUS(Stream_GetNextSample(stream, withoutData, &sample), VC_Success);
        CHECK(sample.uncompressedData == NULL && sample.uncompressedSize == Width * Height * 3);
        CHECK_STATUS(Stream_ReleaseSample(stream, sample), VC_Success);
    }
    CHECK_STATUS(Decoder_Close(decoder), VC_Success);
    CHECK_STATUS(Decoder_Release(decoder), VC_Success);
    CHECK_STATUS(DecoderCollection_Release(first), VC_Success);
}

int main(int argc, char** argv) {
    char file[1024], folder[1024], first[1100];
    VcInitRecord record = {.logCallback = OnLog};
    int collection = 0;
    if (argc != 2) {
        fprintf(stderr, "usage: %s WORK_FOLDER\n", argv[0]);
        return 2;
    }
    if (mkdir(argv[1], 0755) != 0 && errno != EEXIST) {
        perror(argv[1]);
        return 2;
    }
    snprintf(file, sizeof file, "%s/recording.mjpeg", argv[1]);
    snprintf(folder, sizeof folder, "%s/pictures", argv[1]);
    snprintf(first, sizeof first, "%s/001.jpg", folder);
    WriteRecordings(file, folder);

    CHECK_STATUS(InitVorncastDecoders(record), VC_Success);
    CHECK(logLines > 0);
    CHECK_STATUS(DecoderCollection_Create(NULL, &collection), VC_Success);
    AutodetectFindsNoneOfTheManualDecoders(collection, file);
    ReadWithDecoder(collection, "Generic JPEG", file, 0);
    CHECK(lastProgress == 1.0);
    ReadWithDecoder(collection, "Generic Folder of Jpegs", first, 1);
    DecodersOutliveOtherCollectionsAndDecoders(file);
    CHECK_STATUS(DecoderCollection_Release(collection), VC_Success);
    CHECK_STATUS(CloseVorncastDecoders(), VC_Success);
    if (failures > 0) {
        fprintf(stderr, "%d checks failed\n", failures);
        return 1;
    }
    printf("host program: all checks passed\n");
    return 0;
}
