// A regular expression (ECMAScript) that is looked for in lines of any length, from whomever they come: the matching
// keeps its state on the heap, and gives up where an expression takes too long for a text.
#pragma once
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace mova {

class Expression {
public:
    enum class Case { Matters, Ignored };

    struct TooComplex : std::runtime_error {
        using std::runtime_error::runtime_error;
    };

    // Throws std::invalid_argument for a text that is none, with the reason.
    explicit Expression(const std::string& text, Case letters = Case::Matters);
    ~Expression();
    Expression(Expression&&) noexcept;
    Expression& operator=(Expression&&) noexcept;

    bool isIn(std::string_view line) const;  // throws TooComplex
    // What its first group holds of the first match, or the whole match where it has no group. Throws TooComplex.
    std::optional<std::string> findIn(std::string_view line) const;

private:
    struct Compiled;
    std::unique_ptr<Compiled> compiled_;
};

}  // namespace mova
