#include "cli/PortTarget.h"

#include <cstdio>
#include <filesystem>

#include "base/Printable.h"
#include "cli/KeptForGood.h"
#include "cli/ParseNumber.h"
#include "cli/PortList.h"
#include "device/PortDiscovery.h"
#include "simulation/SimulatedName.h"
#include "simulation/SimulatedPlatform.h"

namespace mova::cli {

namespace {

handset::HandsetSetup setupOf(const std::string& name) {
    simulation::WrongName wrong;
    auto setup = simulation::setupNamed(name, wrong);
    if (setup) return std::move(*setup);
    if (wrong.ofObjects) failFile(wrong.problem, wrong.hint);
    failUsage(wrong.problem, wrong.hint);
}

}  // namespace

PortTarget::PortTarget(const std::string& name) : name_(name) {
    if (!simulation::isSimulated(name)) {
        find();
        return;
    }
    // Kept for good, as threads that use it may outlive main.
    simulated_ = &keepForGood(std::make_unique<simulation::SimulatedPlatform>(setupOf(name), nativePlatform()));
    platform_ = &simulated_->platform();
}

// Where a command has ended well its result tells of objects that could not be kept.
PortTarget::~PortTarget() {
    const std::string lost = keepObjects();
    if (!lost.empty()) std::fprintf(stderr, "mova: %s could not be written\n", printable(lost).c_str());
}

bool PortTarget::isThere() { return simulated_ != nullptr ? simulated_->isThere() : isDeviceThere(); }

Failure PortTarget::whyNotOpened(Code code) {
    Failure failure = failureOf(code, name_ + " could not be opened");
    return simulated_ != nullptr || code != Code::NotOpen ? failure : whyNoDevice(std::move(failure));
}

std::string PortTarget::keepObjects() {
    return simulated_ == nullptr || simulated_->keepObjects() ? std::string() : simulated_->objectsFile();
}

std::string deviceNamed(const std::string& name) {
    std::error_code failed;
    if (simulation::isSimulated(name)) {
        const std::string objects = setupOf(name).storeFile;
        if (objects.empty()) return {};
        // Made absolute first: of what is not there yet the canonical path may be relative.
        return std::filesystem::weakly_canonical(std::filesystem::absolute(objects, failed), failed).string();
    }
    const std::int32_t number = portNumberOf(name);
    if (number > 0) {
        const std::string device = deviceOf(number);
        return device.empty() ? "COM" + std::to_string(number) : device;
    }
    const std::string device = std::filesystem::canonical(name, failed).string();
    return failed ? name : device;
}

std::int32_t portNumberOf(const std::string& name) {
    std::string_view digits = name;
    if (digits.starts_with("\\\\.\\")) digits.remove_prefix(4);
    if (digits.starts_with("COM") || digits.starts_with("com")) digits.remove_prefix(3);
    const auto number = parseNumber(digits);
    return number && *number > 0 && *number <= kLastPort ? static_cast<std::int32_t>(*number) : -1;
}

}  // namespace mova::cli
