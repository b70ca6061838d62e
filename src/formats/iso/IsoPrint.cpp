#include "formats/iso/ISOMediaFile.h"
#include "formats/iso/ISOMediaTrack.h"
#include "formats/iso/IsoParsing.h"

#include <cstdarg>
#include <cstdio>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr int32_t LogTextSize = 1024;
// Tables longer than twice this print their first and last rows only.
constexpr size_t PrintedEndRows = 8;

// Prints the rows of a table, eliding the middle of a long one.
template <class PrintRow>
void PrintRows(std::ostream& out, const char* title, size_t count, PrintRow&& printRow) {
    out << "  " << title << ": " << count << " rows\n";
    for (size_t row = 0; row < count; ++row) {
        if (count > 2 * PrintedEndRows && row == PrintedEndRows) {
            out << "    ...\n";
            row = count - PrintedEndRows;
        }
        out << "    [" << row << "] ";
        printRow(row);
        out << "\n";
    }
}

} // namespace

void IsoLog::Write(int32_t severity, const char* format, ...) const {
    if (sink == nullptr) {
        return;
    }
    char text[LogTextSize];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    sink(context, severity, text);
}

void PrintFourCC(std::ostream& out, uint32_t code) {
    for (int shift = 24; shift >= 0; shift -= 8) {
        const uint8_t byte = static_cast<uint8_t>(code >> shift);
        if (byte >= 32 && byte <= 127) {
            out << static_cast<char>(byte);
        } else {
            char hex[5];
            std::snprintf(hex, sizeof hex, "[%02x]", byte);
            out << hex;
        }
    }
}

void ISOMediaFile::Print(std::ostream& out) const {
    PrintMovie(out);
    for (int32_t index = 0; index < GetTrackCount(); ++index) {
        GetTrack(index)->Print(out);
    }
}

void ISOMediaFile::PrintMovie(std::ostream& out) const {
    out << "---- Movie\nMajor brand: ";
    PrintFourCC(out, majorBrand);
    out << "\nMinor version: " << minorVersion << "\nCompatible brands:";
    for (size_t index = 0; index < compatibleBrands.Count(); ++index) {
        out << " ";
        PrintFourCC(out, compatibleBrands[index]);
    }
    out << "\nCreation time: " << creationTime << "\nModification time: " << modificationTime
        << "\nTimescale: " << timescale << "\nDuration: " << duration << "\nSoftware: " << GetSoftware()
        << "\nTracks: " << tracks.Count() << "\n";
}

void ISOMediaTrack::Print(std::ostream& out) const {
    out << "---- Track " << trackId << "\nHandler: ";
    PrintFourCC(out, handlerType);
    out << "\nMedia kind: ";
    PrintFourCC(out, mediaKind);
    out << "\nCreation time: " << creationTime << "\nModification time: " << modificationTime
        << "\nDuration: " << duration << "\nLayer: " << layer << "\nAlternate group: " << alternateGroup
        << "\nVolume: " << volume << "\nSize: " << width << " x " << height
        << "\nMedia creation time: " << mediaCreationTime << "\nMovie timescale: " << movieTimescale
        << "\nMedia timescale: " << mediaTimescale << "\nMedia duration: " << mediaDuration << "\n";
    PrintRows(out, "Data references", dataReferences.Count(), [&](size_t row) {
        PrintFourCC(out, dataReferences[row].type);
        out << (dataReferences[row].selfContained ? " self-contained" : " external");
    });
    PrintRows(out, "Chunk offsets", chunkOffsets.Count(), [&](size_t row) { out << chunkOffsets[row]; });
    PrintRows(out, "Sync samples", syncSamples.Count(), [&](size_t row) { out << syncSamples[row]; });
    PrintRows(out, "Sample to chunk", sampleToChunk.Count(), [&](size_t row) {
        out << sampleToChunk[row].firstChunk << " " << sampleToChunk[row].samplesPerChunk << " "
            << sampleToChunk[row].descriptionIndex;
    });
    if (fixedSampleSize != 0) {
        out << "  Sample size: " << fixedSampleSize << " for " << sampleCount << " samples\n";
    } else {
        PrintRows(out, "Sample sizes", sampleSizes.Count(), [&](size_t row) { out << sampleSizes[row]; });
    }
    PrintRows(out, "Time to sample", timeToSample.Count(),
              [&](size_t row) { out << timeToSample[row].count << " x " << timeToSample[row].delta; });
    for (size_t index = 0; index < visualEntries.Count(); ++index) {
        visualEntries[index]->Print(out);
    }
    for (size_t index = 0; index < audioEntries.Count(); ++index) {
        audioEntries[index]->Print(out);
    }
}

} // namespace Vorn::Vorncast::Decoders
