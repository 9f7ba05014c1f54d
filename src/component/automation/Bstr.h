// Texts between the component (8-bit, system code page) and its clients (BSTR).
#pragma once
#include <string>
#include <utility>

#include "component/automation/Ole.h"

namespace mova {

// Owns a BSTR; null is none.
class Bstr {
public:
    Bstr() = default;
    explicit Bstr(BSTR text) : text_(text) {}
    Bstr(Bstr&& other) noexcept : text_(other.release()) {}
    Bstr& operator=(Bstr&& other) noexcept {
        std::swap(text_, other.text_);
        return *this;
    }
    ~Bstr() { SysFreeString(text_); }

    BSTR get() const { return text_; }
    BSTR release() { return std::exchange(text_, nullptr); }

private:
    BSTR text_ = nullptr;
};

// A null text is the empty text. What the code page does not have becomes its default character.
std::string narrow(BSTR text);
// Both throw std::bad_alloc.
Bstr wide(const std::string& text);
// n bytes in a text of n + 1 characters, which is 2(n + 1) bytes: first they, then zeros. No bytes are the empty text.
// Deliberate: hosts rely on it; the length is told beside it, never by the text.
Bstr packed(const std::string& bytes);

}  // namespace mova
