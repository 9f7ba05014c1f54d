// SimulatedPlatform is a system with one serial port and a simulated handset at its other end, to work with where there is
// none. All but the port is the real system's. It has to outlive the threads that it serves.
#pragma once
#include <string>

#include "platform/Platform.h"
#include "simulation/SimulatedDriver.h"
#include "simulation/SimulatedKeyTree.h"
#include "simulation/SimulatedThreading.h"

namespace mova::simulation {

class SimulatedPlatform {
public:
    SimulatedPlatform(const handset::HandsetSetup& setup, Platform& real);

    Platform& platform() { return platform_; }
    bool isThere() { return serial_.isThere(); }  // opening the port may succeed
    // Writes the handset's objects where its profile keeps them, if they have changed. False: it could not.
    bool keepObjects();
    const std::string& objectsFile() const { return setup_.storeFile; }  // empty: they are not kept

private:
    handset::HandsetSetup setup_;  // with the objects that were kept last
    Bell bell_;
    SimulatedDriver serial_;
    SimulatedThreading threading_;
    SimulatedKeyTree keys_;
    Platform platform_;
};

}  // namespace mova::simulation
