// A process that ends while its object is alive and the reader thread is busy.
//
//     test-station HOW PORT    HOW: one of the ways below. Makes the file "ready" in the folder of the ports once a
//                              confirmation has come in, and ends as it was told: with 0 when it returns from main.
//                              HOW "writing-...": another thread writes to a port that takes nothing meanwhile.
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "mova/CVeCmdManager.h"

namespace {

constexpr std::uint32_t kEvents = 1;  // operating mode

// Those of the way out that differ from 0, so that no way is mistaken for another.
enum Exit {
    kExit = 3,
    kExitInEvent = 4,
    kQuickExit = 5,
    kAtOnce = 6,
    kUnusable = 100,
    kNothingCame = 101,
    kMisused = 102
};

class Listener final : public mova::ConfirmationEvents {
public:
    void OnCpGetMovaCnf(std::int32_t, std::int32_t, const std::string&) override {
        came = true;
        if (endsTheProcess) std::exit(kExitInEvent);
    }
    std::atomic<bool> came{false};
    std::atomic<bool> endsTheProcess{false};
};

struct Station {
    explicit Station(std::int32_t port) {
        manager.put_CommPortId(port);
        if (manager.InitCmdManager(0) != mova::Code::Success ||
            manager.SwitchOperateMode(kEvents, 0) != mova::Code::Success)
            std::_Exit(kUnusable);
        for (int i = 0; i < 30'000 && !listener->came; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        if (!listener->came) std::_Exit(kNothingCame);
    }
    std::shared_ptr<Listener> listener = std::make_shared<Listener>();
    mova::CVeCmdManager manager{listener};
};

std::unique_ptr<Station> untilTheEnd;  // destroyed by the process's end
Station* forgotten = nullptr;

void sayReady() { std::ofstream(std::string(std::getenv("MOVA_DEVICE_DIR")) + "/ready") << "ready"; }

std::unique_ptr<mova::CVeCmdManager> writer;  // destroyed by the process's end

int write(const std::string& how, std::int32_t port) {
    writer = std::make_unique<mova::CVeCmdManager>();
    writer->put_CommPortId(port);
    if (writer->InitCmdManager(0) != mova::Code::Success) return kUnusable;
    std::thread([manager = writer.get()] {
        constexpr std::int32_t kMuch = 200 * 1024;  // for which the port has half an hour
        static const auto& bytes = *new std::vector<std::uint8_t>(kMuch, 'x');
        static_cast<void>(manager->DirectWriteByteData(bytes.data(), kMuch));
    }).detach();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    sayReady();
    if (how == "writing-return") return 0;
    if (how == "writing-exit") std::exit(kExit);
    if (how == "writing-quick-exit") std::quick_exit(kQuickExit);
    for (;;) pause();  // or is killed
}

int run(const std::string& how, std::int32_t port) {
    auto station = std::make_unique<Station>(port);
    sayReady();
    if (how == "return") return 0;
    if (how == "return-static") {
        untilTheEnd = std::move(station);
        return 0;
    }
    forgotten = station.release();
    if (how == "return-forgotten") return 0;
    if (how == "exit") std::exit(kExit);
    if (how == "quick-exit") std::quick_exit(kQuickExit);
    if (how == "at-once") _exit(kAtOnce);
    forgotten->listener->endsTheProcess = how == "exit-in-event";
    for (;;) pause();  // or is killed
}

}  // namespace

int main(int argc, char** argv) {
    constexpr int kArguments = 3;
    if (argc != kArguments) return kMisused;
    const std::string how = argv[1];
    const std::int32_t port = std::atoi(argv[2]);
    return how.starts_with("writing-") ? write(how, port) : run(how, port);
}
