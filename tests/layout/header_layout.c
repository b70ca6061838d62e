/* Compiled with -m32 and -m64 by CTest: every record of the public header at its fixed offsets. */
#include <stddef.h>
#include <vorncast/VorncastDecoders.h>

#define AT(type, field, offset) _Static_assert(offsetof(type, field) == (offset), #type "." #field)
#define SIZE(type, size) _Static_assert(sizeof(type) == (size), "sizeof " #type)

#if defined(__i386__)
#define BOTH(i386, x64) (i386)
#else
#define BOTH(i386, x64) (x64)
#endif

SIZE(VcGuid, 16);

AT(VcInitRecord, importPluginsEnabled, 824);
AT(VcInitRecord, logCallback, 828 + BOTH(0, 4));
SIZE(VcInitRecord, BOTH(832, 840));

AT(VcFrameTimes, recordedTime, 0);
AT(VcFrameTimes, streamTime, 8);
AT(VcFrameTimes, zoneBias, 16);
AT(VcFrameTimes, zoneKnown, 24);
AT(VcFrameTimes, zoneFlag, 25);
SIZE(VcFrameTimes, 32);

AT(VcSample, uncompressedSize, 0);
AT(VcSample, uncompressedData, BOTH(4, 8));
AT(VcSample, descriptionHandle, BOTH(8, 16));
AT(VcSample, time, BOTH(16, 24));
AT(VcSample, reserved, BOTH(48, 56));
SIZE(VcSample, BOTH(56, 64));

AT(VcSampleRequest, abort, 0);
AT(VcSampleRequest, parameters, 8);
AT(VcSampleRequest, wantData, 24);
AT(VcSampleRequest, reserved, 28);
SIZE(VcSampleRequest, 32);

AT(VcSeekRequest, abort, 0);
AT(VcSeekRequest, parameters, 8);
AT(VcSeekRequest, wantData, 24);
AT(VcSeekRequest, reserved2, 32);
AT(VcSeekRequest, targetTime, 40);
AT(VcSeekRequest, secondTarget, 48);
AT(VcSeekRequest, zoneBias, 56);
AT(VcSeekRequest, reserved3, 64);
SIZE(VcSeekRequest, 72);

AT(VcQueryResult, canLoad, 0);
AT(VcQueryResult, hasTimes, 4);
AT(VcQueryResult, hasFrameCount, 8);
AT(VcQueryResult, reserved, 12);
AT(VcQueryResult, startTime, 24);
AT(VcQueryResult, endTime, 56);
AT(VcQueryResult, pictureCount, 88);
AT(VcQueryResult, frameCountLow, 92);
AT(VcQueryResult, frameCountHigh, 96);
AT(VcQueryResult, description, 100);
SIZE(VcQueryResult, 152);

AT(VcTrackInfo, nameSize, 0);
AT(VcTrackInfo, streamCount, 4);
AT(VcTrackInfo, startTime, 8);
AT(VcTrackInfo, endTime, 40);
SIZE(VcTrackInfo, 72);

AT(VcStreamInfo, nameSize, 0);
AT(VcStreamInfo, streamNumber, 4);
AT(VcStreamInfo, type, 8);
SIZE(VcStreamInfo, 12);

AT(VcPublicDecoderInfo, guid, 0);
AT(VcPublicDecoderInfo, variant, 16);
AT(VcPublicDecoderInfo, subVariant, 17);
AT(VcPublicDecoderInfo, name, BOTH(20, 24));
AT(VcPublicDecoderInfo, patterns, BOTH(24, 32));
AT(VcPublicDecoderInfo, extensions, BOTH(28, 40));
AT(VcPublicDecoderInfo, available, BOTH(32, 48));
AT(VcPublicDecoderInfo, container, BOTH(36, 52));
AT(VcPublicDecoderInfo, manualOnly, BOTH(40, 56));
AT(VcPublicDecoderInfo, manualOnly2, BOTH(44, 60));
AT(VcPublicDecoderInfo, priority, BOTH(48, 64));
AT(VcPublicDecoderInfo, kind, BOTH(52, 68));
SIZE(VcPublicDecoderInfo, BOTH(56, 72));

AT(VcPublicVideoDescription, width, 0);
AT(VcPublicVideoDescription, height, 4);
AT(VcPublicVideoDescription, bytesPerPixel, 8);
AT(VcPublicVideoDescription, aspectNumerator, 12);
AT(VcPublicVideoDescription, aspectDenominator, 16);
AT(VcPublicVideoDescription, format, 20);
SIZE(VcPublicVideoDescription, 24);

SIZE(VcPublicAudioDescription, 16);
