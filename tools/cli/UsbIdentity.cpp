#include "cli/UsbIdentity.h"

#include <algorithm>

#include "base/Text.h"
#include "cli/SplitText.h"

namespace mova::cli {

namespace {

constexpr std::size_t kIdDigits = 4;

// The four digits behind the mark, in small letters; empty when they are not there.
std::string digitsBehind(std::string_view text, std::string_view mark) {
    const auto at = upperCase(text).find(mark);
    if (at == std::string::npos) return {};
    std::string digits(text.substr(at + mark.size(), kIdDigits));
    for (char& c : digits) c = lowerCase(c);
    const bool whole = digits.size() == kIdDigits && digits.find_first_not_of("0123456789abcdef") == digits.npos;
    return whole ? digits : std::string();
}

}  // namespace

std::optional<UsbIdentity> usbIdentityInTree(std::string_view path) {
    constexpr std::size_t kDevice = 1, kInstance = 2;  // behind the enumerator
    const auto names = splitAt(path, '\\');
    if (names.size() <= kInstance) return std::nullopt;
    UsbIdentity usb;
    usb.vendor = digitsBehind(names[kDevice], "VID_");
    usb.product = digitsBehind(names[kDevice], "PID_");
    if (usb.vendor.empty() || usb.product.empty()) return std::nullopt;
    const auto parts = splitAt(names[kDevice], '+');
    constexpr std::size_t kSerialPart = 2;
    if (parts.size() > kSerialPart) {
        usb.serial = parts[kSerialPart];
        if (!usb.serial.empty()) usb.serial.pop_back();  // the letter of the adapter's port
    } else if (names[kInstance].find('&') == std::string::npos) {
        usb.serial = names[kInstance];  // one with "&" was made up by the system
    }
    if (usb.serial.find('&') != std::string::npos) usb.serial.clear();
    return usb;
}

}  // namespace mova::cli
