#include "platform/posix/PosixPlatform.h"

namespace mova {

namespace {

std::string channelDirOf(const PosixOptions& options) {
    return options.channelDir.empty() ? channelDir() : options.channelDir;
}

}  // namespace

PosixOptions nativeOptions() {
    PosixOptions options;
    options.deviceDir = deviceDir();
    return options;
}

PosixPlatform::PosixPlatform(const PosixOptions& options)
    : serial_(options.deviceDir),
      threading_(channelDirOf(options)),
      keys_(options.deviceDir, options.sysDir),
      datagrams_(channelDirOf(options)),
      platform_{serial_, threading_, clock_, keys_, datagrams_, files_, host_} {}

Platform& nativePlatform() {
    static PosixPlatform& instance = *new PosixPlatform(nativeOptions());  // threads may outlive main
    return instance.platform();
}

}  // namespace mova
