#pragma once

// The library as the tool uses it, through its C interface only: start-up, the decoder table,
// opening a recording (by autodetection or with a chosen decoder), its tracks and streams, and
// samples that give their data back when they go.

#include <vorncast/VorncastDecoders.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace VorncastTool {

// A call into the library failed; the text holds what the tool tried and the library's last-error
// text.
class LibraryError : public std::runtime_error {
public:
    LibraryError(const std::string& what, int status);
    int Status() const { return status; }

private:
    int status;
};

// No decoder of the table took the recording.
class NoDecoderError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The library's last-error text (read right after the failing call).
std::string LastErrorText();
// Throws LibraryError when `status` is not 0.
void Check(int status, const std::string& what);

std::string GuidText(const VcGuid& guid);
// "{8923E98A-F163-4ae9-815A-FFB2D3FFF934}" with or without braces, any case.
std::optional<VcGuid> ParseGuidText(const std::string& text);

struct DecoderEntry {
    int index = -1;
    VcGuid guid = {};
    int variant = 0;
    int subVariant = 0;
    std::string name;
    std::string patterns;
    std::string extensions;
    bool available = false;
    bool container = false;
    bool manualOnly = false;
    int priority = 0;
    uint32_t kind = 0;
};

// Initialises the library for the process and closes it at the end. With `verbose` the library's
// log goes to standard error.
class Library {
public:
    explicit Library(bool verbose);
    ~Library();
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    static std::string Version();
};

class Collection {
public:
    Collection();
    ~Collection();
    Collection(const Collection&) = delete;
    Collection& operator=(const Collection&) = delete;

    int Handle() const { return handle; }
    std::vector<DecoderEntry> Entries() const;
    // A decoder named by its index in the table, its GUID or its name (case ignored, or a part of
    // the name that fits one decoder only). Throws std::runtime_error when none or several fit.
    DecoderEntry Resolve(const std::string& wanted) const;

private:
    DecoderEntry EntryAt(int index) const;
    int handle = 0;
};

struct StreamRef {
    int index = 0; // over all tracks, in order: what --stream names
    int trackIndex = 0;
    int handle = 0;
    int streamNumber = 0; // the channel: the camera of a video stream
    int type = 0;
    std::string name;
    std::string trackName;
    bool IsVideo() const { return type == VC_StreamVideo; }
    bool IsAudio() const { return type == VC_StreamAudio; }
};

struct TrackRef {
    int index = 0;
    int handle = 0;
    std::string name;
    VcTrackInfo info = {};
};

// A loaded recording; closes and releases its decoder when it goes.
class Recording {
public:
    // Autodetects the recording, or loads it with the decoder that `decoderSpec` names (also one
    // that autodetection leaves out). Throws NoDecoderError when autodetection finds none, and
    // LibraryError or std::runtime_error for other failures.
    static std::unique_ptr<Recording> Open(const Collection& collection, const std::string& path,
                                           const std::optional<std::string>& decoderSpec);
    ~Recording();
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;

    const std::string& Path() const { return path; }
    const DecoderEntry& Decoder() const { return decoder; }
    const VcQueryResult& Query() const { return query; }
    int ResourceCount() const { return resourceCount; }
    std::vector<std::string> Resources() const;
    const std::vector<TrackRef>& Tracks() const { return tracks; }
    const std::vector<StreamRef>& Streams() const { return streams; }
    // The stream that --stream names; throws a usage-like error when there is none.
    const StreamRef& StreamAt(int64_t index) const;

private:
    Recording(std::string path, DecoderEntry decoder, int handle, int resourceCount,
              const VcQueryResult& query);
    void ReadTracks();

    std::string path;
    DecoderEntry decoder;
    int handle = 0;
    int resourceCount = 0;
    VcQueryResult query = {};
    std::vector<TrackRef> tracks;
    std::vector<StreamRef> streams;
};

// A sample that a stream delivered; its data go back to the stream when it goes.
class Sample {
public:
    explicit Sample(int stream) : stream(stream) {}
    ~Sample() { Release(); }
    Sample(const Sample&) = delete;
    Sample& operator=(const Sample&) = delete;

    VcSample* Raw() { return &raw; }
    const VcSample& Get() const { return raw; }
    const VcFrameTimes& Time() const { return raw.time; }
    bool HasData() const { return raw.uncompressedData != nullptr; }
    void Release();

private:
    int stream;
    VcSample raw = {};
};

// Steps through one stream.
class StreamReader {
public:
    explicit StreamReader(const StreamRef& stream) : stream(stream) {}

    // Goes before the first sample, so that the next step gives the first.
    void Rewind();
    // The next sample; false past the end. Throws LibraryError on failure, and on Ctrl-C.
    bool Next(bool wantData, Sample& sample);
    bool Previous(bool wantData, Sample& sample);
    VcPublicVideoDescription VideoDescription(int descriptionHandle) const;
    VcPublicAudioDescription AudioDescription(int descriptionHandle) const;

private:
    bool Step(bool forward, bool wantData, Sample& sample);
    StreamRef stream;
};

} // namespace VorncastTool
