// One place of the line under load: a command manager, its handset on a pseudo-terminal, and a random mix of what
// clients do, each answer checked. What an injected fault costs is an expected loss; everything else that is not as it
// should be is told with its station and step.
#pragma once
#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <random>
#include <string>

#include "line/LineStation.h"

namespace mova::soak {

struct Counts {
    std::atomic<std::uint64_t> exchanges{0};
    std::atomic<std::uint64_t> faults{0};       // injected
    std::atomic<std::uint64_t> expected{0};     // exchanges that an injected fault cost
    std::atomic<std::uint64_t> unexplained{0};  // exchanges lost without one
    std::atomic<std::uint64_t> wrong{0};        // answers that were not the right ones
    std::atomic<std::uint64_t> switches{0};
    std::atomic<std::uint64_t> reopenings{0};
};

class Station {
public:
    // Throws std::system_error when there is no pseudo-terminal.
    Station(line::Bench& bench, Counts& counts, int number, std::uint64_t seed, bool faults);

    void step();

private:
    struct Outcome {
        Code code = Code::Success;
        std::string got;
        std::string wanted;
        bool good() const { return code == Code::Success && got == wanted; }
    };

    void makeManager();
    void keepWhatIsHeard();
    void patience(std::int32_t milliseconds);
    void exchange();
    Outcome perform(std::uint64_t kind);
    Outcome at();
    Outcome rf();
    Outcome direct();
    Outcome unsolicited();
    void judge(const Outcome& outcome, const char* what);
    bool inject();  // whether the next exchange may be lost
    void recover();
    void lifecycle();
    std::string nextSerial();
    std::uint64_t pick(std::uint64_t below) { return random_() % below; }
    bool background() const { return mode_ == 2 || mode_ == 5; }
    bool byItself() const { return mode_ == 2; }  // a confirmation needs no "OK" behind it

    line::Bench& bench_;
    Counts& counts_;
    const int number_;
    const bool faults_;
    std::mt19937_64 random_;
    std::uint64_t steps_ = 0;
    std::uint32_t mode_ = 3;
    std::uint32_t serial_ = 0;
    std::string stored_ = "FFFF";
    std::deque<std::string> heard_;  // the handset's side of the latest exchanges; guarded by the handset's lock
    line::PtyHandset handset_;
    std::unique_ptr<CVeCmdManager> manager_;
};

}  // namespace mova::soak
