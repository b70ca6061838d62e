#pragma once

#include "fixtures/iso/IsoBoxWriter.h"
#include "formats/RecordingFixture.h"

namespace IsoTests {

using FormatTests::CollectLog;
using FormatTests::CountingFileSource;
using FormatTests::Delivered;
using FormatTests::LoggedTexts;
using FormatTests::NeverAbort;
using IsoFormatTest = FormatTests::RecordingTest;
using IsoTest::Bytes;

constexpr const char* PhoneMp4Guid = "4A53EA3D-0A11-4dec-B9BD-E0EAF808EB31";
constexpr const char* Phone3gpGuid = "CEABCACD-5446-41f9-94A2-3391B2C9F578";
constexpr const char* VigilantGuid = "ACEA0A02-8FE5-4770-BBBD-6D6745371F80";

} // namespace IsoTests
