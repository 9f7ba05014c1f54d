#include "platform/posix/PosixPlatform.h"

namespace mova {

namespace {

std::string channelDirOf(const PosixOptions& options) {
    return options.channelDir.empty() ? channelDir() : options.channelDir;
}

PosixOptions optionsOfEnvironment() {
    PosixOptions options;
    options.deviceDir = deviceDir();
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
