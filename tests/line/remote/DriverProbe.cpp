// Does with one port what the lines of its input say, through the driver, and prints what comes of each: for tests of
// ports that a program in another language serves.
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>

#include "platform/posix/PosixPlatform.h"

namespace {

using namespace mova;

constexpr std::uint32_t kPatience = 60'000;  // milliseconds; machines are busy

std::string hexOf(const std::string& bytes) {
    std::string text;
    char digits[3];
    for (const char byte : bytes) {
        std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned>(static_cast<unsigned char>(byte)));
        text += digits;
    }
    return text;
}

std::string bytesOf(const std::string& hex) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

class Probe {
public:
    explicit Probe(const std::string& name) : name_(name) {}

    std::string run(const std::string& line) {
        std::istringstream words(line);
        std::string what;
        words >> what;
        if (what == "open") return outcome((port_ = serial().open(name_, true)) != kInvalidPort);
        if (what == "close") return outcome(serial().close(port_));
        if (what == "set") return set(words);
        if (what == "settings") return settings();
        if (what == "control") return control(words);
        if (what == "status") return status();
        if (what == "errors") return errors();
        if (what == "purge") return purge(words);
        if (what == "write") return write(words);
        if (what == "read") return read(words);
        if (what == "await") return await();
        if (what == "descriptors") return descriptors();
        if (what == "await-close") return awaitClose();
        return "unknown";
    }

private:
    SerialDriver& serial() { return platform_.platform().serial; }
    std::string outcome(bool good, const std::string& more = "") {
        return good ? "ok" + more : "error " + std::to_string(serial().lastError());
    }

    std::string set(std::istream& words) {
        LineSettings settings;
        unsigned byteSize = 0;
        unsigned parity = 0;
        unsigned stopBits = 0;
        words >> settings.baudRate >> byteSize >> parity >> stopBits >> std::hex >> settings.flags;
        settings.byteSize = static_cast<std::uint8_t>(byteSize);
        settings.parity = static_cast<std::uint8_t>(parity);
        settings.stopBits = static_cast<std::uint8_t>(stopBits);
        return outcome(serial().setLineSettings(port_, settings));
    }

    std::string settings() {
        LineSettings settings;
        const bool good = serial().lineSettings(port_, settings);
        std::ostringstream text;
        text << ' ' << settings.baudRate << ' ' << unsigned{settings.byteSize} << ' ' << unsigned{settings.parity}
             << ' ' << unsigned{settings.stopBits};
        return outcome(good, text.str());
    }

    std::string control(std::istream& words) {
        unsigned function = 0;
        words >> function;
        return outcome(serial().control(port_, static_cast<LineControl>(function)));
    }

    std::string status() {
        std::uint32_t lines = 0;
        const bool good = serial().modemStatus(port_, lines);
        return outcome(good, " " + std::to_string(lines));
    }

    std::string errors() {
        std::uint32_t bits = 0;
        PortStatus queues;
        const bool good = serial().clearErrors(port_, bits, &queues);
        return outcome(good, " " + std::to_string(bits) + " " + std::to_string(queues.inQueue));
    }

    std::string purge(std::istream& words) {
        std::uint32_t what = 0;
        words >> what;
        return outcome(serial().purge(port_, what));
    }

    std::string write(std::istream& words) {
        std::string hex;
        words >> hex;
        const std::string bytes = bytesOf(hex);
        std::uint32_t count = 0;
        const bool good = serial().write(port_, bytes.data(), static_cast<std::uint32_t>(bytes.size()), count);
        return outcome(good, " " + std::to_string(count));
    }

    std::string read(std::istream& words) {
        std::uint32_t capacity = 0;
        words >> capacity;
        serial().setTimeouts(port_, {0, 0, kPatience, 0, 0});
        std::string bytes(capacity, '\0');
        std::uint32_t count = 0;
        const bool good = serial().read(port_, bytes.data(), capacity, count);
        return outcome(good, " " + hexOf(bytes.substr(0, count)));
    }

    static std::string descriptors() {
        const std::filesystem::directory_iterator open("/proc/self/fd");
        return "ok " + std::to_string(std::distance(open, std::filesystem::directory_iterator()));
    }

    std::string await() {
        return serial().awaitInput(port_, nullptr, kPatience) == WaitResult::Signalled ? "ok" : "in vain";
    }

    // Another thread waits for bytes while this one closes the port.
    std::string awaitClose() {
        std::string awaited;
        std::thread other([&] { awaited = await(); });
        std::this_thread::sleep_for(
            std::chrono::milliseconds(50));  // most likely it waits by now; if not, that is as well
        const bool closed = serial().close(port_);
        other.join();
        return outcome(closed, " " + awaited);
    }

    const std::string name_;
    PosixPlatform platform_;
    PortHandle port_ = kInvalidPort;
};

}  // namespace

int main(int count, char** arguments) {
    if (count != 2) return 2;
    Probe probe(arguments[1]);
    for (std::string line; std::getline(std::cin, line);) std::cout << probe.run(line) << std::endl;
}
