#include "campaigns/soak/Station.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <thread>

namespace mova::soak {

namespace {

constexpr Code kNeverCame{0xFFFFFFFF};

using line::Fault;
using line::Handset;
using line::PtyHandset;
using line::waitUntil;

constexpr std::int32_t kPatience = 60'000;    // milliseconds; of an answer that must come
constexpr std::int32_t kShortPatience = 300;  // of one that an injected fault may swallow
constexpr std::uint64_t kOneFaultIn = 25;     // exchanges
constexpr std::uint64_t kOneLifecycleIn = 60;
constexpr std::uint64_t kOneSwitchIn = 20;
constexpr std::array<std::uint32_t, 3> kModes{3, 2, 5};

const char* const kKinds[] = {
    "E2P write", "E2P read", "WiFi", "HCI", "RF", "E2P range", "AT, RF or unsolicited", "direct, RF or unsolicited"};

line::Profile profileOf(int number) {
    line::Profile profile = line::atOnce(false);
    char imei[16];
    std::snprintf(imei, sizeof imei, "4901542%08d", number);
    profile.imei = imei;
    return profile;
}

std::string hexWord(std::uint32_t value) {  // least significant byte first
    char text[5];
    std::snprintf(text, sizeof text, "%02X%02X", value & 0xFFU, value >> 8U & 0xFFU);
    return text;
}

}  // namespace

Station::Station(line::Bench& bench, Counts& counts, int number, std::uint64_t seed, bool faults)
    : bench_(bench),
      counts_(counts),
      number_(number),
      faults_(faults),
      random_(seed * 1000 + static_cast<std::uint64_t>(number)),
      handset_(profileOf(number), bench.link(number)) {
    keepWhatIsHeard();
    makeManager();
}

void Station::keepWhatIsHeard() {
    constexpr std::size_t kKept = 8;
    handset_.with([this](Handset& h) {
        h.setLog([this](std::uint64_t now, handset::LogKind kind, std::string_view text) {
            std::string line = std::to_string(now / 1000) + (kind == handset::LogKind::Received ? " <- " : " -> ");
            for (const char c : text) line += c >= ' ' ? c : '~';
            heard_.push_back(std::move(line));
            if (heard_.size() > kKept) heard_.pop_front();
        });
    });
}

void Station::makeManager() {
    manager_ = std::make_unique<CVeCmdManager>(bench_.platform());
    manager_->put_CommPortId(number_);
    patience(kPatience);
    Code opened{};
    waitUntil([&] { return (opened = manager_->InitCmdManager(0)) == Code::Success; });
    judge({opened, {}, {}}, "open");
    judge({manager_->SwitchOperateMode(mode_, 0), {}, {}}, "switch");
}

void Station::patience(std::int32_t milliseconds) {
    for (const auto option : {1, 3, 4, 5}) manager_->AssignTimeoutConstant(option, milliseconds);
}

void Station::judge(const Outcome& outcome, const char* what) {
    if (outcome.good()) return;
    ++(outcome.code == Code::Success ? counts_.wrong : counts_.unexplained);
    std::printf("station %d, step %llu, mode %u, %s: code %#x, got \"%s\", expected \"%s\"\n", number_,
                static_cast<unsigned long long>(steps_), mode_, what, number(outcome.code), outcome.got.c_str(),
                outcome.wanted.c_str());
    handset_.with([this](Handset&) {
        std::printf("  now %llu ms; the handset's side of it:\n",
                    static_cast<unsigned long long>(PtyHandset::nowMicroseconds() / 1000));
        for (const std::string& line : heard_) std::printf("    %s\n", line.c_str());
    });
}

void Station::step() {
    ++steps_;
    if (pick(kOneLifecycleIn) == 0) return lifecycle();
    if (pick(kOneSwitchIn) == 0) {
        mode_ = kModes[pick(kModes.size())];
        judge({manager_->SwitchOperateMode(mode_, 0), {}, {}}, "switch");
        ++counts_.switches;
    }
    exchange();
}

void Station::exchange() {
    const bool mayBeLost = faults_ && pick(kOneFaultIn) == 0 && inject();
    const std::uint64_t kind = mayBeLost ? pick(4) : pick(std::size(kKinds));
    const Outcome outcome = perform(kind);
    ++counts_.exchanges;
    if (!mayBeLost) return judge(outcome, kKinds[kind]);
    if (!outcome.good()) ++counts_.expected;
    recover();
}

// What a careful client does after a loss: lets the line come to rest, throws away what is late, and goes on. The port
// opens again by itself.
void Station::recover() {
    handset_.with([](Handset& h) { h.faults() = {}; });
    handset_.replug();
    waitUntil([&] {
        bool quiet = false;
        handset_.with([&](Handset& h) { quiet = !h.nextDue(); });
        return quiet;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    patience(kPatience);
    manager_->ClearQueue();
    // What was under way to a line that hung up is gone with it; the port is found open again within moments.
    Outcome outcome;
    const std::string own = nextSerial();
    waitUntil([&] {
        patience(2000);
        const TextResult written = manager_->WriteE2PObject(0x1234, 2, own);
        outcome = {written.code, written.text.value_or(""), own};
        return written.code == Code::Success;
    });
    patience(kPatience);
    judge(outcome, "recovery");
    stored_ = own;
    manager_->ClearQueue();
    handset_.with([&](Handset& h) { h.store().put(0x1234, 1, std::string(16, '\x11')); });
}

bool Station::inject() {
    constexpr std::array kFaults{Fault::Silence,          Fault::WrongChecksum, Fault::WrongEcho,
                                 Fault::MissingAck,       Fault::MissingOk,     Fault::WrongRecord,
                                 Fault::DuplicateSegment, Fault::TwoFamilies,   Fault::HangUp};
    ++counts_.faults;
    patience(kShortPatience);
    const std::uint64_t which = pick(kFaults.size() + 4);
    handset_.with([&](Handset& h) {
        if (which < kFaults.size()) {
            h.faults().set(kFaults[which], 1);
            return;
        }
        h.faults().seed = random_();
        switch (which - kFaults.size()) {
            case 0: h.faults().droppedPerMille = 50; break;
            case 1: h.faults().noisePerMille = 50; break;
            case 2: h.faults().delayMicroseconds = 400'000; break;  // comes too late
            default: h.sendUnsolicited(PtyHandset::nowMicroseconds()); break;
        }
    });
    return true;
}

void Station::lifecycle() {
    ++counts_.reopenings;
    if (pick(2) == 0) {
        manager_.reset();  // while it is open
        return makeManager();
    }
    judge({manager_->ResetCmdManager(0), {}, {}}, "close");
    judge({manager_->InitCmdManager(0), {}, {}}, "reopen");
}

std::string Station::nextSerial() { return hexWord(++serial_); }

Station::Outcome Station::perform(std::uint64_t kind) {
    const auto outcomeOf = [](const TextResult& result, std::string wanted) {
        return Outcome{result.code, result.text.value_or(""), std::move(wanted)};
    };
    const std::string own = nextSerial();
    switch (kind) {
        case 0: {
            Outcome outcome = outcomeOf(manager_->WriteE2PObject(0x1234, 2, own), own);
            if (outcome.code == Code::Success) stored_ = own;
            return outcome;
        }
        case 1: return outcomeOf(manager_->ReadE2PObject(0x1234, 2), stored_);
        case 2: return outcomeOf(manager_->WiFiAction(static_cast<std::uint8_t>(serial_), own), own);
        case 3: {
            // The request sets its own limit; this option's is the longest, for a machine that has much else to do.
            Outcome outcome = outcomeOf(manager_->HciAction(1, ""), "00");
            manager_->AssignTimeoutConstant(4, kPatience);
            return outcome;
        }
        case 4: return rf();
        case 5: {
            const RangeResult written = manager_->WriteE2PObjectEx(0x1234, 1, 8, 4, own);
            if (written.code != Code::Success) return {written.code, {}, {}};
            const RangeResult read = manager_->ReadE2PObjectEx(0x1234, 1, 8, 4);
            return {read.code, read.text.value_or(""), own};
        }
        case 6: return byItself() ? unsolicited() : (background() ? rf() : at());
        default: return byItself() ? unsolicited() : (background() ? rf() : direct());
    }
}

// Confirmation: service, status, index.
Station::Outcome Station::rf() {
    const auto index = static_cast<std::uint16_t>(serial_);
    Outcome outcome{manager_->RfGeneralTestReq(5, index), {}, "0500" + hexWord(index)};
    if (outcome.code != Code::Success) return outcome;
    waitUntil([&] { return !(outcome.got = manager_->FetchQueuedCnfTextItem().data).empty(); });
    if (outcome.got.empty()) outcome.code = kNeverCame;  // it never came
    return outcome;
}

Station::Outcome Station::at() {
    constexpr std::int32_t kOnTheLine = 25;  // two line ends about the number, two about OK
    Outcome outcome{manager_->SendNormalAtCmd(0, "AT+CGSN"), {}, profileOf(number_).imei + "~OK~"};
    if (outcome.code != Code::Success) return outcome;
    if (!waitUntil([&] { return manager_->DirectQueryDataInQueue() >= kOnTheLine; })) return {kNeverCame, {}, {}};
    outcome.got = manager_->GetNormalAtResult(1).text;
    return outcome;
}

Station::Outcome Station::direct() {
    const CountResult written = manager_->DirectWriteHexData("41540D", 3);
    if (written.code != Code::Success || written.count != 3) return {written.code, std::to_string(written.count), "3"};
    if (!waitUntil([&] { return manager_->DirectQueryDataInQueue() >= 6; })) return {kNeverCame, {}, {}};
    const ReadResult read = manager_->DirectReadHexData(6);
    return {read.code, read.data.value_or(""), "0D0A4F4B0D0A"};
}

// By itself, so that no other confirmation shares its record.
Station::Outcome Station::unsolicited() {
    Outcome outcome;
    handset_.with([&](Handset& h) {
        outcome.wanted = "7E00" + hexWord(h.protocol().nextUnsolicited());
        h.sendUnsolicited(PtyHandset::nowMicroseconds());
    });
    waitUntil([&] { return !(outcome.got = manager_->FetchQueuedCnfTextItem().data).empty(); });
    if (outcome.got.empty()) outcome.code = kNeverCame;
    return outcome;
}

}  // namespace mova::soak
