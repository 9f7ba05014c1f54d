#include "oracle/Text.h"

#include <cstdarg>
#include <cstdio>

namespace mova::oracle {

namespace {
constexpr const char* kWhiteSpace = " \t\r\n\v\f";
}

std::string printed(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    char text[512];
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return text;
}

std::vector<std::string> splitAt(const std::string& text, const std::string& separator, std::string& rest) {
    std::vector<std::string> parts;
    std::size_t from = 0;
    for (std::size_t at; (at = text.find(separator, from)) != std::string::npos; from = at + separator.size()) {
        parts.push_back(text.substr(from, at - from));
    }
    rest = text.substr(from);
    return parts;
}

void replaceAll(std::string& text, const std::string& what, const std::string& with) {
    for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += with.size()) {
        text.replace(at, what.size(), with);
    }
}

std::string rightTrimmed(std::string text) {
    text.erase(text.find_last_not_of(kWhiteSpace) + 1);
    return text;
}

std::string trimmed(std::string text) {
    text.erase(0, text.find_first_not_of(kWhiteSpace));
    return rightTrimmed(std::move(text));
}

std::string lowered(std::string text) {
    for (char& c : text) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
    }
    return text;
}

std::string folded(std::string text) {
    replaceAll(text, "\r\n", "~");
    while (text.find("~~") != std::string::npos) replaceAll(text, "~~", "~");
    return text;
}

}  // namespace mova::oracle
