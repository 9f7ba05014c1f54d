// What somebody probably meant by a name that there is not.
#pragma once
#include <string>
#include <string_view>
#include <vector>

namespace mova::cli {

// "; did you mean "port"?" when one of the names is close to the word, else empty.
std::string didYouMean(std::string_view word, const std::vector<std::string>& names);

}  // namespace mova::cli
