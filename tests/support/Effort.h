// How much of a campaign a build makes. Natively all of it: there each answer is judged. The address sanitizer's build
// makes every nth run of the same: it looks for what the judges cannot see, which hangs on the kinds of steps and not on
// how often they come, and each of its runs takes many times as long. MOVA_EVERY=n in the environment chooses another
// n, for any build; 1 is all of it.
#pragma once
#include <cstdlib>

#include "support/Sanitizers.h"

namespace mova {

inline unsigned everyNthRun(unsigned underAddressSanitizer) {
    if (const char* chosen = std::getenv("MOVA_EVERY")) {
        const unsigned long n = std::strtoul(chosen, nullptr, 10);
        if (n > 0) return static_cast<unsigned>(n);
    }
    return kAddressSanitizer ? underAddressSanitizer : 1;
}

}  // namespace mova
