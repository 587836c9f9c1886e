#include "apps/draw/utf8.h"

#include <algorithm>

namespace ulmar::draw {
namespace {

bool isContinuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

/// Bytes of the character at the start of the text, or 0 if it is none. Leaves out
/// overlong forms, surrogates and what is beyond U+10FFFF (RFC 3629).
std::size_t characterLength(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char first = byte(0);
  if (first < 0x80) return 1;
  const std::size_t length = first < 0xC2   ? 0
                             : first < 0xE0 ? 2
                             : first < 0xF0 ? 3
                             : first < 0xF5 ? 4
                                            : 0;
  if (length == 0 || text.size() < length) return 0;
  if (!std::all_of(text.begin() + 1, text.begin() + static_cast<int>(length),
                   isContinuation)) {
    return 0;
  }
  if ((first == 0xE0 && byte(1) < 0xA0) || (first == 0xED && byte(1) >= 0xA0) ||
      (first == 0xF0 && byte(1) < 0x90) || (first == 0xF4 && byte(1) >= 0x90)) {
    return 0;
  }
  return length;
}

}  // namespace

std::string validUtf8(std::string_view bytes) {
  std::string valid;
  while (!bytes.empty()) {
    const std::size_t length = characterLength(bytes);
    valid += length == 0 ? "?" : bytes.substr(0, length);
    bytes.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return valid;
}

std::string withoutMiddle(std::string_view text, std::size_t startBytes,
                          std::size_t endBytes) {
  if (startBytes + endBytes >= text.size()) return std::string(text);
  std::size_t start = startBytes;
  while (start > 0 && isContinuation(text[start])) --start;
  std::size_t end = text.size() - endBytes;
  while (end < text.size() && isContinuation(text[end])) ++end;
  return std::string(text.substr(0, start)) + "\u2026" + std::string(text.substr(end));
}

}  // namespace ulmar::draw
