#include "native/dvd/VideoTS.h"

#include "core/binary/ByteView.h"
#include "interface/LibraryFrame.h"
#include "native/dvd/DvdFiles.h"

#include <algorithm>

namespace Vorn::Vorncast {
namespace {

using Decoders::ByteReader;
using Decoders::ByteView;

constexpr const char* SourceFile = "Decoders\\DVD\\VideoTS";
constexpr int32_t ManagerHeaderBytes = 535; // vmgi_mat as far as it is read
constexpr size_t TitleTablePointer = 0xC4;  // sector of the title search pointer table
constexpr int32_t TitleTableHeaderBytes = 8;
constexpr int32_t TitleEntryBytes = 12;

// One title of the title search pointer table; only the title set it plays is used.
int32_t TitleSetOfEntry(ByteView entry) {
    ByteReader r(entry);
    r.Skip(1); // title type
    r.Skip(1); // angles
    r.Skip(2); // chapters
    r.Skip(2); // parental mask
    uint8_t titleSet = r.U8();
    r.Skip(1); // title number within the set
    r.Skip(4); // start sector of the set
    return r.Ok() ? titleSet : -1;
}

} // namespace

int VideoTS::Load(const char* url) {
    titleSets.clear();
    File file;
    if (file.Open(nullptr, url) != Success) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure, "VideoTS > File not found");
    }
    std::vector<uint8_t> bytes;
    if (!ReadExactly(file, 0, ManagerHeaderBytes, &bytes)) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure, "VOBUIndex::Load > Read getting vmgm_mat");
    }
    ByteView header(bytes.data(), bytes.size());
    if (!header.Matches(0, "DVDVIDEO-VMG")) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure, "VOBUIndex::Load > This is not an IFO file!");
    }
    const int64_t table = int64_t{header.U32BE(TitleTablePointer)} << DvdSectorShift;
    if (table >= file.PhysicalSize()) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure, "VOBUIndex::Load > Bad seek");
    }
    if (!ReadExactly(file, table, TitleTableHeaderBytes, &bytes)) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure, "VOBUIndex::Load > Read getting vmg_tt_srpt");
    }
    const uint16_t titles = ByteView(bytes.data(), bytes.size()).U16BE(0);
    for (int32_t title = 0; title < titles; ++title) {
        if (!ReadExactly(file, table + TitleTableHeaderBytes + int64_t{title} * TitleEntryBytes,
                         TitleEntryBytes, &bytes)) {
            return DvdFail(SourceFile, __LINE__, GeneralFailure,
                           "VOBUIndex::Load > Read getting vmg_tt_srpt");
        }
        int32_t titleSet = TitleSetOfEntry(ByteView(bytes.data(), bytes.size()));
        if (std::find(titleSets.begin(), titleSets.end(), titleSet) == titleSets.end()) {
            titleSets.push_back(titleSet);
        }
    }
    return Success;
}

} // namespace Vorn::Vorncast
