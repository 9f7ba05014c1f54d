// Which messages are shown.
#pragma once
#include <string>
#include <string_view>
#include <vector>

#include "expression/Expression.h"
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

    // Throws std::invalid_argument for an expression that is none, and says why.
    explicit Filter(FilterOptions options);

    bool passes(const Message& message) const;

private:
    bool contains(const Message& message, const std::string& text) const;
    static bool matches(const Message& message, const Expression& expression);

    FilterOptions options_;
    std::vector<Expression> expressions_;
};

}  // namespace mova::viewer
