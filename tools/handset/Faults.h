// What goes wrong with a handset on demand, each for its next so many answers or for good.
#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace mova::handset {

enum class Fault : std::size_t {
    Silence,        // no answer at all
    WrongChecksum,  // of a confirmation
    WrongEcho,      // the reply names another command or option
    WrongRecord,    // the reply names another record
    WrongData,      // an echoed data byte differs
    MissingAck,
    MissingOk,
    DuplicateSegment,  // the first segment comes twice
    SkippedSegment,    // the second segment is left out; an answer of one segment is numbered 2
    TwoFamilies,       // a general confirmation comes before the reply
    HangUp,            // the line goes down instead of an answer
};
constexpr std::size_t kFaults = 11;

std::optional<Fault> faultByName(std::string_view name);  // "wrong-checksum", as the program's options have it
std::string_view nameOf(Fault fault);
std::string faultNames();  // for a help text

class Faults {
public:
    static constexpr int kAlways = -1;

    void set(Fault fault, int answers = 1) { left_[static_cast<std::size_t>(fault)] = answers; }
    void clear() { left_.fill(0); }
    bool take(Fault fault);  // whether it is to happen now; counts

    // Of every byte that leaves the handset.
    std::uint64_t delayMicroseconds = 0;     // before an answer
    std::uint64_t splitGapMicroseconds = 0;  // between the bytes of an answer: each arrives alone
    std::uint32_t droppedPerMille = 0;
    std::uint32_t noisePerMille = 0;  // bytes that are put in between
    std::uint64_t seed = 1;

private:
    std::array<int, kFaults> left_{};
};

// "name" or "name=count" as people write it, without a count for good. What is wrong with it, else empty.
std::string addFault(Faults& faults, std::string_view text);

}  // namespace mova::handset
