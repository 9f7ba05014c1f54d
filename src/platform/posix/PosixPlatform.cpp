#include "platform/posix/PosixPlatform.h"

#include <cstdlib>

#include "platform/posix/ChannelDir.h"

namespace mova {

namespace {

std::string channelDirOf(const PosixOptions& options) {
    return options.channelDir.empty() ? defaultChannelDir() : options.channelDir;
}

PosixOptions optionsOfEnvironment() {
    PosixOptions options;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing here changes the environment
    const char* deviceDir = std::getenv("MOVA_DEVICE_DIR");
    if (deviceDir != nullptr && *deviceDir != '\0') options.deviceDir = deviceDir;
    return options;
}

}  // namespace

PosixPlatform::PosixPlatform(const PosixOptions& options)
    : serial_(options.deviceDir),
      threading_(channelDirOf(options)),
      keys_(options.deviceDir, options.sysDir),
      datagrams_(channelDirOf(options)),
      platform_{serial_, threading_, clock_, keys_, datagrams_, files_, host_} {}

Platform& nativePlatform() {
    static PosixPlatform& instance = *new PosixPlatform(optionsOfEnvironment());  // threads may outlive main
    return instance.platform();
}

}  // namespace mova
