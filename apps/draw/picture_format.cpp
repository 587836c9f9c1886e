#include "apps/draw/picture_format.h"

#include "ulmar/audio/file_name.h"
#include "ulmar/host/error.h"

namespace ulmar::draw {

PictureFormat pictureFormatOf(const std::string& path) {
  const std::string extension = audio::extensionOf(path);
  if (extension == ".svg") return PictureFormat::svg;
  if (extension == ".png") return PictureFormat::png;
  if (extension == ".pdf") return PictureFormat::pdf;
  fail("cannot write ", path, ": the extension is '", extension,
       "', and pictures are .svg, .png or .pdf");
}

}  // namespace ulmar::draw
