// The page's parts as files of page/, put into the program when it is built.
#pragma once
#include <string_view>

namespace mova::trace::pageparts {

extern const std::string_view kHtml;
extern const std::string_view kStyle;
extern const std::string_view kScript;

}  // namespace mova::trace::pageparts
