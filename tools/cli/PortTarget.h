// The port that a command is to use, as the user named it: "7", "COM7" or, on Linux, a device path or a port
// on another machine, which need no number and no link in /dev.
#pragma once
#include <cstdint>
#include <string>

#include "cli/Failure.h"
#include "mova/Codes.h"
#include "platform/Platform.h"

namespace mova::cli {

class PortTarget {
public:
    explicit PortTarget(const std::string& name);  // throws Failure: no such name, no such device

    std::int32_t number() const { return number_; }
    const std::string& name() const { return name_; }
    Platform& platform() { return *platform_; }

    // The device is there, at last again: opening it may succeed.
    bool isThere();
    // Why the port did not open, as far as the system tells.
    Failure whyNotOpened(Code code);

private:
#ifndef _WIN32
    std::string device() const;
#endif

    std::int32_t number_ = 1;
    std::string name_;
    Platform* platform_ = nullptr;
};

// The n of "7" and "COM7"; -1 when the text is neither.
std::int32_t portNumberOf(const std::string& name);

}  // namespace mova::cli
