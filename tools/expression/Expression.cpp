#include "expression/Expression.h"

// What a search may hold, in blocks of 4 KB: 1 GB, of which nearly every search needs next to nothing.
#define BOOST_REGEX_MAX_BLOCKS 262144
#include <boost/version.hpp>
#if defined(BOOST_VERSION) && BOOST_VERSION < 107600  // cppcheck reads this without the library
#error "Boost.Regex needs a library before 1.76; Debian's package libboost1.81-dev has one that does not"
#endif
#include <boost/regex.hpp>

namespace mova {

struct Expression::Compiled {
    boost::regex regex;
};

Expression::Expression(const std::string& text, Case letters) : compiled_(std::make_unique<Compiled>()) {
    boost::regex::flag_type flags = boost::regex::ECMAScript;
    if (letters == Case::Ignored) flags |= boost::regex::icase;
    try {
        compiled_->regex.assign(text, flags);
    } catch (const std::runtime_error& error) {
        throw std::invalid_argument(error.what());
    }
}

Expression::~Expression() = default;
Expression::Expression(Expression&&) noexcept = default;
Expression& Expression::operator=(Expression&&) noexcept = default;

bool Expression::isIn(std::string_view line) const {
    try {
        return boost::regex_search(line.begin(), line.end(), compiled_->regex,
                                   boost::match_not_dot_newline | boost::match_single_line | boost::match_any);
    } catch (const std::runtime_error& error) {
        throw TooComplex(error.what());
    }
}

std::optional<std::string> Expression::findIn(std::string_view line) const {
    boost::cmatch found;
    try {
        if (!boost::regex_search(line.data(), line.data() + line.size(), found, compiled_->regex,
                                 boost::match_not_dot_newline | boost::match_single_line)) {
            return std::nullopt;
        }
    } catch (const std::runtime_error& error) {
        throw TooComplex(error.what());
    }
    return found.size() > 1 ? found.str(1) : found.str(0);
}

}  // namespace mova
