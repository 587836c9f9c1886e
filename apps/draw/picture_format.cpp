#include "apps/draw/picture_format.h"

#include <algorithm>
#include <cctype>

#include "ulmar/host/error.h"

namespace ulmar::draw {

PictureFormat pictureFormatOf(const std::string& path) {
  const std::size_t dot = path.find_last_of("./");
  std::string extension =
      dot == std::string::npos || path[dot] == '/' ? "" : path.substr(dot);
  std::transform(
      extension.begin(), extension.end(), extension.begin(),
      [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  if (extension == ".svg") return PictureFormat::svg;
  if (extension == ".png") return PictureFormat::png;
  if (extension == ".pdf") return PictureFormat::pdf;
  fail("cannot write ", path, ": the extension is '", extension,
       "', and pictures are .svg, .png or .pdf");
}

}  // namespace ulmar::draw
