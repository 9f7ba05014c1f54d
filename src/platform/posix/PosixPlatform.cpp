#include "platform/posix/PosixPlatform.h"

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

}  // namespace mova
