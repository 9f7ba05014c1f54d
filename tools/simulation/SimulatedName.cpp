#include "simulation/SimulatedName.h"

#include <filesystem>

namespace mova::simulation {

namespace {

constexpr std::string_view kName = "sim";
constexpr std::string_view kDigits = "0123456789";

bool isThere(const std::string& file) {
    std::error_code failed;
    return std::filesystem::exists(file, failed);
}

}  // namespace

bool isSimulated(std::string_view name) {
    if (!name.starts_with(kName)) return false;
    name.remove_prefix(kName.size());
    return name.empty() || (name.starts_with(':') && name.find_first_not_of(kDigits, 1) != name.npos);
}

std::optional<handset::HandsetSetup> setupNamed(const std::string& name, WrongName& wrong) {
    std::optional<handset::HandsetSetup> setup = handset::HandsetSetup();
    if (name == kName) return setup;
    const std::string manner = name.substr(kName.size() + 1);
    if (handset::faultByName(manner.substr(0, manner.find('=')))) {
        wrong = {handset::addFault(setup->faults, manner), "as in --port sim:silence=2", false};
        return wrong.problem.empty() ? setup : std::nullopt;
    }
    if (!isThere(manner)) {
        wrong = {"\"" + manner + "\" is no fault of a simulated handset, and no profile of this name is there",
                 "the faults are " + handset::faultNames() +
                     "; \"mova-handset --print-profile\" prints a profile to begin with",
                 false};
        return std::nullopt;
    }
    setup = handset::readProfile(manner, wrong.problem);
    if (!setup) return std::nullopt;
    wrong.ofObjects = true;
    return handset::readStore(*setup, wrong.problem) ? setup : std::nullopt;
}

}  // namespace mova::simulation
