/*
 * Vorncast decoders: the C boundary of libVorncastDecoders.so.
 *
 * Every record here is a binary interface with hosts built apart from the library. Field order
 * and widths are fixed. 64-bit fields are aligned to 8 bytes on every target, so that on i386
 * (-m32) the offsets are those of the original 32-bit platform. Pointers and function pointers
 * have the width of the platform; on x86-64 the records take natural alignment, which moves the
 * fields behind a pointer. Both layouts are asserted by a test that compiles this header.
 *
 *   record                    i386 size   x86-64 size
 *   VcInitRecord                   832          840
 *   VcFrameTimes                    32           32
 *   VcSample                        56           64
 *   VcSampleRequest                 32           32
 *   VcSeekRequest                   72           72
 *   VcQueryResult                  152          152
 *   VcTrackInfo                     72           72
 *   VcStreamInfo                    12           12
 *   VcPublicDecoderInfo             56           72
 *   VcPublicVideoDescription        24           24
 *   VcPublicAudioDescription        16           16
 *
 * Times are signed 64-bit counts of 100-nanosecond ticks since 0001-01-01 00:00:00.
 */
#ifndef VORNCAST_VORNCASTDECODERS_H
#define VORNCAST_VORNCASTDECODERS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define VC_EXPORT __attribute__((visibility("default")))
#define VC_ALIGN8 __attribute__((aligned(8)))

typedef int64_t VcTime VC_ALIGN8;
typedef int64_t VcInt64 VC_ALIGN8;

/* Status codes of every exported function. 2, 6 and 10 are never produced. */
enum {
    VC_Success = 0,
    VC_GeneralFailure = 1,
    VC_EndOfStreamBeforeStart = 3,
    VC_EndOfStreamAfterEnd = 4,
    VC_UserAborted = 5,
    VC_InvalidArgument = 7,
    VC_CatastrophicFailure = 8,
    VC_InvalidHandle = 9,
    VC_UnhandledException = 11
};

/* Stream types. */
enum { VC_StreamVideo = 1, VC_StreamAudio = 2 };

/* The special times before and after everything. */
#define VC_TIME_MIN ((int64_t)INT64_MIN)
#define VC_TIME_MAX ((int64_t)INT64_MAX)

/* ---- callbacks ---- */

typedef void (*VcLogCallback)(const char* sourceFile, int line, int level, const char* message);
typedef void (*VcProgressCallback)(double fraction);
typedef void (*VcMessageCallback)(int32_t message);
/* Returns nonzero when the caller wants the running operation ended. */
typedef int (*VcAbortOperation)(void);

/* ---- records ---- */

typedef struct VcGuid {
    uint32_t data1;
    uint16_t data2;
    uint16_t data3;
    uint8_t data4[8];
} VcGuid;

typedef struct VcInitRecord {
    uint8_t reserved[824];
    int32_t importPluginsEnabled; /* 0: no import plug-in directory is searched */
    VcLogCallback logCallback;    /* may be null */
} VcInitRecord;

typedef struct VcFrameTimes {
    VcTime recordedTime; /* the recorder's clock */
    VcTime streamTime;   /* the order of play and seeking */
    VcInt64 zoneBias;    /* bias of the recorder's zone, 0 when unknown */
    uint8_t zoneKnown;
    uint8_t zoneFlag;
    uint8_t padding[6];
} VcFrameTimes;

typedef struct VcSample {
    uint32_t uncompressedSize;
    uint8_t* uncompressedData; /* allocated by the stream; freed by Stream_ReleaseSample */
    int32_t descriptionHandle;
    VcFrameTimes time;
    int32_t reserved;
} VcSample;

typedef struct VcSampleRequest {
    VcAbortOperation abort; /* must not be null for streams of digital decoders */
    VcInt64 parameters[2];  /* opaque, passed through */
    int32_t wantData;       /* 1 decompresses the frame; else time and description only */
    int32_t reserved;
} VcSampleRequest;

typedef struct VcSeekRequest {
    VcAbortOperation abort;
    VcInt64 parameters[2];
    int32_t wantData;
    int32_t reserved;
    VcInt64 reserved2;
    VcTime targetTime; /* on the streamTime scale */
    VcTime secondTarget;
    VcInt64 zoneBias;
    VcInt64 reserved3;
} VcSeekRequest;

typedef struct VcQueryResult {
    int32_t canLoad;
    int32_t hasTimes;
    int32_t hasFrameCount;
    int32_t reserved;
    VcInt64 reserved2;
    VcFrameTimes startTime;
    VcFrameTimes endTime;
    int32_t pictureCount;
    uint32_t frameCountLow;
    uint32_t frameCountHigh;
    uint32_t description[10];
    uint32_t reserved3[3];
} VcQueryResult;

typedef struct VcTrackInfo {
    int32_t nameSize;
    int32_t streamCount;
    VcFrameTimes startTime;
    VcFrameTimes endTime;
} VcTrackInfo;

typedef struct VcStreamInfo {
    int32_t nameSize;
    int32_t streamNumber;
    int32_t type;
} VcStreamInfo;

typedef struct VcPublicDecoderInfo {
    VcGuid guid;
    uint8_t variant;
    uint8_t subVariant;
    char* name;
    char* patterns;
    char* extensions;
    int32_t available;
    int32_t container;
    int32_t manualOnly;
    int32_t manualOnly2;
    int32_t priority;
    uint32_t kind;
} VcPublicDecoderInfo;

/* The same record with the library's own text pointers inside, valid while the collection lives. */
typedef VcPublicDecoderInfo VcDecoderInfoValue;

typedef struct VcPublicVideoDescription {
    int32_t width;
    int32_t height;
    uint16_t bytesPerPixel;
    int32_t aspectNumerator;
    int32_t aspectDenominator;
    int32_t format;
} VcPublicVideoDescription;

typedef struct VcPublicAudioDescription {
    int32_t sampleRate;
    int32_t bitsPerSample;
    int32_t channels;
    int32_t maxSampleBytes;
} VcPublicAudioDescription;

/* Called by DecoderCollection_Autodetect before each decoder is tried; its result is ignored. */
typedef int (*VcAutodetectCallback)(VcPublicDecoderInfo info, int index, int count);

/* ---- library ---- */

VC_EXPORT int InitVorncastDecoders(VcInitRecord record);
VC_EXPORT int CloseVorncastDecoders(void);
VC_EXPORT int GetVcLastError(uint32_t* size, char* text);
VC_EXPORT int GetIppLibVersion(uint32_t* major, uint32_t* minor, uint32_t* majorBuild, uint32_t* build);
VC_EXPORT int GetSDKVersion(uint32_t* major, uint32_t* minor, uint32_t* revision, uint32_t* build);

/* ---- collections ---- */

VC_EXPORT int DecoderCollection_Create(const char* pluginRoot, int* collection);
VC_EXPORT int DecoderCollection_Release(int collection);
VC_EXPORT int DecoderCollection_GetAutodetectCollection(int collection, const char* url,
                                                        int* autodetectCollection);
VC_EXPORT int DecoderCollection_DecoderCount(int collection, int* count);
VC_EXPORT int DecoderCollection_GetDecoderInfoByIndex(int collection, int index, uint32_t nameCapacity,
                                                      uint32_t extensionsCapacity, uint32_t patternsCapacity,
                                                      VcPublicDecoderInfo* info);
VC_EXPORT int DecoderCollection_FindDecoderInfoByGUID(int collection, VcGuid guid, int variant, int subVariant,
                                                      uint32_t nameCapacity, uint32_t extensionsCapacity,
                                                      uint32_t patternsCapacity, VcPublicDecoderInfo* info);
VC_EXPORT int DecoderCollection_FindDecoderInfoByName(int collection, const char* name, int variant,
                                                      int subVariant, uint32_t nameCapacity,
                                                      uint32_t extensionsCapacity, uint32_t patternsCapacity,
                                                      VcPublicDecoderInfo* info);
VC_EXPORT int DecoderCollection_Autodetect(int collection, int urlLength, const char* url,
                                           VcAutodetectCallback callback, VcProgressCallback progress,
                                           VcMessageCallback message, VcAbortOperation abort, int* decoder,
                                           VcDecoderInfoValue* info, VcQueryResult* query, int* resourceCount);

/* ---- decoders ---- */

VC_EXPORT int Decoder_Create(int collection, VcGuid guid, int variant, int subVariant, int* decoder);
VC_EXPORT int Decoder_Query(int decoder, int urlLength, const char* url, int detail, VcQueryResult* result);
VC_EXPORT int Decoder_Query_GetDescription(int decoder, int* size, char* text);
VC_EXPORT int Decoder_Load(int decoder, int urlLength, const char* url, VcProgressCallback progress,
                           VcMessageCallback message, VcAbortOperation abort, int* resourceCount);
VC_EXPORT int Decoder_GetResourceURL(int decoder, int index, uint32_t* size, char* text);
VC_EXPORT int Decoder_Close(int decoder);
VC_EXPORT int Decoder_Release(int decoder);
VC_EXPORT int Decoder_GetTrackCount(int decoder, int* count);
VC_EXPORT int Decoder_GetTrack(int decoder, int index, int* track);

/* ---- tracks ---- */

VC_EXPORT int Track_GetInfo(int track, VcTrackInfo* info);
VC_EXPORT int Track_GetName(int track, int* size, char* text);
VC_EXPORT int Track_GetStream(int track, int streamIndex, int* stream);

/* ---- streams ---- */

VC_EXPORT int Stream_GetName(int stream, int* size, char* text);
VC_EXPORT int Stream_GetInfo(int stream, VcStreamInfo* info);
VC_EXPORT int Stream_GoToTime(int stream, VcSeekRequest request, VcSample* sample);
VC_EXPORT int Stream_GetNextSample(int stream, VcSampleRequest request, VcSample* sample);
VC_EXPORT int Stream_GetPreviousSample(int stream, VcSampleRequest request, VcSample* sample);
VC_EXPORT int Stream_ReleaseSample(int stream, VcSample sample);
VC_EXPORT int Stream_GetVideoSampleDescription(int stream, int descriptionHandle,
                                               VcPublicVideoDescription* description);
VC_EXPORT int Stream_GetAudioSampleDescription(int stream, int descriptionHandle,
                                               VcPublicAudioDescription* description);

#ifdef __cplusplus
}
#endif

#endif
