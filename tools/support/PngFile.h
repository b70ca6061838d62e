#pragma once

// PNG files of pictures, written with libpng.

#include "support/Picture.h"

#include <string>

namespace VorncastTool {

// Writes the picture (colour or monochrome) as an 8-bit PNG. The file must not exist yet: the tool
// never replaces a file. Throws std::runtime_error naming the file on failure.
void WritePng(const std::string& path, const Picture& picture);

} // namespace VorncastTool
