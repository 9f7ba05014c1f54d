#include "oracle/PlainModel.h"

#include <algorithm>
#include <utility>

#include "oracle/Text.h"

namespace mova::oracle {

namespace {
constexpr std::uint32_t kCaller = 1;  // thread
}

std::string resultText(std::uint32_t code) { return printed("code 0x%X", code); }

std::string resultText(std::uint32_t code, const std::optional<std::string>& text) {
    return resultText(code) + (text ? " \"" + *text + "\"" : " -");
}

std::string resultText(std::uint32_t code, std::int64_t count, const std::optional<std::string>& text) {
    return resultText(code) + printed(" count %lld", static_cast<long long>(count)) +
           (text ? " \"" + *text + "\"" : " -");
}

// --- tape

void PlainModel::wrong(const std::string& what) const {
    std::string text = what + "\n  the lock, held by thread " + std::to_string(hold_.thread) + ":\n";
    const std::size_t size = hold_.happenings.size();
    constexpr std::size_t kShown = 40;
    for (std::size_t i = next_ > kShown ? next_ - kShown : 0; i < std::min(size, next_ + 3); ++i) {
        text += (i == next_ ? "  > " : "    ") + describe(hold_.happenings[i]) + "\n";
    }
    if (next_ >= size) text += "  > (its end)\n";
    throw Mismatch(text);
}

void PlainModel::otherThreads() {
    while (!tape_.holds.empty() && tape_.holds.front().thread != kCaller) {
        enter();
        if (std::exchange(readerLetGo_, false)) {
            leave();
            continue;
        }
        if (!comes(Act::Poll)) {  // a look whether there is anything to do, in a long rest also at the port
            std::uint32_t count = 0;
            if (comes(Act::Count)) clearErrors(&count);
            leave();
            continue;
        }
        onReader_ = true;
        run(0, terminator_);
        onReader_ = false;
        if (!readerLetGo_) leave();
    }
}

void PlainModel::checkEvents() {
    while (!tape_.raised.empty()) {
        const Raised raised = tape_.raised.front();
        tape_.raised.pop_front();
        if (toBeRaised_.empty()) throw Mismatch("an event that nothing was received for: \"" + raised.text + "\"");
        const Raised due = toBeRaised_.front();
        toBeRaised_.pop_front();
        if (raised.type != due.type || raised.length != due.length || raised.text != due.text) {
            throw Mismatch("an event: expected \"" + due.text + "\", raised \"" + raised.text + "\"");
        }
        if (due.isConfirmation && onTold_) onTold_(due.text);
    }
}

void PlainModel::nothingOutstanding() {
    otherThreads();
    checkEvents();
    if (!toBeRaised_.empty()) throw Mismatch("an event that was never raised: \"" + toBeRaised_.front().text + "\"");
}

void PlainModel::enter() {
    if (tape_.holds.empty()) throw Mismatch("the call did not take the port's lock");
    hold_ = std::move(tape_.holds.front());
    tape_.holds.pop_front();
    next_ = 0;
    now_ = hold_.since;
    traced_.clear();
}

void PlainModel::leave() {
    if (next_ < hold_.happenings.size()) wrong("more is done than there is to do");
    if (traced_ != hold_.traced) {
        std::string text = "the trace differs; expected:\n";
        for (const std::string& line : traced_) text += "    " + line + "\n";
        text += "  traced:\n";
        for (const std::string& line : hold_.traced) text += "    " + line + "\n";
        wrong(text);
    }
}

// No lock is held while an event is raised. What a caller's exchange does goes on in its next hold; the reader thread
// has looked at nothing meanwhile, so that it took no answer of that exchange. The reader's own pass is over.
void PlainModel::letGoToRaise() {
    leave();
    if (onReader_) {
        readerLetGo_ = true;
        return;
    }
    while (!tape_.holds.empty() && tape_.holds.front().thread != kCaller) {
        enter();
        leave();
        readerLetGo_ = false;
    }
    enter();
}

bool PlainModel::comes(Act act) const { return next_ < hold_.happenings.size() && hold_.happenings[next_].act == act; }

const Happening& PlainModel::take(Act act) {
    if (!comes(act)) wrong(std::string("expected: ") + nameOf(act));
    const Happening& happening = hold_.happenings[next_++];
    now_ = happening.when;
    return happening;
}

void PlainModel::pause(std::uint32_t milliseconds) {
    const std::uint64_t before = now_;
    const Happening& sleep = take(Act::Sleep);
    if (sleep.number != milliseconds || now_ < before + milliseconds * 1000ull) {
        --next_;
        wrong(printed("expected: a pause of %u ms", milliseconds));
    }
}

// The time between two looks at the line. Bytes may end it early, and the stop event does: then it is true. While the
// line trickles it is a wait for the stop event alone.
bool PlainModel::idle(std::uint32_t milliseconds) {
    const std::uint64_t before = now_;
    const bool forBytes = comes(Act::Input);
    const Happening& wait = take(forBytes ? Act::Input : Act::Poll);
    if (wait.number != milliseconds) wrong(printed("expected: a wait of %u ms", milliseconds));
    const auto ended = static_cast<Waited>(wait.count);
    if (forBytes && ended == Waited::Failed) {
        pause(0);
        return false;
    }
    if (forBytes && ended == Waited::Signalled) return false;
    const bool stopped = forBytes ? ended == Waited::Stopped : wait.ok;
    const bool isShort = now_ < before + milliseconds * 1000ull;
    if (!stopped && isShort && comes(Act::Sleep)) {
        pause(milliseconds);  // the wait itself failed
    } else if (!stopped && isShort) {
        wrong("a wait that is over too early");
    }
    checkStop(stopped);
    return stopped;
}

bool PlainModel::stopSeen() {
    const bool seen = take(Act::Poll).ok;
    checkStop(seen);
    return seen;
}

void PlainModel::checkStop(bool seen) {
    const bool expectable = !onReader_ && stop_ != Stop::Unknown;
    if (expectable && seen != (stop_ == Stop::Up)) {
        --next_;
        wrong(stop_ == Stop::Up ? "the stop event must be set" : "the stop event must not be set");
    }
}

// Somebody set the stop event in the middle of it. A reader thread sees it as well, takes it down and ends.
void PlainModel::stoppedInTransfer() {
    if (stop_ == Stop::Up) return;
    stop_ = reader_ == Reader::None ? Stop::Up : Stop::Unknown;
    if (reader_ != Reader::None) reader_ = Reader::Unknown;
}

// --- lifecycle

std::string PlainModel::init() {
    otherThreads();
    enter();
    clearQueue(true);
    initialised_ = true;
    std::uint32_t result = open();
    if (result == 0 && !synchronous_) result = startReader();
    leave();
    return resultText(result);
}

std::string PlainModel::openPort() {
    otherThreads();
    enter();
    std::uint32_t result = open();
    if (result == 0 && !synchronous_) result = startReader();
    leave();
    return resultText(result);
}

std::string PlainModel::closePort() {
    otherThreads();
    enter();
    clearQueue(true);
    stop_ = reader_ == Reader::None ? Stop::Up : Stop::Unknown;  // a reader that ends takes it down
    if (reader_ != Reader::None) reader_ = Reader::Ending;
    const std::uint32_t result = closeDevice();
    handle_ = device_;
    if (result == 0) openFlag_ = false;
    leave();
    return resultText(result);
}

std::string PlainModel::switchMode(std::uint32_t option) {
    otherThreads();
    enter();
    synchronous_ = !(option == 1 || option == 2 || option == 5);
    unsolicited_ = option == 1;
    terminator_ = option >= 3 && option <= 5 ? "OK" : "";
    if (!synchronous_) {
        startReader();
        leave();
        return resultText(0);
    }
    leave();
    const std::uint64_t askedToEnd = now_;
    otherThreads();
    enter();
    constexpr std::uint64_t kLongestWait = 2000000;
    const bool ended = hold_.since < askedToEnd + kLongestWait;  // the one that ends takes the stop event down
    if (reader_ != Reader::None) {
        stop_ = reader_ != Reader::Unknown ? Stop::Down : Stop::Unknown;
        reader_ = ended ? Reader::None : Reader::Ending;
    }
    clearQueue(false);
    discardInput();
    leave();
    return resultText(0);
}

std::string PlainModel::setTimeout(int option, std::int32_t milliseconds) {
    otherThreads();
    enter();
    if (option >= 1 && option <= 6) {
        timeouts_[option] = milliseconds < 1 || milliseconds > 200000 ? 500 : static_cast<std::uint32_t>(milliseconds);
    }
    leave();
    return {};
}

std::string PlainModel::isOpen() {
    otherThreads();
    enter();
    leave();
    return resultText(device_ ? 1 : 0);
}

std::string PlainModel::finalRelease() {
    otherThreads();
    enter();
    if (device_) closeDevice();
    leave();
    reader_ = Reader::None;
    return {};
}

}  // namespace mova::oracle
