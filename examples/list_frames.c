/* list_frames: opens a recording with the Vorncast decoders, lists its cameras and writes the time of
 * every frame.
 *
 *     list_frames PATH
 *
 * It is what a player does before it shows anything: initialise, let autodetection find the decoder,
 * walk the tracks (cameras) and their streams, and step through each video stream from its start
 * without decoding pictures, printing the recorder's clock time and the stream time of each frame.
 * Build it against an installed library:
 *
 *     cc list_frames.c $(pkg-config --cflags --libs vorncast) -o list_frames
 */
#define _POSIX_C_SOURCE 200809L /* gmtime_r */

#include <vorncast/VorncastDecoders.h>

#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

/* Times are ticks of 100 ns since 0001-01-01; this is 1970-01-01. */
#define TICKS_PER_SECOND INT64_C(10000000)
#define UNIX_EPOCH_TICKS INT64_C(621355968000000000)

/* The last error text, fetched at once: the next library call replaces it. */
static void PrintLastError(const char* what, int status) {
    uint32_t size = 0;
    char* text;
    GetVcLastError(&size, NULL); /* returns 1 on purpose: that is the size query, not a failure */
    text = calloc(size + 1, 1);
    if (text != NULL && size > 0) {
        GetVcLastError(&size, text);
    }
    fprintf(stderr, "%s failed with status %d: %s\n", what, status, text != NULL ? text : "");
    free(text);
}

/* YYYY/MM/DD hh:mm:ss.mmm on the recorder's clock; the extreme values mean "unknown". */
static void FormatTime(VcTime ticks, char* text, size_t capacity) {
    int64_t sinceEpoch;
    time_t seconds;
    struct tm calendar;
    if (ticks == VC_TIME_MIN || ticks == VC_TIME_MAX || ticks < 0) {
        snprintf(text, capacity, "(no time)");
        return;
    }
    sinceEpoch = ticks - UNIX_EPOCH_TICKS;
    seconds = (time_t)(sinceEpoch >= 0 ? sinceEpoch / TICKS_PER_SECOND
                                       : -((-sinceEpoch + TICKS_PER_SECOND - 1) / TICKS_PER_SECOND));
    gmtime_r(&seconds, &calendar);
    snprintf(text, capacity, "%04d/%02d/%02d %02d:%02d:%02d.%03d", calendar.tm_year + 1900,
             calendar.tm_mon + 1, calendar.tm_mday, calendar.tm_hour, calendar.tm_min, calendar.tm_sec,
             (int)((ticks % TICKS_PER_SECOND) / 10000));
}

/* A name through the two-call form: the size first, then the text. */
static char* TrackName(int track) {
    int size = 0;
    char* text;
    Track_GetName(track, &size, NULL);
    text = calloc((size_t)size + 1, 1);
    if (text != NULL) {
        Track_GetName(track, &size, text);
    }
    return text;
}

static char* StreamName(int stream) {
    int size = 0;
    char* text;
    Stream_GetName(stream, &size, NULL);
    text = calloc((size_t)size + 1, 1);
    if (text != NULL) {
        Stream_GetName(stream, &size, text);
    }
    return text;
}

static int NoAbort(void) {
    return 0;
}

/* Autodetection calls this before it tries each decoder; it must be given, even when it does nothing. */
static int OnTry(VcPublicDecoderInfo candidate, int index, int count) {
    (void)candidate;
    (void)index;
    (void)count;
    return 0;
}

/* Leaves the stream before its first frame: a seek to the earliest time either falls off the start
 * (status 3) or lands on the first frame, from which one step back falls off. */
static int Rewind(int stream) {
    VcSeekRequest seek;
    VcSampleRequest step;
    VcSample sample;
    int status;
    memset(&seek, 0, sizeof seek);
    seek.abort = NoAbort;
    seek.targetTime = VC_TIME_MIN;
    status = Stream_GoToTime(stream, seek, &sample);
    if (status == VC_EndOfStreamBeforeStart) {
        return VC_Success;
    }
    if (status != VC_Success && status != VC_EndOfStreamAfterEnd) {
        return status;
    }
    memset(&step, 0, sizeof step);
    step.abort = NoAbort;
    while ((status = Stream_GetPreviousSample(stream, step, &sample)) == VC_Success) {
    }
    return status == VC_EndOfStreamBeforeStart ? VC_Success : status;
}

/* Steps forward without pictures (wantData 0: nothing to release) and prints each frame's times. */
static int ListFrames(int stream) {
    VcSampleRequest step;
    VcSample sample;
    char recorded[64];
    char played[64];
    int64_t frame = 0;
    int status = Rewind(stream);
    if (status != VC_Success) {
        PrintLastError("Stream_GoToTime", status);
        return status;
    }
    memset(&step, 0, sizeof step);
    step.abort = NoAbort;
    while ((status = Stream_GetNextSample(stream, step, &sample)) == VC_Success) {
        FormatTime(sample.time.recordedTime, recorded, sizeof recorded);
        snprintf(played, sizeof played, "%.3f", (double)sample.time.streamTime / (double)TICKS_PER_SECOND);
        printf("    frame %" PRId64 "  recorded %s  stream %s s\n", frame++, recorded, played);
    }
    if (status != VC_EndOfStreamAfterEnd) {
        PrintLastError("Stream_GetNextSample", status);
        return status;
    }
    return VC_Success;
}

static int ListCameras(int decoder) {
    int trackCount = 0;
    int result = VC_Success;
    Decoder_GetTrackCount(decoder, &trackCount);
    for (int index = 0; index < trackCount; ++index) {
        int track = 0;
        VcTrackInfo info;
        char* name;
        if (Decoder_GetTrack(decoder, index, &track) != VC_Success ||
            Track_GetInfo(track, &info) != VC_Success) {
            PrintLastError("Decoder_GetTrack", VC_GeneralFailure);
            return VC_GeneralFailure;
        }
        name = TrackName(track);
        printf("camera %d: %s, %d stream(s)\n", index, name != NULL ? name : "", info.streamCount);
        free(name);
        for (int number = 0; number < info.streamCount; ++number) {
            int stream = 0;
            VcStreamInfo streamInfo;
            if (Track_GetStream(track, number, &stream) != VC_Success ||
                Stream_GetInfo(stream, &streamInfo) != VC_Success) {
                continue;
            }
            name = StreamName(stream);
            printf("  stream %d: %s (%s)\n", number, name != NULL ? name : "",
                   streamInfo.type == VC_StreamVideo ? "video" : "audio");
            free(name);
            if (streamInfo.type == VC_StreamVideo && ListFrames(stream) != VC_Success) {
                result = VC_GeneralFailure;
            }
        }
    }
    return result;
}

int main(int argc, char** argv) {
    VcInitRecord init;
    VcDecoderInfoValue info;
    VcQueryResult query;
    int collection = 0, candidates = 0, decoder = 0, resources = 0, status;
    if (argc != 2) {
        fprintf(stderr, "usage: %s PATH\n", argv[0]);
        return 2;
    }
    memset(&init, 0, sizeof init);
    init.importPluginsEnabled = 1; /* let installed plug-ins offer their decoders too */
    InitVorncastDecoders(init);
    DecoderCollection_Create(NULL, &collection);
    DecoderCollection_GetAutodetectCollection(collection, argv[1], &candidates);
    status = DecoderCollection_Autodetect(candidates, (int)strlen(argv[1]), argv[1], OnTry, NULL, NULL,
                                          NoAbort, &decoder, &info, &query, &resources);
    if (status == VC_Success) {
        printf("decoder: %s\n", info.name);
        status = ListCameras(decoder);
        Decoder_Close(decoder);
        Decoder_Release(decoder);
    } else {
        PrintLastError("DecoderCollection_Autodetect", status);
    }
    DecoderCollection_Release(candidates);
    DecoderCollection_Release(collection);
    CloseVorncastDecoders();
    return status == VC_Success ? 0 : 1;
}
