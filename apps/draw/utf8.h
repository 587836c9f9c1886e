// File names may be any bytes; pictures and JSON take UTF-8 only.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace ulmar::draw {

/// The text with a '?' for every byte that belongs to no character.
std::string validUtf8(std::string_view bytes);

/// Valid text with only about so many bytes of its start and of its end, and an
/// ellipsis between them; characters stay whole.
std::string withoutMiddle(std::string_view text, std::size_t startBytes,
                          std::size_t endBytes);

}  // namespace ulmar::draw
