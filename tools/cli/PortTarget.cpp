#include "cli/PortTarget.h"

#include "cli/ParseNumber.h"
#include "device/PortDiscovery.h"

namespace mova::cli {

std::int32_t portNumberOf(const std::string& name) {
    std::string_view digits = name;
    if (digits.starts_with("\\\\.\\")) digits.remove_prefix(4);
    if (digits.starts_with("COM") || digits.starts_with("com")) digits.remove_prefix(3);
    const auto number = parseNumber(digits);
    return number && *number > 0 && *number <= kLastPort ? static_cast<std::int32_t>(*number) : -1;
}

}  // namespace mova::cli
