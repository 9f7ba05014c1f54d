#include "platform/posix/PosixPlatform.h"

#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <system_error>

#include "mova/Device.h"
#include "platform/posix/RemoteName.h"

namespace mova {

PosixOptions nativeOptions() {
    PosixOptions options;
    options.deviceDir = deviceDir();
    return options;
}

namespace {

PortLinks linksOf(const PosixOptions& options) {
    return options.device.empty() ? PortLinks(options.deviceDir) : PortLinks::only(options.device);
}

}  // namespace

PosixPlatform::PosixPlatform(const PosixOptions& options)
    : serial_(linksOf(options)),
      threading_(options.privateDir),
      keys_(linksOf(options), options.sysDir),
      datagrams_(options.privateDir),
      platform_{serial_, threading_, clock_, keys_, datagrams_, files_, host_} {}

Platform& nativePlatform() {
    static PosixPlatform& instance = *new PosixPlatform(nativeOptions());  // threads may outlive main
    return instance.platform();
}

Platform& platformOfDevice(const std::string& path) {
    static std::mutex& mutex = *new std::mutex();
    static auto& platforms = *new std::map<std::string, std::unique_ptr<PosixPlatform>>();  // kept for the same reason
    PosixOptions options = nativeOptions();
    std::error_code failed;
    options.device = remoteNameOf(path) ? path : std::filesystem::absolute(path, failed).string();
    if (failed) options.device = "/";  // there is nowhere to start from, or no path: it is no device then
    const std::lock_guard guard(mutex);
    std::unique_ptr<PosixPlatform>& platform = platforms[options.device];
    if (!platform) platform = std::make_unique<PosixPlatform>(options);
    return platform->platform();
}

}  // namespace mova
