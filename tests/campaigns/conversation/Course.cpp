#include "campaigns/conversation/Course.h"

#include <cstdio>
#include <regex>

namespace mova::conversation {

namespace {

using oracle::Happening;
using oracle::LockHold;

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

class TapedListener : public ConfirmationEvents {
public:
    TapedListener(Recorder& recorder, Threading& threading) : recorder_(recorder), threading_(threading) {}
    void OnCpGetMovaCnf(std::int32_t type, std::int32_t length, const std::string& text) override {
        recorder_.raise({threading_.currentThreadId(), type, length, text});
    }

private:
    Recorder& recorder_;
    Threading& threading_;
};

// Of a compared conversation.
constexpr const char* kLogFile = "D:\\at.log";
constexpr const char* kTraceFile = "D:\\trace.log";
constexpr std::int64_t kStepGrid = 2000;  // milliseconds

std::string withoutTimes(const std::string& text) {
    static const std::regex times(R"(\[\d+/\d\d/\d\d-\d\d:\d\d:\d\d::\d{3}\]|\[T:-?\d+\])");
    return std::regex_replace(text, times, "[]");
}

}  // namespace

Course::Course(std::uint64_t seed, const Settings& settings)
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

Outcome Course::run() {
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

// --- the telling

void Course::tell(const std::string& text) {
    recorder_.see(Seen::Call, text);
    const std::string line = printed("%9.3f ms  ", static_cast<double>(platform_.now().count()) / 1000.0) + text;
    if (settings_.trace) std::printf("%s\n", line.c_str());
    for (const char c : line) hash_ = (hash_ ^ static_cast<unsigned char>(c)) * 1099511628211ull;
    outcome_.transcript.push_back(line);
}

std::string Course::shortened(const std::string& text) {
    constexpr std::size_t kShown = 160;
    return text.size() <= kShown ? text : text.substr(0, kShown) + printed("... (%zu)", text.size());
}

std::string Course::call(const std::string& name, const Act& act, const Expect& expect) {
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

void Course::settle() {
    if (settings_.trace) tellTape();
    model_.otherThreads();
    model_.checkEvents();
}

void Course::tellTape() const {
    for (const LockHold& hold : recorder_.tape().holds) {
        for (const Happening& h : hold.happenings) std::printf("        [%u] %s\n", hold.thread, describe(h).c_str());
    }
}

// What must be in calm, beyond what the model says.
void Course::truth(bool holds, const std::string& what) const {
    if (!holds) throw Mismatch("in calm: " + what);
}

// --- the beginning, the end

void Course::begin() {
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
    listener_ = std::make_shared<TapedListener>(recorder_, platform_.threading());
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
void Course::compare() {
    recorder_.keepAll();
    if (settings_.plainPauses) platform_.serial().setPlainPauses();
    manager_->Set_Log_File_Path(kLogFile);
    static_cast<void>(manager_->ActivateMovaLogging(kTraceFile, platform_.clock().tickCount(), 1));
    handset_.setBaudRate(0);
    comm_.setReadCap(0xFFFFFFFF);
    comm_.setInQueueCap(0xFFFFFFFF);
    comm_.transfersCompleteAtOnce();
}

std::vector<std::string> Course::seenByAll() {
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
void Course::shortenWaits() {
    if (isCalm() || random_.oneIn(6)) return;
    setTimeout(3, random_.between(100, 600));
    setTimeout(4, random_.between(100, 900));
}

// Counts that wrap in the middle of the conversation.
void Course::startTicksAt(std::uint32_t ticks) {
    tell(printed("    the tick count starts at %u", ticks));
    platform_.clock().setTickCount(ticks);
    model_.startTicksAt(ticks);
}

void Course::end() {
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
    truth(fetch(true).find("\"" + payload + "\"") != std::string::npos, "the confirmation of the RF request is there");
    close();
    platform_.advance(100);
    truth(platform_.threading().alive() == 0, "no thread is left");
    release();
}

void Course::release() {
    model_.nothingOutstanding();
    tell("    final release");
    manager_->FinalRelease();
    model_.finalRelease();
    manager_.reset();
    settle();
}

void Course::waitUntilReaderEnded() {
    constexpr std::uint32_t kLongest = 10000;
    if (!platform_.advanceUntil([this] { return platform_.threading().alive() == 0; }, kLongest))
        throw Mismatch("the reader thread does not end");
    settle();
    model_.readerIsGone();
}

void Course::rest() {
    const std::uint32_t pause = random_.oneIn(8) ? random_.below(1500) : random_.below(60);
    if (pause > 0) platform_.advance(pause);
    if (settings_.compared) platform_.advance(kStepGrid - static_cast<std::uint32_t>(platform_.elapsed() % kStepGrid));
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
void Course::letPass(std::uint32_t milliseconds) {
    constexpr std::uint32_t kLongEnough = 20;
    platform_.advance(settings_.compared ? kLongEnough + milliseconds / kLongEnough * kLongEnough : milliseconds);
}

void Course::setSegmentSize(int bytes) {
    segmentSize_ = bytes;
    handset_.protocol().setSegmentSize(static_cast<std::size_t>(bytes));
}

Outcome converse(std::uint64_t seed, const Settings& settings) { return Course(seed, settings).run(); }

}  // namespace mova::conversation
