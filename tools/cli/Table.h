// Lines of columns, each as wide as its widest entry.
#pragma once
#include <string>
#include <vector>

namespace mova::cli {

std::vector<std::string> tableLines(const std::vector<std::vector<std::string>>& rows);

}  // namespace mova::cli
