#pragma once

// Pieces of the tool's reports shared by several commands.

#include "support/Json.h"
#include "vorncast/Commands.h"
#include "vorncast/Library.h"

#include <optional>
#include <string>

namespace VorncastTool {

// The recording to work on and, with --decoder, the decoder to read it with.
std::unique_ptr<Recording> OpenRecording(const CommandContext& context, const std::string& path);

// Members "recorderTime", "recorderTicks", "streamTime", "streamTicks" of a time record.
void WriteTimes(JsonWriter& json, const VcFrameTimes& times);
// "video" text of a picture format.
std::string PixelFormatName(const VcPublicVideoDescription& description);
// The decoder's name, GUID and variant as a JSON object.
void WriteDecoder(JsonWriter& json, const DecoderEntry& decoder);

} // namespace VorncastTool
