// Parts of file names.
#pragma once

#include <algorithm>
#include <cctype>
#include <string>

namespace ulmar::audio {

/// The name without its folders: "hall.wav" of "rooms/hall.wav".
inline std::string withoutFolders(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

/// The name's extension with its dot, in lower case: ".wav" of "Dry.WAV", empty of
/// "dry".
inline std::string extensionOf(const std::string& path) {
  const std::size_t dot = path.find_last_of("./");
  if (dot == std::string::npos || path[dot] == '/') return "";
  std::string extension = path.substr(dot);
  std::transform(
      extension.begin(), extension.end(), extension.begin(),
      [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  return extension;
}

}  // namespace ulmar::audio
