#include "apps/inspect/table.h"

#include <algorithm>

namespace ulmar::inspect {

std::string tableText(const std::vector<std::vector<std::string>>& rows,
                      std::size_t numLeft) {
  std::vector<std::size_t> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) {
      widths[i] = std::max(widths[i], row[i].size());
    }
  }
  std::string text;
  for (const auto& row : rows) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      const std::string padding(widths[i] - row[i].size(), ' ');
      line += "  ";
      line += i < numLeft ? row[i] + padding : padding + row[i];
    }
    line.erase(line.find_last_not_of(' ') + 1);
    text += line + '\n';
  }
  return text;
}

}  // namespace ulmar::inspect
