// A handset that makes so much noise before it answers a request: random bytes, a line without end, lines of text, and
// requests' echoes without end, in turn. On a pseudo-terminal, served by the thread that calls answer().
#pragma once
#include <cstddef>
#include <functional>
#include <string>

#include "unit/platform/PseudoTerminal.h"

namespace mova::noise {

constexpr std::size_t kMegabyte = 1'000'000;
constexpr std::size_t kKindsOfNoise = 4;

class NoisyLine {
public:
    NoisyLine();

    const std::string& device() const { return terminal_.slave(); }
    // Waits for a request, sends the noise, then the answer to a read of an E2P object; after each megabyte it calls sent.
    // False when no request comes or the line is not read for a minute.
    bool answer(std::size_t megabytes, const std::function<void()>& sent);

private:
    bool request();
    bool send(std::string_view bytes);

    PseudoTerminal terminal_;
    std::size_t answers_ = 0;
};

}  // namespace mova::noise
