/* Command-line tool: lists the decoders, and with a path autodetects the recording and walks its
 * first video stream, printing the recorder's time and size of every frame. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <vorncast/VorncastDecoders.h>

static int verbose = 0;

static void PrintLog(const char* file, int line, int level, const char* message) {
    if (verbose || level == 0) {
        fprintf(stderr, "[log %d %s:%d] %s", level, file, line, message);
    }
}

static int NeverAbort(void) { return 0; }

static int Quiet(VcPublicDecoderInfo info, int index, int count) {
    (void)info;
    (void)index;
    (void)count;
    return 0;
}

static void PrintLastError(const char* what) {
    uint32_t size = 0;
    GetVcLastError(&size, NULL);
    char* text = malloc(size);
    GetVcLastError(&size, text);
    fprintf(stderr, "%s: %s\n", what, text);
    free(text);
}

static void ListDecoders(int collection) {
    int count = 0;
    DecoderCollection_DecoderCount(collection, &count);
    printf("%d decoders\n", count);
    for (int index = 0; index < count; ++index) {
        char name[256], extensions[256];
        VcPublicDecoderInfo info;
        memset(&info, 0, sizeof info);
        info.name = name;
        info.extensions = extensions;
        DecoderCollection_GetDecoderInfoByIndex(collection, index, sizeof name, sizeof extensions, 0, &info);
        printf("%3d  %-45s %s%s\n", index, name, extensions, info.manualOnly ? "  (manual)" : "");
    }
}

static int WalkFirstVideoStream(int decoder) {
    int tracks = 0;
    Decoder_GetTrackCount(decoder, &tracks);
    for (int t = 0; t < tracks; ++t) {
        int track = 0, stream = 0;
        VcTrackInfo trackInfo;
        if (Decoder_GetTrack(decoder, t, &track) != 0 || Track_GetInfo(track, &trackInfo) != 0) {
            continue;
        }
        for (int s = 0; s < trackInfo.streamCount; ++s) {
            VcStreamInfo streamInfo;
            if (Track_GetStream(track, s, &stream) != 0 || Stream_GetInfo(stream, &streamInfo) != 0 ||
                streamInfo.type != VC_StreamVideo) {
                continue;
            }
            VcSampleRequest request;
            memset(&request, 0, sizeof request);
            request.abort = NeverAbort;
            request.wantData = 1;
            VcSample sample;
            memset(&sample, 0, sizeof sample);
            int frames = 0, status;
            while ((status = Stream_GetNextSample(stream, request, &sample)) == 0) {
                printf("track %d frame %5d  recorded %lld  stream %lld  %u bytes\n", t, frames++,
                       (long long)sample.time.recordedTime, (long long)sample.time.streamTime,
                       sample.uncompressedSize);
                Stream_ReleaseSample(stream, sample);
            }
            printf("track %d: %d frames, ended with status %d\n", t, frames, status);
            return 0;
        }
    }
    printf("no video stream\n");
    return 1;
}

int main(int argc, char** argv) {
    const char* path = NULL;
    for (int i = 1; i < argc; ++i) {
        if (strcmp(argv[i], "-v") == 0) {
            verbose = 1;
        } else {
            path = argv[i];
        }
    }
    VcInitRecord init;
    memset(&init, 0, sizeof init);
    init.logCallback = PrintLog;
    InitVorncastDecoders(init);

    uint32_t v[4];
    GetSDKVersion(&v[0], &v[1], &v[2], &v[3]);
    printf("Vorncast SDK %u.%u.%u.%u\n", v[0], v[1], v[2], v[3]);
    GetIppLibVersion(&v[0], &v[1], &v[2], &v[3]);
    printf("Codec engine %u.%u.%u.%u\n", v[0], v[1], v[2], v[3]);

    int collection = 0;
    DecoderCollection_Create(NULL, &collection);
    int result = 0;
    if (path == NULL) {
        ListDecoders(collection);
    } else {
        int ordered = 0, decoder = 0, resources = 0;
        VcDecoderInfoValue info;
        VcQueryResult query;
        DecoderCollection_GetAutodetectCollection(collection, path, &ordered);
        if (DecoderCollection_Autodetect(ordered, (int)strlen(path), path, Quiet, NULL, NULL, NeverAbort, &decoder,
                                         &info, &query, &resources) != 0) {
            PrintLastError(path);
            result = 1;
        } else {
            printf("%s: %s\n", path, info.name);
            result = WalkFirstVideoStream(decoder);
            Decoder_Close(decoder);
            Decoder_Release(decoder);
        }
        DecoderCollection_Release(ordered);
    }
    DecoderCollection_Release(collection);
    CloseVorncastDecoders();
    return result;
}
