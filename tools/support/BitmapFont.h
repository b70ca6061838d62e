#pragma once

// A built-in 5 by 7 pixel font for the labels of contact sheets, test patterns and presentation
// overlays, so that the tool needs no font files. Lower-case letters print as capitals.

#include "support/Picture.h"

#include <cstdint>
#include <string_view>

namespace VorncastTool {

constexpr int32_t GlyphCellWidth = 6;  // 5 columns and one of spacing
constexpr int32_t GlyphCellHeight = 8; // 7 rows and one of spacing

int32_t TextWidth(std::string_view text, int32_t scale);
int32_t TextHeight(int32_t scale);
// Draws `text` with its top left corner at x, y, each font pixel a `scale` by `scale` square.
void DrawText(Picture& picture, int32_t x, int32_t y, std::string_view text, int32_t scale, Colour ink);
// The same on a filled box with a margin of one font pixel, so that the text reads on any picture.
void DrawLabel(Picture& picture, int32_t x, int32_t y, std::string_view text, int32_t scale, Colour ink,
               Colour paper);

} // namespace VorncastTool
