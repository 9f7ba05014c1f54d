// One conversation between a command manager and the simulated handset, made from a seed: what the caller does, what
// the handset says, what befalls the line, the cable and the driver. After each step the plain model has judged every
// call, result, event and trace, and the ledger every confirmation that was given out. Virtual time; the same seed
// gives the same conversation.
//
// The seed's last digit chooses how rough it gets (Manner); every conversation ends in calm, where the object must
// open, wake the handset, read and write an object and collect a confirmation, whatever went before.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

namespace mova::conversation {

struct Settings {
    int steps = 25;
    bool trace = false;  // tell everything as it happens
    // A conversation that is to be compared: its steps begin at fixed times, and nothing in it hangs on a millisecond.
    bool compared = false;
    bool plainPauses = false;  // bytes end no wait
};

struct Outcome {
    std::string mismatch;  // empty: as it must be
    std::vector<std::string> transcript;
    std::vector<std::string> seen;  // of a compared one: calls, results, events, traces and files, without their times
    std::uint64_t hash = 0;         // of transcript and tape
    std::uint64_t exchanges = 0;
    std::uint64_t records = 0;
    std::uint64_t confirmations = 0;  // that came
    std::uint64_t delivered = 0;      // that were fetched or told
    std::uint64_t virtualMilliseconds = 0;
};

Outcome converse(std::uint64_t seed, const Settings& settings = {});

}  // namespace mova::conversation
