// The kinds of picture files.
#pragma once

#include <string>

namespace ulmar::draw {

enum class PictureFormat { svg, png, pdf };

/// By the extension, in any case. Throws Error for any but .svg, .png and .pdf.
PictureFormat pictureFormatOf(const std::string& path);

}  // namespace ulmar::draw
