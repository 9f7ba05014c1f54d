#include "cli/TerminalView.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "base/HexText.h"
#include "base/Printable.h"

namespace mova::cli {

namespace {

constexpr std::size_t kBytesInALine = 16;

// At the end, the bytes of a UTF-8 character that is not whole yet.
std::size_t unfinishedCharacter(std::string_view text) {
    constexpr std::size_t kLongest = 3;
    for (std::size_t bytes = 1; bytes <= std::min(kLongest, text.size()); ++bytes) {
        const auto c = static_cast<unsigned char>(text[text.size() - bytes]);
        if ((c & 0xC0U) == 0x80U) continue;  // not its first
        const std::size_t whole = c >= 0xF0 && c < 0xF5 ? 4 : c >= 0xE0 ? 3 : c >= 0xC2 ? 2 : 1;
        return c < 0xF5 && bytes < whole ? bytes : 0;
    }
    return 0;
}

}  // namespace

void TerminalView::show(std::string& out, std::string_view text) {
    if (text.empty()) return;
    if (column_ == 0 && stamps) out += stamp_();
    out += text;
    column_ += text.size();
}

void TerminalView::breakLine(std::string& out) {
    if (column_ == 0 && stamps) out += stamp_();  // an empty line has come at its time as well
    out += '\n';
    column_ = 0;
}

std::string TerminalView::take(std::string_view bytes) {
    if (transparent) {
        if (!bytes.empty()) column_ = bytes.back() == '\n' ? 0 : 1;
        return std::exchange(held_, {}).append(bytes);
    }
    if (hexadecimal) return takeHexadecimal(std::exchange(held_, {}).append(bytes));
    return takeText(std::exchange(held_, {}).append(bytes));
}

std::string TerminalView::takeHexadecimal(std::string_view bytes) {
    std::string out;
    for (const char c : bytes) {
        std::string digits(column_ == 0 ? "" : " ");
        appendHexByte(digits, static_cast<std::uint8_t>(c));
        show(out, digits);
        if (c == '\n' || column_ >= 3 * kBytesInALine - 1) breakLine(out);
    }
    return out;
}

std::string TerminalView::takeText(std::string_view text) {
    std::string out;
    while (!text.empty()) {
        const std::size_t plain = std::min(text.find_first_of("\r\n"), text.size());
        const bool last = plain == text.size();
        const std::size_t unfinished = last ? unfinishedCharacter(text) : 0;
        show(out, printable(text.substr(0, plain - unfinished)));
        if (last) {
            held_ = text.substr(plain - unfinished);
            break;
        }
        const std::size_t end = std::min(text.find_first_not_of('\r', plain), text.size());
        if (end == text.size()) {
            held_ = text.substr(plain);
            break;
        }
        breakLine(out);
        text.remove_prefix(text[end] == '\n' ? end + 1 : end);
    }
    return out;
}

// A carriage return stays: its line ends with what follows.
std::string TerminalView::rest() {
    std::string out;
    if (held_.starts_with('\r')) return out;
    show(out, printable(std::exchange(held_, {})));
    return out;
}

std::string TerminalView::endLine() {
    std::string out = rest();
    held_.clear();
    if (column_ > 0) out += '\n';
    column_ = 0;
    return out;
}

}  // namespace mova::cli
