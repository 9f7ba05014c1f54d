#include "campaigns/noise/NoisyLine.h"

#include <fcntl.h>
#include <termios.h>

#include <array>
#include <random>

namespace mova::noise {

namespace {

constexpr int kPatience = 60'000;  // milliseconds
constexpr const char* kAnswer = "\r\n*MOVA=ACK\r\n*MOVA=0E008000010800800034120200AABB32\r\nOK\r\n";

std::string repeated(std::string_view piece) {
    std::string text;
    while (text.size() < kMegabyte) text += piece;
    text.resize(kMegabyte);
    return text;
}

std::string randomBytes() {
    std::mt19937 random(7);
    std::string bytes(kMegabyte, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    return bytes;
}

const std::string& noiseOf(std::size_t round) {
    static const std::array<std::string, kKindsOfNoise> kKinds{randomBytes(), repeated("x"), repeated("+CREG: 0,1\r\n"),
                                                               repeated("AT*MOVA=0C0080010106008000341201002D\r")};
    return kKinds[round % kKinds.size()];
}

}  // namespace

NoisyLine::NoisyLine() {
    noiseOf(0);  // made before anything is measured
    const int slave = open(terminal_.slave().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios settings{};
    tcgetattr(slave, &settings);
    cfmakeraw(&settings);
    tcsetattr(slave, TCSANOW, &settings);
    close(slave);
}

bool NoisyLine::request() {
    char byte = 0;
    while (byte != '\r') {
        pollfd awaited{terminal_.master(), POLLIN, 0};
        if (poll(&awaited, 1, kPatience) <= 0) return false;
        // Before the other side has opened the terminal it is hung up.
        if (::read(terminal_.master(), &byte, 1) != 1) usleep(1000);
    }
    return true;
}

bool NoisyLine::send(std::string_view bytes) {
    while (!bytes.empty()) {
        pollfd awaited{terminal_.master(), POLLOUT, 0};
        if (poll(&awaited, 1, kPatience) <= 0) return false;
        const auto put = ::write(terminal_.master(), bytes.data(), bytes.size());
        if (put > 0) bytes.remove_prefix(static_cast<std::size_t>(put));
    }
    return true;
}

bool NoisyLine::answer(std::size_t megabytes, const std::function<void()>& sent) {
    if (!request()) return false;
    const std::string& noise = noiseOf(answers_++);
    for (std::size_t i = 0; i < megabytes; ++i) {
        if (!send(noise)) return false;
        sent();
    }
    return send(kAnswer);
}

}  // namespace mova::noise
