#pragma once

#include "core/binary/FourCC.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// Box types and sample formats compare as their four stored bytes read big-endian.
constexpr auto FourCC = FourCCBE;

// The box names and sample formats this family knows.
namespace IsoBox {
constexpr uint32_t Moov = FourCC("moov");
constexpr uint32_t Ftyp = FourCC("ftyp");
constexpr uint32_t Mvhd = FourCC("mvhd");
constexpr uint32_t Trak = FourCC("trak");
constexpr uint32_t Tkhd = FourCC("tkhd");
constexpr uint32_t Mdia = FourCC("mdia");
constexpr uint32_t Mdhd = FourCC("mdhd");
constexpr uint32_t Hdlr = FourCC("hdlr");
constexpr uint32_t Minf = FourCC("minf");
constexpr uint32_t Vmhd = FourCC("vmhd");
constexpr uint32_t Smhd = FourCC("smhd");
constexpr uint32_t Hmhd = FourCC("hmhd");
constexpr uint32_t Dinf = FourCC("dinf");
constexpr uint32_t Stbl = FourCC("stbl");
constexpr uint32_t Stsd = FourCC("stsd");
constexpr uint32_t Stts = FourCC("stts");
constexpr uint32_t Stsc = FourCC("stsc");
constexpr uint32_t Stsz = FourCC("stsz");
constexpr uint32_t Stz2 = FourCC("stz2");
constexpr uint32_t Stco = FourCC("stco");
constexpr uint32_t Co64 = FourCC("co64");
constexpr uint32_t Stss = FourCC("stss");
constexpr uint32_t Dref = FourCC("dref");
constexpr uint32_t Url = FourCC("url ");
constexpr uint32_t Urn = FourCC("urn ");
constexpr uint32_t Alis = FourCC("alis");
constexpr uint32_t Vide = FourCC("vide");
constexpr uint32_t Soun = FourCC("soun");
constexpr uint32_t Hint = FourCC("hint");
constexpr uint32_t Dvcp = FourCC("dvcp");
constexpr uint32_t Avc1 = FourCC("avc1");
constexpr uint32_t S263 = FourCC("s263");
constexpr uint32_t D263 = FourCC("d263");
constexpr uint32_t H263 = FourCC("h263");
constexpr uint32_t Mp4v = FourCC("mp4v");
constexpr uint32_t Xmp4 = FourCC("xmp4");
constexpr uint32_t Mp4a = FourCC("mp4a");
constexpr uint32_t Esds = FourCC("esds");
constexpr uint32_t Samr = FourCC("samr");
constexpr uint32_t Damr = FourCC("damr");
constexpr uint32_t Free = FourCC("free");
constexpr uint32_t Qt = FourCC("qt  ");
constexpr uint32_t Jpeg = FourCC("jpeg");
constexpr uint32_t Udta = FourCC("udta");
constexpr uint32_t Swr = FourCC("@swr");
} // namespace IsoBox

// Size and type: the header of every box inside the movie tree.
constexpr uint32_t BoxHeaderSize = 8;

} // namespace Vorn::Vorncast::Decoders
