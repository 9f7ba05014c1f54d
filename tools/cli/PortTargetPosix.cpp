#include <unistd.h>

#include <filesystem>

#include "cli/PortList.h"
#include "cli/PortTarget.h"
#include "mova/Codes.h"
#include "mova/Device.h"

namespace mova::cli {

namespace fs = std::filesystem;

PortTarget::PortTarget(const std::string& name) : name_(name) {
    const std::int32_t number = portNumberOf(name);
    if (number > 0) {
        number_ = number;
        name_ = "COM" + std::to_string(number);
        platform_ = &nativePlatform();
        return;
    }
    std::error_code failed;
    const fs::path device = fs::canonical(name, failed);
    if (failed) {
        throw Failure{ExitStatus::PortNotOpened, "there is no device " + name,
                      "\"mova ports\" lists what is there; a number n stands for " + deviceFolder() + "/COMn"};
    }
    if (!fs::is_character_file(device, failed)) {
        throw Failure{ExitStatus::PortNotOpened, name + " is not a serial device",
                      "\"mova ports\" lists what is there"};
    }
    // The path as it was named: unplugged and plugged in again, it may be another device behind the same link.
    platform_ = &platformOfDevice(name);
}

std::string PortTarget::device() const { return platform_ == &nativePlatform() ? deviceFolder() + "/" + name_ : name_; }

bool PortTarget::isThere() {
    std::error_code failed;
    return fs::is_character_file(device(), failed) && access(device().c_str(), R_OK | W_OK) == 0;
}

Failure PortTarget::whyNotOpened(Code code) {
    Failure failure = failureOf(code, name_ + " could not be opened");
    if (code != Code::NotOpen) return failure;
    const std::string device = this->device();
    std::error_code failed;
    const fs::path real = fs::canonical(device, failed);
    if (failed) {
        failure.message = "there is no port " + name_ + ": " + device + " is missing or leads nowhere";
        failure.hint =
            "\"mova ports\" lists what is there; a device path also serves, for instance --port /dev/ttyUSB0";
    } else if (access(real.c_str(), R_OK | W_OK) != 0) {
        failure.message = "you may not open " + real.string();
        failure.hint = "become a member of the device's group (\"ls -l " + real.string() +
                       "\" shows it, often dialout: sudo usermod -aG dialout $USER), then log in again";
    } else {
        failure.hint = "another program may hold " + real.string() + " (\"fuser " + real.string() +
                       "\" tells which), or the device does not answer: unplug it and plug it in again";
    }
    return failure;
}

}  // namespace mova::cli
