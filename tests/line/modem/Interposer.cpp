// Preloaded into a test's client, natively or under Wine: gives pseudo-terminals modem lines. For pseudo-terminal n
//
//     $MODEM_LINES/n.in    what the handset raises: any of the words CTS DSR RING CARRIER; the test writes it
//     $MODEM_LINES/n.out   what the client has raised: "DTR", "RTS", "DTR RTS" or nothing; written here
//
// Everything else goes on to the system.
#include <asm/ioctls.h>
#include <dlfcn.h>
#include <linux/serial.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

struct Line {
    const char* word;
    int bit;
};
constexpr std::array kInputs{Line{"CTS", TIOCM_CTS}, Line{"DSR", TIOCM_DSR}, Line{"RING", TIOCM_RNG},
                             Line{"CARRIER", TIOCM_CAR}};
constexpr std::array kOutputs{Line{"DTR", TIOCM_DTR}, Line{"RTS", TIOCM_RTS}};

template <class Lines>
int parse(const std::string& text, const Lines& lines) {
    int bits = 0;
    for (const Line& line : lines) {
        if (text.find(line.word) != text.npos) bits |= line.bit;
    }
    return bits;
}

std::string readText(const std::string& path) {
    std::string text;
    if (std::FILE* file = std::fopen(path.c_str(), "r")) {
        char buffer[64];
        text.assign(buffer, std::fread(buffer, 1, sizeof buffer, file));
        std::fclose(file);
    }
    return text;
}

void writeOutputs(const std::string& path, int bits) {
    std::FILE* file = std::fopen(path.c_str(), "w");
    if (!file) return;
    const char* separator = "";
    for (const Line& line : kOutputs) {
        if (!(bits & line.bit)) continue;
        std::fprintf(file, "%s%s", separator, line.word);
        separator = " ";
    }
    std::fclose(file);
}

// The files' common path; empty when the descriptor is no pseudo-terminal.
std::string filesOf(int descriptor) {
    const char* const folder = std::getenv("MODEM_LINES");
    struct stat status;
    if (!folder || fstat(descriptor, &status) != 0 || !S_ISCHR(status.st_mode)) return {};
    constexpr unsigned kFirstSlave = 136, kLastSlave = 143;
    const unsigned kind = major(status.st_rdev);
    if (kind < kFirstSlave || kind > kLastSlave) return {};
    return std::string(folder) + "/" + std::to_string((kind - kFirstSlave) * 256 + minor(status.st_rdev));
}

int passOn(int descriptor, unsigned long request, void* argument) {
    using Ioctl = int (*)(int, unsigned long, void*);
    static const auto next = reinterpret_cast<Ioctl>(dlsym(RTLD_NEXT, "ioctl"));
    return next(descriptor, request, argument);
}

int answer(int descriptor, unsigned long request, void* argument) {
    const bool aboutLines = request == TIOCMGET || request == TIOCMSET || request == TIOCMBIS || request == TIOCMBIC ||
                            request == TIOCGICOUNT;
    const std::string files = aboutLines ? filesOf(descriptor) : std::string();
    if (files.empty()) return passOn(descriptor, request, argument);

    if (request == TIOCGICOUNT) {
        std::memset(argument, 0, sizeof(serial_icounter_struct));
        return 0;
    }
    int& bits = *static_cast<int*>(argument);
    const int outputs = parse(readText(files + ".out"), kOutputs);
    switch (request) {
        case TIOCMGET: bits = outputs | parse(readText(files + ".in"), kInputs); break;
        case TIOCMSET: writeOutputs(files + ".out", bits); break;
        case TIOCMBIS: writeOutputs(files + ".out", outputs | bits); break;
        case TIOCMBIC: writeOutputs(files + ".out", outputs & ~bits); break;
        default: break;
    }
    return 0;
}

}  // namespace

extern "C" int ioctl(int descriptor, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    return answer(descriptor, request, argument);
}

#ifdef __i386__
// What 32-bit programs with a 64-bit time call instead; none of what comes here holds a time.
extern "C" int __ioctl_time64(int descriptor, unsigned long request, void* argument) noexcept {
    return answer(descriptor, request, argument);
}
#endif
