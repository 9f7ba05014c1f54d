// What "mova run" was asked for.
#pragma once
#include <string>
#include <vector>

namespace mova::cli {

struct RunOptions {
    std::string path;
    std::string junit;
    std::string stations;  // names with commas between them; empty: none
    std::string ports;
    std::vector<std::string> set;  // name=value
    bool keepGoing = false;
    bool verbose = false;
    bool checkOnly = false;
    bool noReconnect = false;
};

}  // namespace mova::cli
