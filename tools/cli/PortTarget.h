// The port that a command is to use, as the user named it: "7", "COM7", "sim" (a simulated handset) or, on Linux, a device
// path or a port on another machine, which need no number and no link in /dev.
#pragma once
#include <cstdint>
#include <string>

#include "cli/Failure.h"
#include "mova/Codes.h"
#include "platform/Platform.h"

namespace mova::simulation {
class SimulatedPlatform;
}

namespace mova::cli {

class PortTarget {
public:
    explicit PortTarget(const std::string& name);  // throws Failure: no such name, no such device
    ~PortTarget();
    PortTarget(const PortTarget&) = delete;
    PortTarget& operator=(const PortTarget&) = delete;

    std::int32_t number() const { return number_; }
    const std::string& name() const { return name_; }
    Platform& platform() { return *platform_; }

    // The device is there, at last again: opening it may succeed.
    bool isThere();
    // Why the port did not open, as far as the system tells.
    Failure whyNotOpened(Code code);
    // Of a simulated handset whose profile keeps its objects in a file: writes them. The file's name when it could not.
    std::string keepObjects();

private:
    // Of the system's own ports.
    void find();
    bool isDeviceThere();
    Failure whyNoDevice(Failure failure);
#ifndef _WIN32
    std::string device() const;
#endif

    std::int32_t number_ = 1;
    std::string name_;
    Platform* platform_ = nullptr;
    simulation::SimulatedPlatform* simulated_ = nullptr;  // null: a port of the system
};

// The device that the name stands for, by whatever other name it is called too, to tell whether two names have the same.
// Empty of a simulated handset, of which each has its own; but one that keeps its objects in a file is known by that.
std::string deviceNamed(const std::string& name);

// The n of "7" and "COM7"; -1 when the text is neither.
std::int32_t portNumberOf(const std::string& name);

}  // namespace mova::cli
