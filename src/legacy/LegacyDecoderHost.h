#pragma once

#include "core/client/MasDigitalCAPI.h"
#include "model/decoder/Decoder.h"

#include <cstdint>

namespace Vorn::Vorncast {

class DecoderCollection;

// Presents one format decoder of the digital core as a Decoder. Every digital entry of the
// collection creates this class; the GUID of its entry chooses the format. The host owns one
// client of the core and reaches the core only through the client functions. It must outlive its
// streams, which share that client.
class LegacyDecoderHost : public Decoder {
public:
    using ClientHandle = Decoders::MasDigitalCAPI::ClientHandle;

    LegacyDecoderHost();
    ~LegacyDecoderHost() override;

    int Query(const Buffer& url, int32_t detail, QueryResult* result) override;
    Buffer GetQueryDescription() override;
    int Load(const Buffer& url, ProgressCallback progress, MessageCallback message, AbortOperation abort,
             int32_t* resourceCount) override;
    int Close() override;
    int GetTrackCount(int32_t* count) override;
    int GetTrack(int32_t index, Track** track) override;
    // Installs the hooks in the core and creates the client.
    int Initialise() override;

    static Decoder* Create() { return new LegacyDecoderHost; }

    // The core's callbacks. They have no context argument, so each finds its host through
    // `currentHost`, the host created last, and does nothing without one.
    static void ProgressHook(double fraction);
    static void LogHook(int32_t severity, const char* text);
    static void StatusHook(const char* text);
    static int32_t AbortHook();
    // Gives a format decoder a recursive listing of a directory (see the core's ListFiles).
    static void ListHook(const char* directory, const char* filter, int32_t maxDepth, bool* ok,
                         uint32_t* size, char** text);
    static LegacyDecoderHost* CurrentHost() { return currentHost; }

private:
    // What the load form of the core's open reports.
    struct OpenReport {
        Decoders::ImageInfo image;
        Decoders::AudioInfo audio;
        Decoders::TrackTimes span;
        int32_t frames;
        int32_t audioFrames;
        int64_t duration;
        bool hasAudio;
    };

    DecoderCollection* Collection() const;
    bool GuidInCollection(DecoderCollection& owner) const;
    bool AcceptsAnyUrl() const;
    void GuidWords(uint32_t words[4]) const;
    int QueryCore(const Buffer& url, QueryResult* result);
    void BuildTracks(const OpenReport& open);
    Track* BuildTrack(const OpenReport& open, int32_t trackNumber, bool multiTrack);
    void AddVideoStream(Track* track, const OpenReport& open, int32_t trackNumber, bool multiTrack,
                        int32_t frameCount, int32_t channel);
    void AddAudioStream(Track* track, const OpenReport& open, int32_t trackNumber, bool multiTrack);
    int StatusOfOpen(int32_t result);

    static LegacyDecoderHost* currentHost;

    ProgressCallback progress = nullptr;
    MessageCallback message = nullptr;
    ClientHandle legacyHandle = nullptr;
    int32_t trackCount = 0;
    uint8_t loaded = 0;
    // Whether the core holds a load of this host's that Close has not ended.
    bool clientLoaded = false;
    AbortOperation abort = nullptr;
};

} // namespace Vorn::Vorncast
