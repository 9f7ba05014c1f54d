#include "platform/posix/PosixPlatform.h"

namespace mova {

PosixOptions nativeOptions() {
    PosixOptions options;
    options.deviceDir = deviceDir();
    return options;
}

PosixPlatform::PosixPlatform(const PosixOptions& options)
    : serial_(options.deviceDir),
      threading_(options.privateDir),
      keys_(options.deviceDir, options.sysDir),
      datagrams_(options.privateDir),
      platform_{serial_, threading_, clock_, keys_, datagrams_, files_, host_} {}

Platform& nativePlatform() {
    static PosixPlatform& instance = *new PosixPlatform(nativeOptions());  // threads may outlive main
    return instance.platform();
}

}  // namespace mova
