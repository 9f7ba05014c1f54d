#include "campaigns/conversation/Conversation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>
#include <memory>
#include <regex>

#include "campaigns/conversation/Ledger.h"
#include "campaigns/conversation/Recorder.h"
#include "campaigns/conversation/RoughLine.h"
#include "handset/Frames.h"
#include "handset/Handset.h"
#include "mova/CVeCmdManager.h"
#include "oracle/PlainModel.h"
#include "support/ScriptedPlatform.h"

namespace mova::conversation {

namespace {

using oracle::Happening;
using oracle::LockHold;
using oracle::Mismatch;
using oracle::PlainModel;
using oracle::resultText;

template <class... More>
std::string resultText(Code code, const More&... more) {
    return oracle::resultText(number(code), more...);
}

enum class Manner { Calm, Late, Noisy, Unplugged, Failing, Everything };

Manner mannerOf(std::uint64_t seed) {
    constexpr std::array kManners{Manner::Calm,    Manner::Late, Manner::Noisy, Manner::Everything, Manner::Unplugged,
                                  Manner::Failing, Manner::Late, Manner::Noisy, Manner::Calm,       Manner::Everything};
    return kManners[seed % kManners.size()];
}

// A driver that fails at its nth call fails elsewhere when there are other calls.
Manner comparedMannerOf(std::uint64_t seed) {
    constexpr std::array kManners{Manner::Calm, Manner::Late, Manner::Noisy, Manner::Unplugged};
    return kManners[seed % kManners.size()];
}

class Listener : public ConfirmationEvents {
public:
    Listener(Recorder& recorder, Threading& threading) : recorder_(recorder), threading_(threading) {}
    void OnCpGetMovaCnf(std::int32_t type, std::int32_t length, const std::string& text) override {
        recorder_.raise({threading_.currentThreadId(), type, length, text});
    }

private:
    Recorder& recorder_;
    Threading& threading_;
};

struct Object {
    unsigned id;
    unsigned record;
    int bytes;
};
constexpr std::array kObjects{Object{4097, 1, 64},   Object{4099, 1, 64},  Object{4256, 1, 16},   Object{36895, 1, 512},
                              Object{0x1234, 1, 16}, Object{0x1234, 2, 2}, Object{0x2000, 1, 256}};
constexpr Object kLargeObject{0x2000, 2, 5100};

// Of a compared conversation.
constexpr const char* kLogFile = "D:\\at.log";
constexpr const char* kTraceFile = "D:\\trace.log";
constexpr std::int64_t kStepGrid = 2000;  // milliseconds

std::string withoutTimes(const std::string& text) {
    static const std::regex times(R"(\[\d+/\d\d/\d\d-\d\d:\d\d:\d\d::\d{3}\]|\[T:-?\d+\])");
    return std::regex_replace(text, times, "[]");
}

class Conversation {
public:
    Conversation(std::uint64_t seed, const Settings& settings)
        : settings_(settings),
          random_(seed),
          manner_(settings.compared ? comparedMannerOf(seed) : mannerOf(seed)),
          usb_(random_.oneIn(2)),
          recorder_(platform_.scheduler()),
          taped_(platform_, recorder_),
          comm_(platform_.withPort(7, usb_ ? "USB Serial Port (COM7)" : "Communications Port (COM7)")),
          line_(handset_, seed ^ 0x9E3779B97F4A7C15ull),
          peer_(line_),
          model_(recorder_.tape(), usb_) {}

    Outcome run() {
        try {
            begin();
            for (step_ = 1; step_ <= settings_.steps; ++step_) {
                disturb();
                act();
                rest();
            }
            end();
        } catch (const Mismatch& mismatch) {
            outcome_.mismatch = mismatch.what();
            platform_.failures().clear();
        }
        if (manager_) manager_.reset();
        platform_.settle();
        if (settings_.compared) outcome_.seen = seenByAll();
        outcome_.hash = hash_ ^ recorder_.hash();
        outcome_.exchanges = model_.exchanges();
        outcome_.records = model_.recordsMade();
        outcome_.confirmations = ledger_.arrived();
        outcome_.delivered = ledger_.delivered();
        outcome_.virtualMilliseconds = static_cast<std::uint64_t>(platform_.elapsed());
        return std::move(outcome_);
    }

private:
    using Act = std::function<std::string(CVeCmdManager&)>;
    using Expect = std::function<std::string(PlainModel&)>;

    // --- the telling

    void tell(const std::string& text) {
        recorder_.see(Seen::Call, text);
        const std::string line = printed("%9.3f ms  ", static_cast<double>(platform_.now().count()) / 1000.0) + text;
        if (settings_.trace) std::printf("%s\n", line.c_str());
        for (const char c : line) hash_ = (hash_ ^ static_cast<unsigned char>(c)) * 1099511628211ull;
        outcome_.transcript.push_back(line);
    }

    static std::string shortened(const std::string& text) {
        constexpr std::size_t kShown = 160;
        return text.size() <= kShown ? text : text.substr(0, kShown) + printed("... (%zu)", text.size());
    }

    std::string call(const std::string& name, const Act& act, const Expect& expect) {
        tell(printed("%3d ", step_) + shortened(name));
        const bool wasBusy = now() <= busyUntil_;
        const std::string result = act(*manager_);
        if (wasBusy) busyFor(100);  // who took an older answer has left his own behind
        tell("      = " + shortened(result));
        if (settings_.trace) tellTape();
        const std::string expected = expect(model_);
        settle();
        if (result != expected)
            throw Mismatch("the result of " + name + "\n  expected " + expected + "\n  got      " + result);
        return result;
    }

    void settle() {
        if (settings_.trace) tellTape();
        model_.otherThreads();
        model_.checkEvents();
    }

    void tellTape() const {
        for (const LockHold& hold : recorder_.tape().holds) {
            for (const Happening& h : hold.happenings)
                std::printf("        [%u] %s\n", hold.thread, describe(h).c_str());
        }
    }

    // What must be in calm, beyond what the model says.
    void truth(bool holds, const std::string& what) const {
        if (!holds) throw Mismatch("in calm: " + what);
    }
    bool isCalm() const { return manner_ == Manner::Calm || ending_; }
    bool isNoisy() const { return manner_ == Manner::Noisy || manner_ == Manner::Everything; }

    // --- the beginning, the end

    void begin() {
        platform_.journal().keep(false);
        platform_.withDebugViewer();
        comm_.attach(peer_);
        model_.onTold([this](const std::string& hex) {
            if (!ledger_.told(hex)) throw Mismatch("told by an event what did not come, or was given already: " + hex);
        });
        if (isNoisy()) ledger_.allowLate();
        model_.onRead([this](std::string_view bytes) { ledger_.came(bytes); });
        handset_.setEcho(random_.oneIn(2));
        constexpr std::array kRates{0u, 460800u, 9600u};
        // In calm no answer is slower than the usual time-outs allow.
        if (random_.oneIn(3)) handset_.setBaudRate(kRates[random_.below(isCalm() || settings_.compared ? 2 : 3)]);
        if (!isCalm() && random_.oneIn(12)) startTicksAt(0xFFFFFFFF - random_.below(60000));
        const int smallest = isCalm() ? 8 : 1;  // in calm every answer is through within its time-out
        if (random_.oneIn(4)) setSegmentSize(random_.between(smallest, 40));
        if (random_.oneIn(3)) comm_.setReadCap(static_cast<std::uint32_t>(random_.between(smallest, 60)));
        if (random_.oneIn(3)) comm_.setInQueueCap(static_cast<std::uint32_t>(random_.between(smallest, 60)));
        if (random_.oneIn(4)) comm_.readsTake(std::chrono::microseconds(random_.between(0, 1500)));
        if (random_.oneIn(4)) comm_.writesTake(std::chrono::microseconds(random_.between(0, 900)));
        if (random_.oneIn(2) && !settings_.compared)
            platform_.interleave(random_.below(1000000) + 1, static_cast<unsigned>(random_.between(2, 8)));
        listener_ = std::make_shared<Listener>(recorder_, platform_.threading());
        manager_ = std::make_unique<CVeCmdManager>(taped_.platform(), listener_);
        recorder_.tape().holds.clear();
        manager_->put_CommPortId(7);
        if (settings_.compared) compare();
        recorder_.tape().holds.clear();
        if (isCalm() || !random_.oneIn(10)) init();
        shortenWaits();
    }

    // Lines come whole in a compared conversation: what a pass finds, and what its trace shows behind a record, is as
    // much as has come until then.
    void compare() {
        recorder_.keepAll();
        if (settings_.plainPauses) platform_.serial().setPlainPauses();
        manager_->Set_Log_File_Path(kLogFile);
        static_cast<void>(manager_->ActivateMovaLogging(kTraceFile, platform_.clock().tickCount(), 1));
        handset_.setBaudRate(0);
        comm_.setReadCap(0xFFFFFFFF);
        comm_.setInQueueCap(0xFFFFFFFF);
        comm_.transfersCompleteAtOnce();
    }

    std::vector<std::string> seenByAll() {
        std::vector<std::string> all;
        for (const Seen what : {Seen::Call, Seen::Event, Seen::Trace}) {
            const std::vector<std::string>& seen = recorder_.seen(what);
            all.insert(all.end(), seen.begin(), seen.end());
        }
        for (const char* path : {kLogFile, kTraceFile}) {
            if (platform_.files().exists(path)) all.push_back(withoutTimes(platform_.files().content(path)));
        }
        return all;
    }

    // Most waits for what never comes are short ones: the rest of the conversation is worth more.
    void shortenWaits() {
        if (isCalm() || random_.oneIn(6)) return;
        setTimeout(3, random_.between(100, 600));
        setTimeout(4, random_.between(100, 900));
    }

    // Counts that wrap in the middle of the conversation.
    void startTicksAt(std::uint32_t ticks) {
        tell(printed("    the tick count starts at %u", ticks));
        platform_.clock().setTickCount(ticks);
        model_.startTicksAt(ticks);
    }

    void end() {
        ending_ = true;
        platform_.failures().clear();
        comm_.replug();
        line_.roughness = {};
        line_.lose();
        handset_.setUnsolicitedInterval(0, now());
        handset_.profile().sleepAfterMicroseconds = 3'600'000'000;  // once woken it stays awake
        handset_.faults().clear();
        handset_.faults().delayMicroseconds = 0;
        setSegmentSize(120);
        handset_.setBaudRate(115200);
        handset_.protocol().setE2pStatus(0);
        handset_.protocol().setHciStatus(0);
        handset_.protocol().setWifiStatus(0);
        tell("    --- the end: everything in order again");
        switchMode(3);
        close();
        waitUntilReaderEnded();
        platform_.advance(static_cast<std::uint32_t>(random_.between(4000, 4500)));
        // Deliberate: a write whose limit lies beyond the wrap of the tick count is given up after its first byte.
        constexpr std::uint32_t kNearWrap = 40000;
        if (0u - platform_.clock().tickCount() < kNearWrap) platform_.advance(kNearWrap);
        const bool opens = init() == resultText(0);
        // A handle that the driver would not close is lost when the port is opened again, and keeps it busy.
        const bool isLost = platform_.failures().delivered(Op::Close) > 0 && comm_.isOpen();
        if (!opens && isLost) return release();
        truth(opens, "the port opens");
        property(101, 0);
        property(102, 0);
        truth(property(109, 0) == resultText(0), "the handset answers after the wake sequence");
        for (int option = 1; option <= 6; ++option) setTimeout(option, 3000);
        readObject(kObjects[0]);
        writeObject(kObjects[4]);
        const std::string payload = rf(0);
        platform_.advance(500);
        truth(fetch(true).find("\"" + payload + "\"") != std::string::npos,
              "the confirmation of the RF request is there");
        close();
        platform_.advance(100);
        truth(platform_.threading().alive() == 0, "no thread is left");
        release();
    }

    void release() {
        model_.nothingOutstanding();
        tell("    final release");
        manager_->FinalRelease();
        model_.finalRelease();
        manager_.reset();
        settle();
    }

    void waitUntilReaderEnded() {
        constexpr std::uint32_t kLongest = 10000;
        if (!platform_.advanceUntil([this] { return platform_.threading().alive() == 0; }, kLongest))
            throw Mismatch("the reader thread does not end");
        settle();
        model_.readerIsGone();
    }

    void rest() {
        const std::uint32_t pause = random_.oneIn(8) ? random_.below(1500) : random_.below(60);
        if (pause > 0) platform_.advance(pause);
        if (settings_.compared)
            platform_.advance(kStepGrid - static_cast<std::uint32_t>(platform_.elapsed() % kStepGrid));
        settle();
        const unsigned alive = platform_.threading().alive();
        using Reader = PlainModel::Reader;
        if (alive > 1) throw Mismatch("more than one thread");
        if (alive == 0 && model_.reader() == Reader::Runs) throw Mismatch("the reader thread has ended by itself");
        if (alive == 1 && model_.reader() == Reader::None) throw Mismatch("a reader thread that must not be");
        if (alive == 0) {
            model_.readerIsGone();
            model_.nothingOutstanding();
        }
    }

    // Of a compared conversation so much that a reader thread has made its pass, whenever it last made one.
    void letPass(std::uint32_t milliseconds) {
        constexpr std::uint32_t kLongEnough = 20;
        platform_.advance(settings_.compared ? kLongEnough + milliseconds / kLongEnough * kLongEnough : milliseconds);
    }

    void setSegmentSize(int bytes) {
        segmentSize_ = bytes;
        handset_.protocol().setSegmentSize(static_cast<std::size_t>(bytes));
    }
    // An answer is joined from at most 255 segments.
    bool fits(const Object& o) const { return o.bytes + 8 <= 255 * segmentSize_; }

    std::uint64_t now() const { return static_cast<std::uint64_t>(platform_.now().count()); }

    // --- disturbances

    void disturb() {
        platform_.failures().clear();
        if (manner_ != Manner::Calm && random_.oneIn(4)) disturbHandset();
        if (random_.oneIn(8)) {
            const bool on = random_.oneIn(2);
            tell(on ? "    echo on" : "    echo off");
            handset_.setEcho(on);
        }
        if (random_.oneIn(6)) {
            const int count = random_.between(1, 5);
            tell(printed("    %d confirmations unasked", count));
            for (int i = 0; i < count; ++i) sendUnsolicited();
            busyFor(100);
        }
        const bool everything = manner_ == Manner::Everything;
        if (everything || manner_ == Manner::Late || manner_ == Manner::Noisy) roughen();
        if (everything || manner_ == Manner::Unplugged) handleCable();
        if ((everything || manner_ == Manner::Failing) && random_.oneIn(3)) failSomething();
    }

    void sendUnsolicited() {
        handset_.sendUnsolicited(now());
        comm_.peerHasNews();
    }

    void disturbHandset() {
        handset::Faults& faults = handset_.faults();
        const std::uint32_t what = random_.below(manner_ == Manner::Late ? 4 : 9);
        switch (what == 0 && settings_.compared ? 1
                                                : what) {  // at intervals, one comes in the last pause of an exchange
            case 0:
                handset_.setUnsolicitedInterval(
                    random_.oneIn(2) ? 0 : static_cast<std::uint64_t>(random_.between(30, 600)) * 1000, now());
                comm_.peerHasNews();
                tell("    confirmations at intervals");
                break;
            case 1:
                faults.delayMicroseconds =
                    random_.oneIn(3) ? 0 : static_cast<std::uint64_t>(random_.below(2500)) * 1000;
                tell(printed("    answers delayed by %llu us",
                             static_cast<unsigned long long>(faults.delayMicroseconds)));
                break;
            case 2: {
                const auto fault = random_.oneIn(2) ? handset::Fault::TwoFamilies : handset::Fault::DuplicateSegment;
                tell("    fault: " + std::string(handset::nameOf(fault)));
                faults.set(fault);
                break;
            }
            case 3: setSegmentSize(random_.between(1, 130)); break;
            case 4:
                handset_.protocol().setE2pStatus(static_cast<std::uint8_t>(random_.oneIn(2) ? 0 : random_.below(24)));
                break;
            case 5: handset_.protocol().setHciStatus(static_cast<std::uint8_t>(random_.below(2))); break;
            case 6: handset_.protocol().setWifiStatus(static_cast<std::uint8_t>(random_.below(4))); break;
            default: {
                constexpr int kAllButHangUp = static_cast<int>(handset::kFaults) - 1;
                const auto fault = static_cast<handset::Fault>(random_.below(kAllButHangUp));
                tell("    fault: " + std::string(handset::nameOf(fault)));
                faults.set(fault, random_.between(1, 2));
            }
        }
    }

    void roughen() {
        if (!random_.oneIn(4)) return;
        Roughness& r = line_.roughness;
        r = {};
        if (random_.oneIn(4)) return;
        r.inPieces = random_.oneIn(2) && !settings_.compared;
        const std::array delays{5u, 60u, 400u, 2500u};
        r.late = random_.below(300);
        r.longestDelay = random_.oneOf(delays);
        if (manner_ != Manner::Late) {
            const auto some = [&] { return random_.oneIn(2) ? random_.below(150) : 0u; };
            r.lost = some();
            r.doubled = some();
            r.corrupted = some();
            r.noiseLines = some();
            r.noiseBytes = some();
            r.lostRequests = random_.oneIn(6) ? random_.below(30) : 0;
        }
        tell(printed("    line: late %u by %u ms, lost %u, doubled %u, corrupted %u, noise %u %u, lost requests %u%s",
                     r.late, r.longestDelay, r.lost, r.doubled, r.corrupted, r.noiseLines, r.noiseBytes, r.lostRequests,
                     r.inPieces ? ", in pieces" : ""));
    }

    void handleCable() {
        if (comm_.isPlugged() && random_.oneIn(5)) {
            if (random_.oneIn(2)) {
                unplug();
            } else {
                const int delay = random_.between(0, 900);
                tell(printed("    the cable goes out in %d ms", delay));
                platform_.after(std::chrono::milliseconds(delay), [this] { unplug(); });
            }
        } else if (!comm_.isPlugged() && random_.oneIn(2)) {
            tell("    cable in");
            comm_.replug();
        }
        if (random_.oneIn(5)) {
            const int delay = random_.between(0, 2500);
            platform_.after(std::chrono::milliseconds(delay), [this] { comm_.replug(); });
        }
    }

    void unplug() {
        if (ending_ || !comm_.isPlugged()) return;
        tell("    cable out");
        comm_.unplug();
        line_.lose();
    }

    void failSomething() {
        constexpr std::array kOps{Op::Open,        Op::Close,           Op::SetQueueSizes,   Op::SetTimeouts,
                                  Op::Properties,  Op::GetLineSettings, Op::SetLineSettings, Op::SetEventMask,
                                  Op::ClearErrors, Op::Purge,           Op::BeginRead,       Op::BeginWrite,
                                  Op::Await,       Op::Finish,          Op::StartThread,     Op::BeginRead,
                                  Op::BeginWrite,  Op::Finish,          Op::ClearErrors};
        const Op op = random_.oneOf(kOps);
        std::vector<FailureKind> kinds = kindsOf(op);
        std::erase(kinds, FailureKind::Pending);  // for ever: there is nobody here to stop it
        const FailureKind kind = random_.oneOf(kinds);
        const auto nth = static_cast<unsigned>(random_.oneIn(2) ? random_.between(1, 4) : random_.between(1, 60));
        const auto times = static_cast<unsigned>(random_.oneIn(3) ? random_.between(2, 6) : 1);
        FailureRule& rule = platform_.failures().fail(op).onCall(nth).times(times).as(kind);
        if (kind == FailureKind::ShortCount && random_.oneIn(2)) rule.count(0);
        tell(printed("    %s fails (%s) at call %u, %u times", nameOf(op), nameOf(kind), nth, times));
    }

    // --- actions

    std::string init() {
        return call(
            "InitCmdManager", [](CVeCmdManager& m) { return resultText(m.InitCmdManager(0)); },
            [](PlainModel& x) { return x.init(); });
    }
    std::string close() {
        const bool reset = random_.oneIn(2);
        return call(
            reset ? "ResetCmdManager" : "ProprietaryCloseComPort",
            [reset](CVeCmdManager& m) {
                return resultText(reset ? m.ResetCmdManager(0) : m.ProprietaryCloseComPort(0));
            },
            [](PlainModel& x) { return x.closePort(); });
    }
    std::string open() {
        return call(
            "ProprietaryOpenComPort", [](CVeCmdManager& m) { return resultText(m.ProprietaryOpenComPort(0)); },
            [](PlainModel& x) { return x.openPort(); });
    }
    std::string switchMode(std::uint32_t option) {
        return call(
            printed("SwitchOperateMode %u", option),
            [=](CVeCmdManager& m) { return resultText(m.SwitchOperateMode(option, 0)); },
            [=](PlainModel& x) { return x.switchMode(option); });
    }
    void setTimeout(int option, int milliseconds) {
        call(
            printed("AssignTimeoutConstant %d %d", option, milliseconds),
            [=](CVeCmdManager& m) {
                m.AssignTimeoutConstant(option, milliseconds);
                return std::string();
            },
            [=](PlainModel& x) { return x.setTimeout(option, milliseconds); });
    }
    std::string property(std::uint32_t id, std::uint32_t parameter) {
        return call(
            printed("SetAtCmdProperty %u %u", id, parameter),
            [=](CVeCmdManager& m) { return resultText(m.SetAtCmdProperty(id, parameter)); },
            [=](PlainModel& x) { return x.property(id, parameter); });
    }
    std::string sendAt(const std::string& command) {
        return call(
            "SendNormalAtCmd " + command, [&](CVeCmdManager& m) { return resultText(m.SendNormalAtCmd(0, command)); },
            [&](PlainModel& x) { return x.sendAt(command); });
    }
    std::string getAt(int option) {
        return call(
            printed("GetNormalAtResult %d", option),
            [=](CVeCmdManager& m) {
                const AtResult r = m.GetNormalAtResult(option);
                return resultText(r.code, r.length, r.text);
            },
            [=](PlainModel& x) { return x.getAt(option); });
    }
    std::string clear() {
        return call(
            "ClearQueue",
            [](CVeCmdManager& m) {
                m.ClearQueue();
                return std::string();
            },
            [](PlainModel& x) { return x.clear(); });
    }

    std::string fetch(bool asText) {
        std::string hex;
        const std::string result = call(
            asText ? "FetchQueuedCnfTextItem" : "FetchQueuedCnfItem",
            [&](CVeCmdManager& m) {
                const QueuedItem i = asText ? m.FetchQueuedCnfTextItem() : m.FetchQueuedCnfItem();
                if (i.error != 0) return std::string("an error");
                hex = asText ? i.data : handset::toHex(i.data);
                return printed("left %u ", i.remained) + resultText(0, i.length, hex);
            },
            [=](PlainModel& x) { return x.fetch(asText); });
        // Damaged data may have an odd number of digits, which the bytes do not show.
        const bool whole = asText || !isNoisy();
        if (!hex.empty() && whole && !ledger_.fetched(hex))
            throw Mismatch("fetched what did not come, or had been given already: " + hex);
        return result;
    }

    // Gives the payload that the handset confirms it with.
    std::string rf(int size) {
        const auto service = static_cast<std::uint8_t>(random_.between(1, 0x70));
        const auto index = static_cast<std::uint16_t>(++serial_);
        std::string data;
        for (int i = 0; i < size; ++i) data += static_cast<char>(i % 7 == 0 ? serial_ : static_cast<unsigned>(i));
        const std::string payload =
            handset::toHex(std::string{static_cast<char>(service), '\0'} + handset::word(index) +
                           data.substr(0, std::min<std::size_t>(200, data.size())));
        std::string result;
        if (size == 0) {
            const bool general = random_.oneIn(2);
            result = call(
                printed("RfGeneralTestReq %u %u", service, index),
                [=](CVeCmdManager& m) {
                    return resultText(general ? m.RfGeneralTestReq(service, index)
                                              : m.VbRfVarReq(9, service, std::to_string(index)));
                },
                [=](PlainModel& x) { return x.rf(service, 0, index, ""); });
        } else if (size == 2) {
            const auto value = static_cast<std::uint16_t>(handset::wordAt(data, 0));
            result = call(
                printed("RfChangeParamReq %u %u", service, index),
                [=](CVeCmdManager& m) { return resultText(m.RfChangeParamReq(service, 1, index, value)); },
                [&](PlainModel& x) { return x.rf(service, 1, index, data); });
        } else {
            const std::vector<std::uint8_t> table(data.begin(), data.end());
            result = call(
                printed("RfChangeTableReq %u %u %d", service, index, size),
                [&](CVeCmdManager& m) {
                    return resultText(
                        m.RfChangeTableReq(service, 2, index, static_cast<std::uint16_t>(size), std::span(table)));
                },
                [&](PlainModel& x) { return x.rf(service, 2, index, data); });
        }
        if (isCalm() && isReady()) truth(result == resultText(0), "an RF request succeeds");
        busyFor(100);
        return payload;
    }

    std::string unique(int bytes) {
        std::string data = handset::toHex(handset::word(static_cast<std::uint16_t>(++serial_)));
        while (static_cast<int>(data.size()) < 2 * bytes) data += printed("%02X", random_.below(256));
        data.resize(static_cast<std::size_t>(2 * bytes));
        return data;
    }

    static std::string shown(const TextResult& r) { return resultText(r.code, r.text); }
    static std::string shown(const RangeResult& r) {
        return resultText(r.code, r.length ? std::int64_t{*r.length} : -1, r.text);
    }

    std::string stored(const Object& o) {
        return handset::toHex(
            *handset_.store().find(static_cast<std::uint16_t>(o.id), static_cast<std::uint16_t>(o.record)));
    }
    // The handset is heard and hears, and nothing else is on its way: what can be said beforehand of an exchange in
    // calm. A confirmation that is filed as an event is none that a request finds.
    bool isReady() const {
        return model_.isDeviceOpen() && comm_.isPlugged() && !model_.unsolicited() && now() > busyUntil_;
    }
    void busyFor(std::uint64_t milliseconds) { busyUntil_ = std::max(busyUntil_, now() + milliseconds * 1000); }

    void readObject(const Object& o) {
        const auto id = static_cast<std::int32_t>(o.id);
        const auto record = static_cast<std::int32_t>(o.record);
        const bool ready = isReady();
        const std::string result = call(
            printed("ReadE2PObject %u %u", o.id, o.record),
            [=](CVeCmdManager& m) { return shown(m.ReadE2PObject(id, record)); },
            [=](PlainModel& x) { return x.e2p(0x80, o.id, o.record, ""); });
        if (isCalm() && ready && fits(o))
            truth(result == resultText(0, stored(o)), "an object is read as it is stored");
    }
    void writeObject(const Object& o) {
        const auto id = static_cast<std::int32_t>(o.id);
        const auto record = static_cast<std::int32_t>(o.record);
        const std::string data = unique(o.bytes);
        const bool ready = isReady();
        const std::string result = call(
            printed("WriteE2PObject %u %u ", o.id, o.record) + data,
            [&](CVeCmdManager& m) { return shown(m.WriteE2PObject(id, record, data)); },
            [&](PlainModel& x) { return x.e2p(0x81, o.id, o.record, data); });
        if (isCalm() && ready && fits(o)) {
            truth(result == resultText(0, data), "an object is written");
            truth(stored(o) == data, "the written object is stored");
        }
    }
    void readRange(const Object& o) {
        const int start = random_.between(0, 2 * o.bytes + 3);
        const int length = random_.between(0, 2 * o.bytes);
        const bool ready = isReady();
        const std::string result = call(
            printed("ReadE2PObjectEx %u %u %d %d", o.id, o.record, start, length),
            [=](CVeCmdManager& m) {
                return shown(m.ReadE2PObjectEx(static_cast<std::int32_t>(o.id), static_cast<std::int32_t>(o.record),
                                               start, length));
            },
            [=](PlainModel& x) { return x.e2pReadRange(o.id, o.record, start, length); });
        if (isCalm() && ready && fits(o) && start < 2 * o.bytes) {
            const std::string part =
                stored(o).substr(static_cast<std::size_t>(start), static_cast<std::size_t>(length));
            truth(result == resultText(0, static_cast<std::int64_t>(part.size()), part),
                  "a range is read as it is stored");
        }
    }
    void writeRange(const Object& o) {
        const int start = random_.between(0, 2 * o.bytes);
        const int length = random_.between(0, 2 * o.bytes);
        const std::string data = unique(random_.between(0, o.bytes));
        call(
            printed("WriteE2PObjectEx %u %u %d %d ", o.id, o.record, start, length) + data,
            [&](CVeCmdManager& m) {
                return shown(m.WriteE2PObjectEx(static_cast<std::int32_t>(o.id), static_cast<std::int32_t>(o.record),
                                                start, length, data));
            },
            [&](PlainModel& x) { return x.e2pWriteRange(o.id, o.record, start, length, data); });
    }
    void provision() {
        const int which = random_.between(2, 7);
        const std::string data = which == 2 || which == 4 || which == 5 ? unique(random_.between(1, 30)) : "";
        const int object = static_cast<int>(++serial_);
        call(
            printed("provisioning %d %d ", which, object) + data,
            [&](CVeCmdManager& m) {
                switch (which) {
                    case 2: return shown(m.SendE2PPasswd(object, 3, data));
                    case 3: return shown(m.SendAuthReq(object, 3));
                    case 4: return shown(m.SendAuthKey(object, 3, data));
                    case 5: return shown(m.SendSerialNumber(object, 3, data));
                    case 6: return shown(m.SendHashReq(object, 3));
                    default: return shown(m.SendLockOtp(object, 3));
                }
            },
            [&](PlainModel& x) {
                return x.e2p(0x80u + static_cast<unsigned>(which), static_cast<unsigned>(object), 3, data);
            });
    }
    void hci() {
        constexpr std::array kOptions{0, 0, 2, 3, 4, 5, 16, 16, 6, 1};
        const int option = random_.oneOf(kOptions);
        const std::string command = unique(random_.oneIn(6) ? random_.between(100, 300) : random_.between(1, 20));
        const bool ready = isReady();
        const std::string result = call(
            printed("HciAction %d ", option) + command,
            [&](CVeCmdManager& m) { return shown(m.HciAction(option, command)); },
            [&](PlainModel& x) { return x.hci(option, command); });
        if (!random_.oneIn(4)) shortenWaits();
        if (!isCalm() || !ready || option == 6) return;
        const bool sent = option == 0 || option > 3;
        truth(result == resultText(0, "00" + (sent ? command : "")), "an HCI action comes back");
    }
    void wifi() {
        const auto command = static_cast<std::uint8_t>(random_.between(1, 255));
        const std::string parameter = unique(random_.oneIn(6) ? random_.between(100, 300) : random_.between(1, 20));
        const bool ready = isReady();
        const std::string result = call(
            printed("WiFiAction %u ", command) + parameter,
            [&](CVeCmdManager& m) { return shown(m.WiFiAction(command, parameter)); },
            [&](PlainModel& x) { return x.wifi(command, parameter); });
        if (isCalm() && ready) truth(result == resultText(0, parameter), "a WiFi action comes back");
    }
    void info() {
        constexpr std::array kOptions{0, 2, 3, 6, 10, 3, 6, 11};
        const int option = random_.oneOf(kOptions);
        const int access = random_.between(0, 1);
        const std::string value = printed("N%u", ++serial_);
        const bool ready = isReady();
        const std::string result = call(
            printed("SpecificInfo %d %d ", option, access) + value,
            [&](CVeCmdManager& m) { return shown(m.SpecificInfo(option, access, value)); },
            [&](PlainModel& x) { return x.info(option, access, value); });
        if (isCalm() && ready && access == 1 && (option == 3 || option == 6))
            truth(result == resultText(0, value), "an identity field is written");
    }

    void at() {
        const std::string commands[] = {"AT",
                                        "ATI",
                                        "AT+CGSN",
                                        "AT+CSQ",
                                        "AT+CREG?",
                                        "AT%V",
                                        "ATD*#06#",
                                        "AT%OTP?",
                                        "AT+FOO",
                                        "AT%CNF=3,20",
                                        "AT%CNF=7,0",
                                        "ATE0",
                                        "ATE1",
                                        "",
                                        "AT*MOVA=zz",
                                        std::string(4095, 'A'),
                                        printed("AT+N%u", ++serial_)};
        const std::string& command = commands[random_.below(static_cast<std::uint32_t>(std::size(commands)))];
        sendAt(command);
        busyFor(400);
        if (random_.oneIn(5)) return;
        letPass(random_.below(120));
        settle();
        for (int i = random_.between(1, 2); i > 0; --i) getAt(random_.between(0, 3));
    }

    void chooseProperty() {
        constexpr std::array kIds{1u,   2u,   3u,   4u,   5u,   7u,   10u,  11u,  13u, 101u, 101u, 102u, 103u,
                                  105u, 106u, 107u, 110u, 111u, 112u, 113u, 114u, 50u, 0u,   115u, 100u};
        constexpr std::array kSleep{8u, 9u, 108u, 109u, 104u};
        const std::uint32_t id =
            manner_ != Manner::Calm && random_.oneIn(5) ? random_.oneOf(kSleep) : random_.oneOf(kIds);
        const bool ready = isReady();
        const std::string result = property(id, random_.below(3));
        if (id < 100) busyFor(100);
        if (isCalm() && ready && id > 100 && id < 115 && id != 111 && id != 113)
            truth(result == resultText(0), "a property is acknowledged");
    }

    void direct() {
        const std::string bytes = random_.oneIn(2) ? "AT\r" : std::string("AT+N") + std::to_string(++serial_) + "\r";
        switch (random_.below(settings_.compared ? 4 : 5)) {
            case 0: {
                const std::string hex = handset::toHex(bytes);
                const int count =
                    !isCalm() && random_.oneIn(3) ? random_.between(1, 9) : static_cast<int>(bytes.size());
                call(
                    "DirectWriteHexData " + hex + printed(" %d", count),
                    [&](CVeCmdManager& m) {
                        const CountResult r = m.DirectWriteHexData(hex, count);
                        return resultText(r.code, r.count, std::nullopt);
                    },
                    [&](PlainModel& x) { return x.writeHex(hex, count); });
                break;
            }
            case 1: {
                const std::vector<std::uint8_t> array(bytes.begin(), bytes.end());
                call(
                    "DirectWriteAsciiData " + bytes,
                    [&](CVeCmdManager& m) {
                        const CountResult r = m.DirectWriteAsciiData(array, static_cast<std::int32_t>(array.size()));
                        return resultText(r.code, r.count, std::nullopt);
                    },
                    [&](PlainModel& x) { return x.writeArray(bytes, static_cast<int>(bytes.size())); });
                break;
            }
            case 2: {
                const int count = random_.between(1, 300);
                call(
                    printed("DirectReadHexData %d", count),
                    [=](CVeCmdManager& m) {
                        const ReadResult r = m.DirectReadHexData(count);
                        return resultText(r.code, r.count, r.data);
                    },
                    [=](PlainModel& x) { return x.readHex(count); });
                break;
            }
            case 3:
                call(
                    "DirectQueryDataInQueue",
                    [](CVeCmdManager& m) { return resultText(static_cast<std::uint32_t>(m.DirectQueryDataInQueue())); },
                    [](PlainModel& x) { return x.waiting(); });
                break;
            default: {
                const int duration = random_.between(0, 1200);
                call(
                    printed("RetriveComPortData 3 %d", duration),
                    [=](CVeCmdManager& m) { return resultText(0, m.RetriveComPortData(3, duration)); },
                    [=](PlainModel& x) { return x.collect(duration); });
            }
        }
    }

    void act() {
        const int choice = random_.between(1, 100);
        const Object& object =
            !isCalm() && random_.oneIn(60) && !settings_.compared ? kLargeObject : random_.oneOf(kObjects);
        constexpr std::array kRfSizes{0, 0, 2, 2, 5, 100, 101, 250};
        constexpr std::array kSynchronousModes{0u, 3u, 4u, 6u};
        constexpr std::array kTimeouts{50, 200, 500, 1000, 3000, 0, -1};
        if (choice <= 14)
            at();
        else if (choice <= 26)
            rf(random_.oneOf(kRfSizes));
        else if (choice <= 32)
            readObject(object);
        else if (choice <= 38)
            writeObject(object);
        else if (choice <= 41)
            readRange(object);
        else if (choice <= 44)
            writeRange(object);
        else if (choice <= 47)
            provision();
        else if (choice <= 51)
            hci();
        else if (choice <= 55)
            wifi();
        else if (choice <= 59)
            info();
        else if (choice <= 71)
            for (int i = random_.between(1, 4); i > 0; --i) fetch(!random_.oneIn(4));
        else if (choice <= 73)
            clear();
        else if (choice <= 79)
            chooseProperty();
        else if (choice <= 83)
            direct();
        else if (choice <= 92)
            switchMode(settings_.compared ? random_.oneOf(kSynchronousModes) : random_.below(7));
        else if (choice <= 95)
            setTimeout(random_.between(0, 7), isCalm() ? 3000 : random_.oneOf(kTimeouts));
        else if (choice <= 96)
            init();
        else if (choice <= 97)
            open();
        else if (choice <= 98)
            close();
        else if (choice <= 99)
            info();
        else
            listen();
    }

    // Confirmations pile up, more than a queue holds.
    void listen() {
        const int count = random_.between(90, 130);
        tell(printed("    %d confirmations in a row", count));
        for (int i = 0; i < count; ++i) {
            sendUnsolicited();
            if (model_.synchronous()) {
                letPass(3);
                settle();
                if (random_.oneIn(2)) getAt(2);
            } else {
                letPass(random_.oneIn(4) ? 12 : 3);
            }
        }
        busyFor(400);
    }

    const Settings settings_;
    Random random_;
    const Manner manner_;
    const bool usb_;
    ScriptedPlatform platform_;
    Recorder recorder_;
    TapedPlatform taped_;
    ScriptedPort& comm_;
    handset::Handset handset_;
    RoughLine line_;
    RoughLine& peer_;
    PlainModel model_;
    Ledger ledger_;
    std::shared_ptr<Listener> listener_;
    std::unique_ptr<CVeCmdManager> manager_;
    int step_ = 0;
    int segmentSize_ = 120;
    bool ending_ = false;
    std::uint64_t busyUntil_ = 0;
    unsigned serial_ = 0;
    std::uint64_t hash_ = 14695981039346656037ull;
    Outcome outcome_;
};

}  // namespace

Outcome converse(std::uint64_t seed, const Settings& settings) { return Conversation(seed, settings).run(); }

}  // namespace mova::conversation
