#include "platform/posix/PortLinks.h"

#include <algorithm>
#include <system_error>

#include "platform/posix/RemoteName.h"

namespace mova {

namespace {

constexpr std::string_view kPrefix = "COM";
constexpr std::int32_t kOnlyNumber = 1;
constexpr std::string_view kDevices = "/dev/";
constexpr std::size_t kLongestName = 50;  // it goes into a friendly name, which readers have 255 bytes for

// Backslashes part the keys of the device tree, and parentheses enclose the name in texts.
bool mayStandInName(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte > 0x20 && byte != 0x7F && c != '\\' && c != '(' && c != ')';
}

std::string nameOfDevice(const std::filesystem::path& device) {
    std::string name = device.string();
    name = name.starts_with(kDevices) ? name.substr(kDevices.size()) : device.filename().string();
    if (name.size() > kLongestName) name.erase(0, name.size() - kLongestName);  // what tells them apart is at the end
    std::replace_if(
        name.begin(), name.end(), [](char c) { return !mayStandInName(c); }, '_');
    return name;
}

}  // namespace

std::string PortLinks::nameOf(std::int64_t number) const {
    return number == kOnlyNumber && !onlyName_.empty() ? onlyName_ : std::string(kPrefix) + std::to_string(number);
}

bool PortLinks::isName(std::string_view name) const {
    if (!onlyDevice_.empty()) return name == onlyName_;
    return name.starts_with(kPrefix) && name.size() > kPrefix.size() &&
           name.find_first_not_of("0123456789", kPrefix.size()) == std::string_view::npos;
}

PortLinks PortLinks::only(std::filesystem::path device) {
    PortLinks links{std::filesystem::path()};
    links.onlyName_ = nameOfDevice(device);
    links.onlyDevice_ = std::move(device);
    return links;
}

std::filesystem::path PortLinks::pathOf(std::string_view name) const {
    if (!onlyDevice_.empty()) return name == onlyName_ ? onlyDevice_ : std::filesystem::path();
    std::filesystem::path link = folder_.string().append("/").append(name);
    std::error_code failed;
    std::filesystem::path target = std::filesystem::read_symlink(link, failed);
    return !failed && isRemote(target) ? target : link;
}

bool PortLinks::isRemote(const std::filesystem::path& path) { return remoteNameOf(path.native()).has_value(); }

std::vector<std::string> PortLinks::names() const {
    if (!onlyDevice_.empty()) return {onlyName_};
    std::vector<std::string> names;
    std::error_code failed;
    for (std::filesystem::directory_iterator entry(folder_, failed), end; !failed && entry != end;
         entry.increment(failed)) {
        std::string name = entry->path().filename().string();
        if (isName(name)) names.push_back(std::move(name));
    }
    return names;
}

}  // namespace mova
