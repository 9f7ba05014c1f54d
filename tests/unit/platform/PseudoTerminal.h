// A pseudo-terminal: its slave is the serial device of a test, its master the far end of the line.
#pragma once
#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <unistd.h>

#include <array>
#include <string>
#include <string_view>

namespace mova {

constexpr int kGenerousLimit = 30'000;  // milliseconds; only a failing test waits this long

class PseudoTerminal {
public:
    PseudoTerminal() : master_(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)) {
        grantpt(master_);
        unlockpt(master_);
        std::array<char, 64> name{};
        ptsname_r(master_, name.data(), name.size());
        slave_ = name.data();
    }
    ~PseudoTerminal() { hangUp(); }
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;

    const std::string& slave() const { return slave_; }
    int master() const { return master_; }

    void send(std::string_view bytes) const {
        while (!bytes.empty()) {
            const auto put = ::write(master_, bytes.data(), bytes.size());
            if (put < 0) return;
            bytes.remove_prefix(static_cast<std::size_t>(put));
        }
    }

    // Exactly `count` bytes, fewer only when the line is silent for the generous limit or has hung up.
    std::string receive(std::size_t count) const {
        std::string bytes;
        std::array<char, 4096> block{};
        while (bytes.size() < count) {
            pollfd awaited{master_, POLLIN, 0};
            if (poll(&awaited, 1, kGenerousLimit) <= 0) break;
            const auto got = ::read(master_, block.data(), std::min(block.size(), count - bytes.size()));
            if (got <= 0) break;
            bytes.append(block.data(), static_cast<std::size_t>(got));
        }
        return bytes;
    }

    // Everything that is on the line now.
    std::string receiveQueued() const {
        std::string bytes;
        std::array<char, 4096> block{};
        for (;;) {
            const auto got = ::read(master_, block.data(), block.size());
            if (got <= 0) return bytes;
            bytes.append(block.data(), static_cast<std::size_t>(got));
        }
    }

    void hangUp() {
        if (master_ >= 0) ::close(master_);
        master_ = -1;
    }

private:
    int master_;
    std::string slave_;
};

}  // namespace mova
