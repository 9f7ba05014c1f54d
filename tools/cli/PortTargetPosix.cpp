#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "cli/PortList.h"
#include "cli/PortTarget.h"
#include "mova/Codes.h"
#include "mova/Device.h"
#include "platform/posix/RemoteName.h"

namespace mova::cli {

namespace fs = std::filesystem;

void PortTarget::find() {
    const std::string& name = name_;
    const std::int32_t number = portNumberOf(name);
    if (number > 0) {
        number_ = number;
        name_ = "COM" + std::to_string(number);
        platform_ = &nativePlatform();
        return;
    }
    if (remoteNameOf(name)) {
        platform_ = &platformOfDevice(name);
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

std::string PortTarget::device() const {
    return platform_ == &nativePlatform() ? PortLinks(deviceFolder()).pathOf(name_).string() : name_;
}

bool PortTarget::isDeviceThere() {
    if (remoteNameOf(device())) return true;  // whether it is, only opening it can tell
    std::error_code failed;
    return fs::is_character_file(device(), failed) && access(device().c_str(), R_OK | W_OK) == 0;
}

namespace {

// What the driver reported of a port on another machine, and what to do about it.
struct RemoteRow {
    int error;
    const char* message;  // behind the port's name
    const char* hint;
};
constexpr RemoteRow kRemoteRows[] = {
    {ELIBACC, " is on another machine, and what speaks RFC 2217 is not here",
     "install the package libgensio4; libmovacmdsvr-rfc2217.so, which is made with it (in the package "
     "libmovacmdsvr-rfc2217), belongs beside libmovacmdsvr"},
    {ENONET, ": there is no such machine", "\"getent hosts NAME\" asks what mova asks"},
    {ENETDOWN, ": its name cannot be looked up, as no name server answers",
     "is this machine in the network? its address in place of its name needs no name server"},
    {EADDRNOTAVAIL, " cannot be reached, as this machine is in no network",
     "\"ip address\" shows which addresses it has"},
    {EHOSTUNREACH, ": there is no way to this machine", "is it on, and in this network?"},
    {ETIMEDOUT, " does not answer", "is the machine on? does a firewall stand between?"},
    {ECONNREFUSED, ": the machine is there, and nothing listens on this port",
     "is ser2net running there, and is the port the one of its \"accepter\"?"},
    {ECONNRESET, ": the server ended the connection at once",
     "another program may have the port, or the server its device not: its log says which"},
    {EPROTONOSUPPORT, ": the server does not speak RFC 2217, so the port cannot be set",
     "of ser2net the accepter has to be telnet(rfc2217),tcp,PORT"},
};

Failure whyNotReached(Failure failure, const std::string& name, int error) {
    for (const RemoteRow& row : kRemoteRows) {
        if (row.error != error) continue;
        failure.message = name + row.message;
        failure.hint = row.hint;
        return failure;
    }
    failure.hint = std::generic_category().message(error);
    return failure;
}

}  // namespace

Failure PortTarget::whyNoDevice(Failure failure) {
    const std::string device = this->device();
    if (remoteNameOf(device)) return whyNotReached(failure, device, static_cast<int>(platform_->serial.lastError()));
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
