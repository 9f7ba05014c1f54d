#include "cli/Comparison.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <stdexcept>

#include "cli/ParseNumber.h"
#include "cli/ScriptText.h"
#include "cli/SplitText.h"

namespace mova::cli {

namespace {

using Operator = Comparison::Operator;

struct OperatorName {
    const char* sign;
    Operator op;
};
constexpr std::array kOperators{
    OperatorName{"==", Operator::Equal},  OperatorName{"!=", Operator::Unequal}, OperatorName{"<", Operator::Less},
    OperatorName{"<=", Operator::AtMost}, OperatorName{">", Operator::Greater},  OperatorName{">=", Operator::AtLeast},
    OperatorName{"like", Operator::Like},
};

const char* signOf(Operator op) {
    return std::find_if(kOperators.begin(), kOperators.end(), [&](const auto& row) { return row.op == op; })->sign;
}

std::optional<double> numberIn(std::string_view text) {
    if (text.starts_with("0x") || text.starts_with("0X")) {
        const auto whole = parseNumber(text);
        return whole ? std::optional(static_cast<double>(*whole)) : std::nullopt;
    }
    if (text.starts_with('+')) text.remove_prefix(1);
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

bool isOrder(Operator op) { return op != Operator::Equal && op != Operator::Unequal && op != Operator::Like; }

bool holdsFor(Operator op, double left, double right) {
    switch (op) {
        case Operator::Less: return left < right;
        case Operator::AtMost: return left <= right;
        case Operator::Greater: return left > right;
        case Operator::AtLeast: return left >= right;
        case Operator::Unequal: return left != right;
        case Operator::Equal:
        case Operator::Like: break;
    }
    return left == right;
}

std::string shown(const std::string& value) { return numberIn(value) ? value : "\"" + value + "\""; }

void requireNumberOrName(const std::string& value) {
    const auto parts = partsOf(value);
    const bool named = std::any_of(parts.begin(), parts.end(), [](const TextPart& part) { return part.isName; });
    if (!named && !numberIn(value)) throw std::invalid_argument("\"" + value + "\" is no number");
}

}  // namespace

Comparison parseComparison(std::string_view text) {
    constexpr std::size_t kWords = 3;
    constexpr const char* kForm =
        "a comparison is two values with ==, !=, <, <=, >, >= or like between them; one with blanks is in quotes";
    const auto words = splitWords(text);
    if (!words) throw std::invalid_argument("a quote is not closed");
    if (words->size() != kWords) throw std::invalid_argument(kForm);
    const auto* const row =
        std::find_if(kOperators.begin(), kOperators.end(), [&](const auto& r) { return (*words)[1] == r.sign; });
    if (row == kOperators.end()) throw std::invalid_argument("\"" + (*words)[1] + "\" does not compare: " + kForm);
    if (isOrder(row->op)) {
        requireNumberOrName((*words)[0]);
        requireNumberOrName((*words)[2]);
    }
    return {row->op, (*words)[0], (*words)[2], std::string(text)};
}

std::string unmetComparison(const Comparison& comparison, const Variables& values) {
    const Operator op = comparison.op;
    const std::string left = filledIn(comparison.left, values);
    if (op == Operator::Like) {
        if (matchesPattern(left, comparison.right, values)) return {};
        return shown(left) + " is not like \"" + filledIn(comparison.right, values) + "\"";
    }
    const std::string right = filledIn(comparison.right, values);
    const auto a = numberIn(left), b = numberIn(right);
    if (isOrder(op) && !a) return shown(left) + " is no number";
    if (isOrder(op) && !b) return shown(right) + " is no number";
    const bool holds = a && b ? holdsFor(op, *a, *b) : (left == right) == (op == Operator::Equal);
    return holds ? std::string() : shown(left) + " is not " + signOf(op) + " " + shown(right);
}

}  // namespace mova::cli
