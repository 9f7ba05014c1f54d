#include "platform/posix/PortLinks.h"

#include <system_error>

#include "platform/posix/RemoteName.h"

namespace mova {

namespace {

constexpr std::string_view kPrefix = "COM";
constexpr const char* kOnlyName = "COM1";

}  // namespace

bool PortLinks::isName(std::string_view name) {
    return name.starts_with(kPrefix) && name.size() > kPrefix.size() &&
           name.find_first_not_of("0123456789", kPrefix.size()) == std::string_view::npos;
}

PortLinks PortLinks::only(std::filesystem::path device) {
    PortLinks links{std::filesystem::path()};
    links.onlyDevice_ = std::move(device);
    return links;
}

std::filesystem::path PortLinks::pathOf(std::string_view name) const {
    if (!onlyDevice_.empty()) return name == kOnlyName ? onlyDevice_ : std::filesystem::path();
    std::filesystem::path link = folder_.string().append("/").append(name);
    std::error_code failed;
    std::filesystem::path target = std::filesystem::read_symlink(link, failed);
    return !failed && isRemote(target) ? target : link;
}

bool PortLinks::isRemote(const std::filesystem::path& path) { return remoteNameOf(path.native()).has_value(); }

std::vector<std::string> PortLinks::names() const {
    if (!onlyDevice_.empty()) return {kOnlyName};
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
