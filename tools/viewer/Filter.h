// Which messages are shown.
#pragma once
#include <regex>
#include <string>
#include <string_view>
#include <vector>

#include "viewer/Message.h"

namespace mova::viewer {

struct FilterOptions {
    std::vector<std::string> objects;      // "COM7", in either case; "none": messages of no port. Empty: all
    std::vector<std::string> texts;        // any of these texts or expressions must be in the message. Both empty: all
    std::vector<std::string> expressions;  // ECMAScript
    std::vector<std::string> excluded;     // none of these texts may be in it
    bool ignoreCase = false;
};

class Filter {
public:
    static constexpr const char* kNoObject = "none";
    // An expression sees so much of a line: what a matcher needs grows with the text.
    static constexpr std::size_t kMostOfALine = 2048;

    // Throws std::invalid_argument for an expression that is none, and says why.
    explicit Filter(FilterOptions options);

    bool passes(const Message& message) const;

private:
    bool contains(const Message& message, const std::string& text) const;
    bool matches(const Message& message, const std::regex& expression) const;

    FilterOptions options_;
    std::vector<std::regex> expressions_;
};

}  // namespace mova::viewer
