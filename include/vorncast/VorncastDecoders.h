/**
 * @file VorncastDecoders.h
 * @brief Vorncast decoders: the C boundary of libVorncastDecoders.so.
 *
 * A host hands the library the path of a recording; autodetection finds the decoder that reads it,
 * and the recording appears as tracks (cameras, titles) holding video and audio streams. Streams are
 * sought by time and stepped frame by frame; each sample carries a picture (24-bit blue-first or 8-bit
 * grey, top row first) or PCM audio, and the recorder's clock time of the frame.
 *
 * Threads: every function runs on the caller's thread, one call at a time. The library holds no lock:
 * a second thread inside a call while another is in one is a programming error that stops the process
 * in a trap. Threads may take turns. Callbacks (log, progress, message, abort, autodetect) run on the
 * calling thread, inside the call that uses them.
 *
 * Statuses: every function returns one of the VC_ codes below. After a failure, GetVcLastError gives
 * the text of the failure, the message followed by " (source:line)"; the next call replaces it, so
 * fetch it at once.
 *
 * Objects cross the boundary as nonzero integer handles. A released object's handle is invalid at once
 * and is answered with VC_InvalidHandle ("Invalid handle"), never with a crash.
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

/** @cond internal */
#define VC_EXPORT __attribute__((visibility("default")))
#define VC_ALIGN8 __attribute__((aligned(8)))

typedef int64_t VcTime VC_ALIGN8;
typedef int64_t VcInt64 VC_ALIGN8;
/** @endcond */

/** Status codes of every exported function. 2, 6 and 10 are never produced. */
enum {
    VC_Success = 0,                /**< done */
    VC_GeneralFailure = 1,         /**< failed: "Failed to load", "Default condition\n", ... */
    VC_EndOfStreamBeforeStart = 3, /**< a seek or a step back fell off the start of the stream */
    VC_EndOfStreamAfterEnd = 4,    /**< a seek or a step forward fell off the end of the stream */
    VC_UserAborted = 5,            /**< the abort callback asked to stop: "Operation was aborted by user" */
    VC_InvalidArgument = 7,        /**< an argument out of range or null: "resourceIndex out of range" */
    VC_CatastrophicFailure =
        8,                /**< the files could not be read at all: "FileClient failed catastrophically" */
    VC_InvalidHandle = 9, /**< a handle that is 0, released or of another kind: "Invalid handle" */
    VC_UnhandledException =
        11 /**< a fault inside the library was caught: "C++ exception finally handled\n" */
};

/** Stream types, VcStreamInfo::type. */
enum {
    VC_StreamVideo = 1, /**< pictures, described by VcPublicVideoDescription */
    VC_StreamAudio = 2  /**< PCM audio, described by VcPublicAudioDescription */
};

/** The time before everything: a seek to it falls off the start of a stream. */
#define VC_TIME_MIN ((int64_t)INT64_MIN)
/** The time after everything. */
#define VC_TIME_MAX ((int64_t)INT64_MAX)

/* ---- callbacks ---- */

/** Receives the library's log lines. Levels: 0 core failures, 1 decoder events, 10 start-up and
 *  plug-ins, 11 to 13 tracing. The texts are only valid during the call. */
typedef void (*VcLogCallback)(const char* sourceFile, int line, int level, const char* message);
/** Receives the fraction of a load that is done, 0 to 1. */
typedef void (*VcProgressCallback)(double fraction);
/** Receives a decoder's message words during a load. */
typedef void (*VcMessageCallback)(int32_t message);
/** Polled during loads, seeks and steps; returns nonzero when the caller wants the running operation
 *  ended, which then returns VC_UserAborted. */
typedef int (*VcAbortOperation)(void);

/* ---- records ---- */

/** A decoder's identity, in the Windows GUID layout. */
typedef struct VcGuid {
    uint32_t data1;   /**< first word */
    uint16_t data2;   /**< second word */
    uint16_t data3;   /**< third word */
    uint8_t data4[8]; /**< last eight bytes */
} VcGuid;

/** What InitVorncastDecoders is given, by value. */
typedef struct VcInitRecord {
    uint8_t reserved[824];        /**< copied and otherwise ignored */
    int32_t importPluginsEnabled; /**< 0: no import plug-in directory is searched */
    VcLogCallback logCallback;    /**< may be null */
} VcInitRecord;

/** The times of one frame, in ticks of 100 ns since 0001-01-01. recordedTime is the time on the
 *  recorder's clock as the recording keeps it; streamTime orders the frames of a stream and is the scale
 *  of seeking (equal to recordedTime where a format has only one). The zone words tell the recorder's
 *  time zone where the format keeps one. */
typedef struct VcFrameTimes {
    VcTime recordedTime; /**< the recorder's clock */
    VcTime streamTime;   /**< the order of play and seeking */
    VcInt64 zoneBias;    /**< bias of the recorder's time zone at this time in minutes, 0 when unknown */
    uint8_t zoneKnown;   /**< 1 when a time zone applies */
    uint8_t zoneFlag;    /**< a second flag of the time, set by some recorder formats, else 0 */
    uint8_t padding[6];  /**< zero */
} VcFrameTimes;

/** One frame or block of audio, filled in by the step and seek functions. */
typedef struct VcSample {
    uint32_t uncompressedSize; /**< bytes of the picture or audio, also when no data was asked for */
    uint8_t* uncompressedData; /**< allocated by the stream; freed by Stream_ReleaseSample. Read it,
                                    do not write into it: a picture may be the decoder's own, which
                                    later frames are built on once the sample is released */
    int32_t descriptionHandle; /**< the format of the sample, see Stream_GetVideoSampleDescription */
    VcFrameTimes time;         /**< the times of the frame */
    int32_t reserved;          /**< zero */
} VcSample;

/** What a step asks for. */
typedef struct VcSampleRequest {
    VcAbortOperation abort; /**< must not be null for streams of digital decoders */
    VcInt64 parameters[2];  /**< opaque, passed through */
    int32_t wantData;       /**< 1 decompresses the frame; else time and description only */
    int32_t reserved;       /**< zero */
} VcSampleRequest;

/** What a seek asks for: the request of a step, and the stream time to go to. */
typedef struct VcSeekRequest {
    VcAbortOperation abort; /**< polled during the seek; must not be null for the recorder formats */
    VcInt64 parameters[2];  /**< opaque, passed through */
    int32_t wantData;       /**< 1 decompresses the frame; else time and description only */
    int32_t reserved;       /**< zero */
    VcInt64 reserved2;      /**< zero */
    VcTime targetTime;      /**< on the streamTime scale */
    VcTime secondTarget;    /**< unused by the built-in decoders */
    VcInt64 zoneBias;       /**< unused by the built-in decoders */
    VcInt64 reserved3;      /**< zero */
} VcSeekRequest;

/** What Decoder_Query and autodetection learn of a recording before it is loaded. */
typedef struct VcQueryResult {
    int32_t canLoad;          /**< nonzero when the decoder reads the recording */
    int32_t hasTimes;         /**< nonzero when startTime and endTime are known */
    int32_t hasFrameCount;    /**< nonzero when the frame count is known */
    int32_t reserved;         /**< zero */
    VcInt64 reserved2;        /**< zero */
    VcFrameTimes startTime;   /**< times of the first frame */
    VcFrameTimes endTime;     /**< times of the last frame */
    int32_t pictureCount;     /**< pictures of the recording, where known */
    uint32_t frameCountLow;   /**< frame count, low word */
    uint32_t frameCountHigh;  /**< frame count, high word */
    uint32_t description[10]; /**< decoder-specific words */
    uint32_t reserved3[3];    /**< zero */
} VcQueryResult;

/** A track's name size, its stream count and the times of its first and last frames. */
typedef struct VcTrackInfo {
    int32_t nameSize;       /**< bytes of the name with its terminator */
    int32_t streamCount;    /**< streams of the track */
    VcFrameTimes startTime; /**< times of its first frame */
    VcFrameTimes endTime;   /**< times of its last frame */
} VcTrackInfo;

/** A stream's name size, its number in its track and its type (VC_StreamVideo, VC_StreamAudio). */
typedef struct VcStreamInfo {
    int32_t nameSize;     /**< bytes of the name with its terminator */
    int32_t streamNumber; /**< its number in the track */
    int32_t type;         /**< VC_StreamVideo or VC_StreamAudio */
} VcStreamInfo;

/** A decoder of the collection: identity, display name, path patterns, extensions (';'-separated)
 *  and flags. On the way out the three texts are the caller's buffers, see
 *  DecoderCollection_GetDecoderInfoByIndex. */
typedef struct VcPublicDecoderInfo {
    VcGuid guid;         /**< the decoder's identity */
    uint8_t variant;     /**< variant of the decoder with this GUID */
    uint8_t subVariant;  /**< sub-variant */
    char* name;          /**< display name */
    char* patterns;      /**< path patterns of the recorder's file sets, for the host to show */
    char* extensions;    /**< ';'-separated extensions without dots */
    int32_t available;   /**< nonzero when the decoder can be made */
    int32_t container;   /**< nonzero for a decoder of a general container */
    int32_t manualOnly;  /**< nonzero when autodetection leaves it out */
    int32_t manualOnly2; /**< second manual-only flag */
    int32_t priority;    /**< order among decoders of equal standing */
    uint32_t kind;       /**< kind of decoder */
} VcPublicDecoderInfo;

/** The same record with the library's own text pointers inside, valid while the collection lives. */
typedef VcPublicDecoderInfo VcDecoderInfoValue;

/** The picture of a video sample: width, height, bytes per pixel (3 blue-green-red, 1 grey), rows
 *  top first without padding, so a picture takes width * height * bytesPerPixel bytes. */
typedef struct VcPublicVideoDescription {
    int32_t width;             /**< pixels */
    int32_t height;            /**< rows */
    uint16_t bytesPerPixel;    /**< 3: blue, green, red; 1: grey */
    int32_t aspectNumerator;   /**< pixel aspect, numerator */
    int32_t aspectDenominator; /**< pixel aspect, denominator */
    int32_t format;            /**< picture format word */
} VcPublicVideoDescription;

/** The PCM of an audio sample: rate, bits per sample, channels interleaved, the largest sample. */
typedef struct VcPublicAudioDescription {
    int32_t sampleRate;     /**< samples a second */
    int32_t bitsPerSample;  /**< bits of one sample of one channel */
    int32_t channels;       /**< channels, interleaved */
    int32_t maxSampleBytes; /**< the largest audio sample in bytes */
} VcPublicAudioDescription;

/** Called by DecoderCollection_Autodetect before each decoder is tried, with its entry, its index and
 *  the count; its result is ignored. */
typedef int (*VcAutodetectCallback)(VcPublicDecoderInfo info, int index, int count);

/* ---- library ---- */

/** Starts the library. Call it once, before anything else, on the thread that will make the calls.
 *  Stores the log callback (null: no log) and whether import plug-ins are searched for.
 *  @return VC_Success. Every other function but the version queries and
 *  DecoderCollection_DecoderCount stops the process in a trap when called before it. */
VC_EXPORT int InitVorncastDecoders(VcInitRecord record);
/** Releases what InitVorncastDecoders made. Objects the host still holds are not touched; calling it
 *  twice is harmless. @return VC_Success. */
VC_EXPORT int CloseVorncastDecoders(void);
/** The text of the last failure, in two calls: with @p text null, stores its size with the terminator
 *  in @p size and returns 1 (this 1 is not a failure); then, with a buffer of that size, copies the text
 *  and returns VC_Success. The text is the message and " (source:line)"; a successful call that
 *  reports success leaves "Operation succeeded at source:line". The next library call replaces it. */
VC_EXPORT int GetVcLastError(uint32_t* size, char* text);
/** The version words of the codec engines: major, minor, major build, build. May be called before
 *  InitVorncastDecoders. @return VC_Success. */
VC_EXPORT int GetIppLibVersion(uint32_t* major, uint32_t* minor, uint32_t* majorBuild, uint32_t* build);
/** The library's version: 3, 4, 0, 114. May be called before InitVorncastDecoders. @return VC_Success. */
VC_EXPORT int GetSDKVersion(uint32_t* major, uint32_t* minor, uint32_t* revision, uint32_t* build);

/* ---- collections ---- */

/** Makes a collection of every decoder: the built-in ones, then those of the import plug-ins found
 *  below @p pluginRoot + "plugins/import" (null: the folder of the library). Release it with
 *  DecoderCollection_Release, after the decoders made from it. @return VC_Success. */
VC_EXPORT int DecoderCollection_Create(const char* pluginRoot, int* collection);
/** Releases a collection. Decoders made from it must be released first.
 *  @return VC_Success, or VC_InvalidHandle with "Invalid DecoderCollection handle". */
VC_EXPORT int DecoderCollection_Release(int collection);
/** Makes the collection ordered for autodetecting @p url: decoders whose extensions fit and that read
 *  one specific format, then those that fit and read a general container, then the rest. Released with
 *  DecoderCollection_Release. @return VC_Success, or VC_InvalidHandle. */
VC_EXPORT int DecoderCollection_GetAutodetectCollection(int collection, const char* url,
                                                        int* autodetectCollection);
/** The number of decoders of a collection. Needs no InitVorncastDecoders. A bad handle stores -1 and
 *  returns VC_InvalidHandle. */
VC_EXPORT int DecoderCollection_DecoderCount(int collection, int* count);
/** Entry @p index of a collection. The caller points info->name, info->extensions and info->patterns
 *  at its own buffers and gives their capacities (0 for a null pointer): each buffer is zeroed over its
 *  capacity and receives the text, cut at the capacity. An index out of range gives an all-zero record
 *  and VC_Success. @return VC_Success, or VC_InvalidHandle. */
VC_EXPORT int DecoderCollection_GetDecoderInfoByIndex(int collection, int index, uint32_t nameCapacity,
                                                      uint32_t extensionsCapacity, uint32_t patternsCapacity,
                                                      VcPublicDecoderInfo* info);
/** The entry with @p guid; @p variant and @p subVariant -1 match any. Texts as for
 *  DecoderCollection_GetDecoderInfoByIndex; info->priority keeps what the caller had in it.
 *  @return VC_Success when found, else VC_GeneralFailure with a zeroed record. */
VC_EXPORT int DecoderCollection_FindDecoderInfoByGUID(int collection, VcGuid guid, int variant,
                                                      int subVariant, uint32_t nameCapacity,
                                                      uint32_t extensionsCapacity, uint32_t patternsCapacity,
                                                      VcPublicDecoderInfo* info);
/** The entry whose display name is @p name exactly; otherwise as DecoderCollection_FindDecoderInfoByGUID. */
VC_EXPORT int DecoderCollection_FindDecoderInfoByName(int collection, const char* name, int variant,
                                                      int subVariant, uint32_t nameCapacity,
                                                      uint32_t extensionsCapacity, uint32_t patternsCapacity,
                                                      VcPublicDecoderInfo* info);
/** Finds the decoder that reads @p url (@p urlLength bytes and a terminator) and loads it: in the
 *  collection's order, each decoder is announced to @p callback (required), made, queried twice and
 *  loaded; the first that loads is kept. On success *decoder is a loaded decoder that the caller releases
 *  with Decoder_Release, @p info its entry (texts owned by the collection), @p query what its query said,
 *  *resourceCount the files it reads. @p progress, @p message may be null; @p abort is polled during the
 *  loads.
 *  @return VC_Success; VC_GeneralFailure with "Failed to load" when no decoder reads the recording;
 *  VC_InvalidHandle with "(Autodetect) Invalid DecoderCollection handle". */
VC_EXPORT int DecoderCollection_Autodetect(int collection, int urlLength, const char* url,
                                           VcAutodetectCallback callback, VcProgressCallback progress,
                                           VcMessageCallback message, VcAbortOperation abort, int* decoder,
                                           VcDecoderInfoValue* info, VcQueryResult* query,
                                           int* resourceCount);

/* ---- decoders ---- */

/** Makes the decoder with @p guid (variant and sub-variant -1: any) from a collection, for a host
 *  that chooses the decoder itself. Release it with Decoder_Release.
 *  @return VC_Success; VC_GeneralFailure with "DecoderInfo has no creator function." for an unknown
 *  GUID; VC_InvalidHandle with "Invalid DecoderCollection handle". */
VC_EXPORT int Decoder_Create(int collection, VcGuid guid, int variant, int subVariant, int* decoder);
/** Asks whether the decoder reads @p url: @p detail 0 looks quickly, 1 may read more.
 *  result->canLoad is nonzero when it does. @return the decoder's status; a decoder that cannot read
 *  the recording answers VC_Success with canLoad 0, or a failure. */
VC_EXPORT int Decoder_Query(int decoder, int urlLength, const char* url, int detail, VcQueryResult* result);
/** A readable text about the last query, in the two-call form of Track_GetName. @return VC_Success. */
VC_EXPORT int Decoder_Query_GetDescription(int decoder, int* size, char* text);
/** Loads @p url: indexes the recording and makes its tracks and streams. Called once per decoder.
 *  @p abort is polled; an abort returns VC_UserAborted. @return VC_Success, or the decoder's failure
 *  with its text (e.g. VC_GeneralFailure, VC_CatastrophicFailure when the files cannot be read). */
VC_EXPORT int Decoder_Load(int decoder, int urlLength, const char* url, VcProgressCallback progress,
                           VcMessageCallback message, VcAbortOperation abort, int* resourceCount);
/** The path of file @p index of a loaded recording. Stores the size with the terminator in @p size;
 *  copies the text when @p text is not null, without looking at a capacity: ask for the size first.
 *  @return VC_Success. */
VC_EXPORT int Decoder_GetResourceURL(int decoder, int index, uint32_t* size, char* text);
/** Closes the recording's files. The tracks and streams stay until Decoder_Release.
 *  @return the decoder's status. */
VC_EXPORT int Decoder_Close(int decoder);
/** Releases the decoder with its tracks, streams and sample descriptions; their handles die with it.
 *  @return VC_Success, or VC_InvalidHandle. */
VC_EXPORT int Decoder_Release(int decoder);
/** The number of tracks of a loaded decoder. @return the decoder's status. */
VC_EXPORT int Decoder_GetTrackCount(int decoder, int* count);
/** Track @p index (from 0). The track belongs to the decoder: there is no release.
 *  @return VC_Success, or the failure with "Failed to retrieve track\n". */
VC_EXPORT int Decoder_GetTrack(int decoder, int index, int* track);

/* ---- tracks ---- */

/** A track's name size, stream count and first and last times. @return VC_Success. */
VC_EXPORT int Track_GetInfo(int track, VcTrackInfo* info);
/** A track's name, in two calls: with @p text null, *size receives the length with the terminator;
 *  with a buffer of at least that size, the text is copied (a smaller *size copies nothing and still
 *  returns VC_Success). */
VC_EXPORT int Track_GetName(int track, int* size, char* text);
/** Stream @p streamIndex of a track. The stream belongs to the decoder: there is no release.
 *  @return VC_Success, or VC_InvalidArgument with "streamNumber" for an index out of range. */
VC_EXPORT int Track_GetStream(int track, int streamIndex, int* stream);

/* ---- streams ---- */

/** A stream's name, in the two-call form of Track_GetName. @return VC_Success. */
VC_EXPORT int Stream_GetName(int stream, int* size, char* text);
/** A stream's name size, number and type. @return VC_Success. */
VC_EXPORT int Stream_GetInfo(int stream, VcStreamInfo* info);
/** Goes to the frame at or before request.targetTime, on the stream-time scale, and delivers it in
 *  @p sample (its picture when request.wantData is 1). request.abort must not be null for the
 *  recorder formats ("GoToTime > AbortOperation is NULL. Not allowed\n", VC_InvalidArgument).
 *  @return VC_Success; VC_EndOfStreamBeforeStart before the first frame; VC_EndOfStreamAfterEnd past
 *  the last; the stream then steps from the end it fell off. A sample with data is given back with
 *  Stream_ReleaseSample. A frame that is damaged in a normal way comes as a black picture at its own
 *  time. */
VC_EXPORT int Stream_GoToTime(int stream, VcSeekRequest request, VcSample* sample);
/** Steps to the next frame of the stream and delivers it as Stream_GoToTime does.
 *  @return VC_Success, or VC_EndOfStreamAfterEnd on the last frame (again on every further call);
 *  after VC_EndOfStreamBeforeStart the next step gives the first frame. With request.wantData 0 no
 *  picture is made, yet sample->uncompressedSize tells the size a picture takes. */
VC_EXPORT int Stream_GetNextSample(int stream, VcSampleRequest request, VcSample* sample);
/** Steps to the previous frame. @return VC_Success, or VC_EndOfStreamBeforeStart on the first frame;
 *  after VC_EndOfStreamAfterEnd the step gives the last frame. */
VC_EXPORT int Stream_GetPreviousSample(int stream, VcSampleRequest request, VcSample* sample);
/** Frees the data of a sample this stream delivered. Call it once for every sample whose
 *  uncompressedData is not null; a sample of a failed or end-of-stream step has none.
 *  @return the stream's status. */
VC_EXPORT int Stream_ReleaseSample(int stream, VcSample sample);
/** The picture format behind a video sample's descriptionHandle. The size of pictures changes only
 *  with the handle. @return VC_Success; VC_InvalidHandle with "Invalid stream type" for an audio
 *  stream, "SampleDescription not obtained from handle" for a handle not of this stream. */
VC_EXPORT int Stream_GetVideoSampleDescription(int stream, int descriptionHandle,
                                               VcPublicVideoDescription* description);
/** The PCM format behind an audio sample's descriptionHandle; as Stream_GetVideoSampleDescription. */
VC_EXPORT int Stream_GetAudioSampleDescription(int stream, int descriptionHandle,
                                               VcPublicAudioDescription* description);

#ifdef __cplusplus
}
#endif

#endif
