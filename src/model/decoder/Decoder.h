#pragma once

#include "model/support/Visibility.h"

#include "model/decoder/DecoderInfo.h"
#include "model/decoder/ModelTypes.h"
#include "model/decoder/Track.h"
#include "model/support/Box.h"
#include "model/support/Buffer.h"
#include "model/support/DynamicClass.h"
#include "model/support/List.h"

namespace Vorn::Vorncast {

// A decoder reads one file set and offers its content as tracks; it owns them, and with them
// their streams, so that every handle dies with the decoder.
class VORN_PLUGIN_API Decoder : public DynamicClass {
public:
    Decoder();
    ~Decoder() override;

    // The URL of resource `index`; an empty buffer and InvalidArgument recorded when out of range.
    virtual Buffer GetResourceURL(int32_t index);
    virtual int Query(const Buffer& url, int32_t detail, QueryResult* result) = 0;
    // A readable text about the last Query; empty when the decoder has none.
    virtual Buffer GetQueryDescription();
    virtual int Load(const Buffer& url, ProgressCallback progress, MessageCallback message,
                     AbortOperation abort, int32_t* resourceCount) = 0;
    virtual int Close() = 0;
    virtual int GetTrackCount(int32_t* count);
    virtual int GetTrack(int32_t index, Track** track);
    // Called once by SetDecoderInfo.
    virtual int Initialise();
    virtual int AddResource(const Buffer& url, int32_t kind);
    virtual int RemoveResource(const Buffer& url);
    virtual int ClearResources();
    virtual int32_t GetResourceCount();

    // Stores the collection entry this decoder was made from and, when given, the handle of that
    // collection, then initialises the decoder.
    int SetDecoderInfo(const DecoderInfo& entry, int32_t collectionHandle = 0);
    const DecoderInfo& Info() const { return *info; }

protected:
    // Takes ownership of the track.
    void AddTrack(Track* track);
    void DeleteTracks();

    DecoderInfo* info;
    // The collection the decoder was made from, by handle, so that one released too early is seen
    // as invalid instead of being used; 0 when it is not known.
    int32_t collection = 0;
    struct Resource {
        Buffer url;
        int32_t kind;
    };
    List<Resource> resources;
    List<Box<Track>> tracks;
};

} // namespace Vorn::Vorncast
