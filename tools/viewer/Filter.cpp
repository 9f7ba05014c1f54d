#include "viewer/Filter.h"

#include <algorithm>
#include <stdexcept>

#include "base/Text.h"

namespace mova::viewer {

Filter::Filter(FilterOptions options) : options_(std::move(options)) {
    const auto letters = options_.ignoreCase ? Expression::Case::Ignored : Expression::Case::Matters;
    for (const std::string& expression : options_.expressions) {
        try {
            expressions_.emplace_back(expression, letters);
        } catch (const std::invalid_argument& error) {
            throw std::invalid_argument("\"" + expression + "\" is no regular expression: " + error.what());
        }
    }
}

bool Filter::passes(const Message& message) const {
    const auto isObject = [&](const std::string& wanted) {
        return equalIgnoringCase(wanted, kNoObject) ? message.object.empty()
                                                    : equalIgnoringCase(wanted, message.object);
    };
    const auto isIn = [&](const std::string& text) { return contains(message, text); };
    const auto isMatched = [&](const Expression& expression) { return matches(message, expression); };
    if (!options_.objects.empty() && std::none_of(options_.objects.begin(), options_.objects.end(), isObject))
        return false;
    if (std::any_of(options_.excluded.begin(), options_.excluded.end(), isIn)) return false;
    if (options_.texts.empty() && expressions_.empty()) return true;
    return std::any_of(options_.texts.begin(), options_.texts.end(), isIn) ||
           std::any_of(expressions_.begin(), expressions_.end(), isMatched);
}

bool Filter::contains(const Message& message, const std::string& text) const {
    const auto same = [&](char a, char b) { return options_.ignoreCase ? lowerCase(a) == lowerCase(b) : a == b; };
    return std::search(message.text.begin(), message.text.end(), text.begin(), text.end(), same) !=
               message.text.end() ||
           text.empty();
}

bool Filter::matches(const Message& message, const Expression& expression) {
    const auto lines = message.lines();
    return std::any_of(lines.begin(), lines.end(), [&](std::string_view line) {
        try {
            return expression.isIn(line);
        } catch (const Expression::TooComplex&) {
            return false;  // it was not found in reasonable time
        }
    });
}

}  // namespace mova::viewer
