// The handset's status of an E2P request, and the code that stands for it.
#pragma once
#include <array>
#include <cstddef>
#include <cstdint>

#include "mova/Codes.h"

namespace mova {

struct E2pStatusRow {
    std::uint8_t status;
    Code code;
};

// Every status that is not here, and is not 0, is E2pStatusOther.
inline constexpr std::array kE2pStatuses{
    E2pStatusRow{0, Code::Success},      E2pStatusRow{2, Code::E2pStatus2},   E2pStatusRow{3, Code::E2pStatus3},
    E2pStatusRow{4, Code::E2pStatus4},   E2pStatusRow{5, Code::E2pStatus5},   E2pStatusRow{6, Code::E2pStatus6},
    E2pStatusRow{7, Code::E2pStatus7},   E2pStatusRow{8, Code::E2pStatus8},   E2pStatusRow{9, Code::E2pStatus9},
    E2pStatusRow{10, Code::E2pStatus10}, E2pStatusRow{11, Code::E2pStatus11}, E2pStatusRow{12, Code::E2pStatus12},
    E2pStatusRow{13, Code::E2pStatus13}, E2pStatusRow{14, Code::E2pStatus14}, E2pStatusRow{15, Code::E2pStatus15},
    E2pStatusRow{16, Code::E2pStatus16}, E2pStatusRow{17, Code::E2pStatus17}, E2pStatusRow{18, Code::E2pStatus18},
    E2pStatusRow{19, Code::E2pStatus19}, E2pStatusRow{20, Code::E2pStatus20},
};

constexpr Code e2pStatusCode(std::uint8_t status) {
    for (const E2pStatusRow& row : kE2pStatuses) {
        if (row.status == status) return row.code;
    }
    return Code::E2pStatusOther;
}

}  // namespace mova
