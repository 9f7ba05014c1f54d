// The udev rule that keeps the link by which the component finds a port: /dev/COMn for port n.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "cli/PortList.h"

namespace mova::cli {

struct UdevRule {
    std::string remark;  // whose rule it is, a comment line
    std::string rule;
};

// Goes by vendor, product and serial number, or, where the adapter has none or another one in the list has the same, by
// the socket it is plugged into. Throws Failure: the port is not on USB.
UdevRule udevRule(std::int32_t number, const ListedPort& port, const std::vector<ListedPort>& all);

}  // namespace mova::cli
