// What a port is called that has a simulated handset:
//
//     sim                     a plain one
//     sim:silence=2           with a fault, here for two answers; without a count for good
//     sim:left.toml           as the profile says
#pragma once
#include <optional>
#include <string>
#include <string_view>

#include "handset/ProfileFile.h"

namespace mova::simulation {

// "sim:4001" is not: it is a port of a machine that is called sim.
bool isSimulated(std::string_view name);

struct WrongName {
    std::string problem;
    std::string hint;
    bool ofObjects = false;  // what is wrong is the file in which a profile keeps the E2P objects
};

// Of a simulated handset's name; reads what it names.
std::optional<handset::HandsetSetup> setupNamed(const std::string& name, WrongName& wrong);

}  // namespace mova::simulation
