// PortLinks tells where the device of a port is. Either a folder has the link COMn for port n, or one device alone is
// port 1: then there is no link and no folder, which others could plant and a killed program would leave behind. Such a
// port is called after its path: what stands behind /dev/, of another path its last part.
// A port on another machine has no device: the link's own text, or the device told, is its RemoteName.
#pragma once
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace mova {

class PortLinks {
public:
    explicit PortLinks(std::filesystem::path folder) : folder_(std::move(folder)) {}
    static PortLinks only(std::filesystem::path device);

    std::string nameOf(std::int64_t number) const;
    bool isName(std::string_view name) const;                   // "COM" and a number, or the only device's name
    std::filesystem::path pathOf(std::string_view name) const;  // leads nowhere when there is no such port
    static bool isRemote(const std::filesystem::path& path);    // what pathOf() gave names a port on another machine
    std::vector<std::string> names() const;

private:
    std::filesystem::path folder_;
    std::filesystem::path onlyDevice_;
    std::string onlyName_;
};

}  // namespace mova
