// Exchanges with a simulated handset on a pseudo-terminal: the component, a bare loop on the same kind of line (the
// limit), one that writes byte by byte as the handset needs it, and a Python program with python3-serial. At line rate
// 0 also the component on a port that is listed as one on USB, to which a request goes in one write.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>

#include "base/HexText.h"
#include "line/LineBenches.h"
#include "mova/CVeCmdManager.h"
#include "platform/posix/PosixPlatform.h"
#include "support/BareLine.h"
#include "support/HandsetFarm.h"
#include "support/Report.h"
#include "transport/FrameCodec.h"

namespace mova::bench {

namespace {

constexpr std::int32_t kComponentPort = 1;
constexpr int kBarePort = 2;
constexpr int kPythonPort = 3;
constexpr std::int32_t kUsbPort = 4;
constexpr std::uint32_t kAnswersEndWithOk = 3;
constexpr std::size_t kTextSegment = 240;
constexpr int kBitsPerByte = 10;  // with start and stop bit

// An E2P message as the frames that carry it.
Script e2pScript(const std::string& message) {
    Script script;
    const std::size_t segments = (message.size() + kTextSegment - 1) / kTextSegment;
    for (std::size_t i = 0; i < segments; ++i) {
        std::string payload = "80";
        appendHexByte(payload, static_cast<std::uint8_t>(segments));
        appendHexByte(payload, static_cast<std::uint8_t>(i + 1));
        script.push_back(buildRequest(payload + message.substr(i * kTextSegment, kTextSegment)));
    }
    return script;
}

std::string writeMessage() {
    std::string message;
    appendHexWord(message, static_cast<std::uint16_t>(largeObject().size() / 2 + 6));
    return message + "810000200200" + largeObject();
}

struct Exchange {
    std::string name;
    Script script;                                // what goes over the line
    std::function<bool(CVeCmdManager&)> perform;  // the same through the component
    int samplesAtOnce;                            // how often at line rate 0
    double seconds;                               // about how long to try at a real line rate
};

std::vector<Exchange> exchanges() {
    return {
        {"AT exchange",
         {"AT%V\r"},
         [](CVeCmdManager& manager) {
             return manager.SpecificInfo(0, 0, "").text == "ACME AM-1~SW 4.2.0 2026-03-01~~";
         },
         400,
         1.5},
        {"RF request",
         {buildRequest("0500010000000000")},
         [](CVeCmdManager& manager) {
             return manager.RfGeneralTestReq(5, 1) == Code::Success && manager.FetchQueuedCnfItem().length == 4;
         },
         400,
         1.5},
        {"E2P object read, 10 KB", e2pScript("0600800000200200"),
         [](CVeCmdManager& manager) { return manager.ReadE2PObject(0x2000, 2).text == largeObject(); }, 40, 3},
        {"E2P object write, 10 KB", e2pScript(writeMessage()),
         [](CVeCmdManager& manager) { return manager.WriteE2PObject(0x2000, 2, largeObject()).code == Code::Success; },
         15, 3},
    };
}

int samplesFor(const Exchange& exchange, unsigned baudRate, double lineSeconds, bool quick) {
    if (quick) return 2;
    if (baudRate == 0) return exchange.samplesAtOnce;
    return std::max(3, static_cast<int>(exchange.seconds / lineSeconds));
}

// Lists the terminal in a device tree as a port of a USB adapter.
void listOnUsb(const std::filesystem::path& sysDir, const std::filesystem::path& link) {
    namespace fs = std::filesystem;
    const fs::path adapter = sysDir / "devices/usb/adapter";
    const fs::path driver = sysDir / "bus/usb/drivers/ftdi_sio";
    const fs::path terminal = sysDir / "class/tty" / fs::canonical(link).filename();
    for (const fs::path& path : {adapter, driver, terminal}) fs::create_directories(path);
    std::ofstream(adapter / "product") << "USB Serial\n";
    fs::create_symlink(driver, adapter / "driver");
    fs::create_symlink(adapter, terminal / "device");
}

class Comparison {
public:
    Comparison(const std::string& folder, unsigned baudRate, bool quick)
        : folder_(folder),
          baudRate_(baudRate),
          quick_(quick),
          farm_(folder, baudRate == 0 ? kUsbPort : kPythonPort, baudRate, 0),
          bare_(farm_.link(kBarePort)),
          posix_({folder, folder + "/sys", folder}),
          manager_(posix_.platform()),
          onUsb_(posix_.platform()) {
        open(manager_, kComponentPort);
        if (baudRate_ != 0) return;
        listOnUsb(folder + "/sys", farm_.link(kUsbPort));
        open(onUsb_, kUsbPort);
    }

    void run(const Exchange& exchange) {
        const auto once = bare_.run(exchange.script, Manner::AtOnce);
        if (!once.complete || !exchange.perform(manager_)) throw std::runtime_error(exchange.name + " failed");
        const double bytes = static_cast<double>(once.sent + once.received);
        const double lineSeconds = baudRate_ == 0 ? 0 : bytes * kBitsPerByte / baudRate_;
        const int samples = samplesFor(exchange, baudRate_, lineSeconds, quick_);
        std::vector<double> component, onUsb, bare, byteByByte;
        for (int i = 0; i < samples; ++i) {  // in turn, so that a noisy machine disturbs all alike
            bare.push_back(timed([&] { return bare_.run(exchange.script, Manner::AtOnce).complete; }));
            component.push_back(timed([&] { return exchange.perform(manager_); }));
            if (baudRate_ == 0) onUsb.push_back(timed([&] { return exchange.perform(onUsb_); }));
            byteByByte.push_back(timed([&] { return bare_.run(exchange.script, Manner::ByteByByte).complete; }));
        }
        report(exchange, "component", component, lineSeconds);
        if (!onUsb.empty()) report(exchange, "component, port on USB", onUsb, lineSeconds);
        report(exchange, "bare loop", bare, lineSeconds);
        report(exchange, "bare loop, byte by byte", byteByByte, lineSeconds);
        python(exchange, samples, lineSeconds);
    }

private:
    static void open(CVeCmdManager& manager, std::int32_t port) {
        manager.put_CommPortId(port);
        for (const std::int32_t timeout : {1, 3, 4, 5}) manager.AssignTimeoutConstant(timeout, 60'000);
        if (manager.InitCmdManager(0) != Code::Success) throw std::runtime_error("the port did not open");
        static_cast<void>(manager.SwitchOperateMode(kAnswersEndWithOk, 0));
    }

    double timed(const std::function<bool()>& work) {
        const double start = nowSeconds();
        if (!work()) throw std::runtime_error("an exchange failed");
        return nowSeconds() - start;
    }

    std::string name(const Exchange& exchange) const {
        return exchange.name + (baudRate_ == 0 ? ", line rate 0" : ", " + std::to_string(baudRate_) + " baud");
    }

    void report(const Exchange& exchange, const std::string& who, const std::vector<double>& seconds,
                double line) const {
        Row row("exchange", name(exchange), who);
        row.number("samples", static_cast<double>(seconds.size()))
            .number("segments", static_cast<double>(exchange.script.size()));
        row.number("median_ms", quantile(seconds, 0.5) * 1000).number("p99_ms", quantile(seconds, 0.99) * 1000);
        if (line > 0) row.number("line_ms", line * 1000).number("efficiency", line / quantile(seconds, 0.5));
        row.print();
    }

    void python(const Exchange& exchange, int samples, double line) const {
        const std::string script = folder_ + "/script";
        {
            std::ofstream file(script);
            for (const std::string& request : exchange.script) file << encodeHex(request) << "\n";
        }
        const std::string times = folder_ + "/times";
        const std::string command = "/usr/bin/python3 benchmarks/peers/exchange.py " + farm_.link(kPythonPort) + " " +
                                    std::to_string(baudRate_) + " " + std::to_string(samples) + " " + script + " >" +
                                    times;
        // NOLINTNEXTLINE(cert-env33-c,concurrency-mt-unsafe): a line of our own, from one thread
        if (std::system(command.c_str()) != 0) throw std::runtime_error("the Python program failed");
        std::vector<double> seconds;
        std::ifstream file(times);
        for (double second = 0; file >> second;) seconds.push_back(second);
        report(exchange, "python3-serial", seconds, line);
    }

    const std::string folder_;
    const unsigned baudRate_;
    const bool quick_;
    HandsetFarm farm_;
    BareLine bare_;
    PosixPlatform posix_;
    CVeCmdManager manager_;
    CVeCmdManager onUsb_;
};

}  // namespace

void runExchanges(const std::string& folder, bool quick) {
    for (const unsigned baudRate : {0u, 115200u, 921600u}) {
        Comparison comparison(folder, baudRate, quick);
        for (const Exchange& exchange : exchanges()) {
            if (quick && baudRate != 0 && exchange.seconds > 2) continue;
            comparison.run(exchange);
        }
    }
}

}  // namespace mova::bench
