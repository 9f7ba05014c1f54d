// The stations of this workplace by name, from the user's file stations.toml:
//
//     [left]
//     port = "/dev/ttyUSB0"      # or a number
//     baud = 115200
//     timeout = 2000             # milliseconds
//     [left.variables]           # of scripts
//     operator = "ACME"
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/Variables.h"

namespace mova::cli {

struct Station {
    std::string name;
    std::string port;
    std::optional<std::int32_t> baudRate;
    std::optional<std::int32_t> timeout;
    Variables variables;
};

std::string stationsFile();  // its path, also where it is not there; throws Failure: nobody tells the folder

// In the file's order; none when there is no file. Throws Failure with the line and the column of a mistake.
std::vector<Station> readStations();
std::vector<Station> stationsFromText(const std::string& text, const std::string& path);

Station stationNamed(const std::string& name);  // throws Failure: there is none

}  // namespace mova::cli
