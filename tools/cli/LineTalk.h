// What passed on the line during a request: each thing written, with what came before the next.
#pragma once
#include <string>
#include <vector>

namespace mova::cli {

struct LineTurn {
    std::string sent;  // empty: what came before anything was written
    std::string received;
};
using LineTalk = std::vector<LineTurn>;

}  // namespace mova::cli
