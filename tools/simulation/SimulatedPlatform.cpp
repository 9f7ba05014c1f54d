#include "simulation/SimulatedPlatform.h"

namespace mova::simulation {

SimulatedPlatform::SimulatedPlatform(const handset::HandsetSetup& setup, Platform& real)
    : setup_(setup), serial_(bell_, setup_), threading_(bell_, real.threading), platform_{serial_,        threading_,
                                                                                          real.clock,     keys_,
                                                                                          real.datagrams, real.files,
                                                                                          real.host} {}

bool SimulatedPlatform::keepObjects() {
    if (setup_.storeFile.empty()) return true;
    bool kept = true;
    serial_.with([&](handset::Handset& handset) {
        if (handset.store().objects() == setup_.store.objects()) return;
        kept = handset::writeStore(setup_, handset.store());
        if (kept) setup_.store = handset.store();
    });
    return kept;
}

}  // namespace mova::simulation
