// The stations that a run on several is for.
#pragma once
#include <string>
#include <vector>

#include "cli/Stations.h"

namespace mova::cli {

// names: of the file of stations, with commas between them, * and ? as in a pattern; ports: as --port takes them, with
// commas, and ranges of numbers as 3-6. Throws Failure: there is none of a name, or two have one port.
std::vector<Station> chosenStations(const std::string& names, const std::string& ports);

}  // namespace mova::cli
