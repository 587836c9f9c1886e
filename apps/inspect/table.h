// Columns of text.
#pragma once

#include <string>
#include <vector>

namespace ulmar::inspect {

/// Rows of cells, the first numLeft columns flush left and the others flush right, two
/// spaces apart. Cells are ASCII. Rows may be shorter than others.
std::string tableText(const std::vector<std::vector<std::string>>& rows,
                      std::size_t numLeft);

}  // namespace ulmar::inspect
