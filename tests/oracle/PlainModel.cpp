#include "oracle/PlainModel.h"

#include <algorithm>

namespace mova::conversation {

namespace {

constexpr std::uint32_t kNoAnswer = 0x4004;
constexpr std::uint32_t kStopped = 0x10;
constexpr std::uint32_t kWaitFailed = 0x3006;
const char* const kFinal = "OK|ERROR";

int digitOf(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return 0;
}

// One byte from the one or two characters there.
unsigned byteAt(const std::string& text, std::size_t at) {
    if (at >= text.size()) return 0;
    if (at + 1 >= text.size()) return static_cast<unsigned>(digitOf(text[at]));
    return static_cast<unsigned>(digitOf(text[at]) * 16 + digitOf(text[at + 1]));
}

unsigned wordAt(const std::string& text, std::size_t at) { return byteAt(text, at) + 256 * byteAt(text, at + 2); }

std::string hexByte(unsigned value) { return printed("%02X", value & 0xFF); }
std::string hexWord(unsigned value) { return hexByte(value) + hexByte(value >> 8); }

std::string hexOf(const std::string& bytes) {
    std::string text;
    for (const char c : bytes) text += hexByte(static_cast<unsigned char>(c));
    return text;
}

std::string bytesOf(const std::string& hex) {
    std::string bytes;
    for (std::size_t i = 0; i < hex.size(); i += 2) bytes += static_cast<char>(byteAt(hex, i));
    return bytes;
}

unsigned xorOf(const std::string& hex) {
    unsigned sum = 0;
    for (std::size_t i = 0; i < hex.size(); i += 2) sum ^= byteAt(hex, i);
    return sum;
}

std::string frame(const std::string& payload) {
    const std::string body = hexWord(static_cast<unsigned>(payload.size() / 2 + 1)) + payload;
    return "AT*MOVA=" + body + hexByte(xorOf(body)) + "\r";
}

bool begins(const std::string& text, const char* with) { return text.rfind(with, 0) == 0; }

unsigned classOf(const std::string& line, const std::string& companion) {
    if (begins(line, "AT*MOVA=")) return 2;
    if (begins(line, "*MOVA=ACK") || begins(companion, "*MOVA=ACK")) return 4;
    if (!begins(line, "*MOVA=") || line.size() < 11) return 0;
    switch (byteAt(line, 10)) {
        case 0x80:
            return 3;
        case 0xA0:
            return 5;
        case 0xB0:
            return 6;
        default:
            return 1;
    }
}

bool confirms(unsigned kind) { return kind == 1 || kind == 3 || kind == 5 || kind == 6; }

struct Parsed {
    std::uint32_t error = 0;
    std::string payload;
};

Parsed parse(const std::string& line) {
    const std::string body = line.substr(6);
    if (body.size() < 7) return {0x3001, {}};
    const std::string covered = body.substr(0, body.size() - 2);
    const bool good = xorOf(covered) == byteAt(body, body.size() - 2);
    return {good ? 0u : 0x4011u, covered.substr(4)};
}

std::string rightTrimmed(std::string text) {
    while (!text.empty() && std::string(" \t\r\n\v\f").find(text.back()) != std::string::npos) text.pop_back();
    return text;
}

std::string trimmed(std::string text) {
    text = rightTrimmed(text);
    while (!text.empty() && std::string(" \t\r\n\v\f").find(text.front()) != std::string::npos) text.erase(0, 1);
    return text;
}

void replaceAll(std::string& text, const std::string& what, const std::string& with) {
    for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += with.size()) {
        text.replace(at, what.size(), with);
    }
}

std::string folded(std::string text) {
    replaceAll(text, "\r\n", "~");
    while (text.find("~~") != std::string::npos) replaceAll(text, "~~", "~");
    return text;
}

std::vector<std::string> splitAt(const std::string& text, const std::string& separator, std::string& rest) {
    std::vector<std::string> parts;
    std::size_t from = 0;
    for (std::size_t at; (at = text.find(separator, from)) != std::string::npos; from = at + separator.size()) {
        parts.push_back(text.substr(from, at - from));
    }
    rest = text.substr(from);
    return parts;
}

std::string lowered(std::string text) {
    for (char& c : text) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
    }
    return text;
}

std::uint32_t e2pStatus(unsigned status) {
    if (status == 0) return 0;
    if (status >= 2 && status <= 12) return 0x81FF + status;
    switch (status) {
        case 13:
            return 0x8313;
        case 14:
            return 0x8314;
        case 15:
            return 0x8310;
        case 16:
            return 0x8311;
        case 17:
            return 0x8312;
        case 18:
            return 0x8315;
        case 19:
            return 0x8316;
        case 20:
            return 0x8317;
        default:
            return 0x820C;
    }
}

}  // namespace

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
    std::string text = what + "\n  the tenure of thread " + std::to_string(tenure_.thread) + ":\n";
    const std::size_t size = tenure_.happenings.size();
    constexpr std::size_t kShown = 40;
    for (std::size_t i = next_ > kShown ? next_ - kShown : 0; i < std::min(size, next_ + 3); ++i) {
        text += (i == next_ ? "  > " : "    ") + describe(tenure_.happenings[i]) + "\n";
    }
    if (next_ >= size) text += "  > (its end)\n";
    throw Mismatch(text);
}

void PlainModel::otherThreads() {
    constexpr std::uint32_t kCaller = 1;
    while (!tape_.tenures().empty() && tape_.tenures().front().thread != kCaller) {
        enter();
        onReader_ = true;
        run(0, terminator_);
        leave();
        onReader_ = false;
    }
}

void PlainModel::checkEvents() {
    while (!tape_.raised().empty()) {
        const Raised raised = tape_.raised().front();
        tape_.raised().pop_front();
        auto& expected = toBeRaised_[raised.thread];
        if (expected.empty()) throw Mismatch("an event that nothing was received for: \"" + raised.text + "\"");
        const Raised due = expected.front();
        expected.pop_front();
        if (raised.type != due.type || raised.length != due.length || raised.text != due.text) {
            throw Mismatch("an event: expected \"" + due.text + "\", raised \"" + raised.text + "\"");
        }
        if (due.isConfirmation && onTold_) onTold_(due.text);
    }
}

void PlainModel::nothingOutstanding() {
    otherThreads();
    checkEvents();
    for (const auto& [thread, events] : toBeRaised_) {
        if (!events.empty()) throw Mismatch("an event that was never raised: \"" + events.front().text + "\"");
    }
}

void PlainModel::enter() {
    if (tape_.tenures().empty()) throw Mismatch("the call did not take the port's lock");
    tenure_ = std::move(tape_.tenures().front());
    tape_.tenures().pop_front();
    next_ = 0;
    inTenure_ = true;
    now_ = tenure_.since;
    traced_.clear();
}

void PlainModel::leave() {
    if (next_ < tenure_.happenings.size()) wrong("more is done than there is to do");
    if (traced_ != tenure_.traced) {
        std::string text = "the trace differs; expected:\n";
        for (const std::string& line : traced_) text += "    " + line + "\n";
        text += "  traced:\n";
        for (const std::string& line : tenure_.traced) text += "    " + line + "\n";
        wrong(text);
    }
    auto& events = toBeRaised_[tenure_.thread];
    events.insert(events.end(), outbox_.begin(), outbox_.end());
    outbox_.clear();
    inTenure_ = false;
}

bool PlainModel::comes(Act act) const {
    return next_ < tenure_.happenings.size() && tenure_.happenings[next_].act == act;
}

const Happening& PlainModel::take(Act act) {
    if (!comes(act)) wrong(std::string("expected: ") + nameOf(act));
    const Happening& happening = tenure_.happenings[next_++];
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

bool PlainModel::stopSeen() {
    const Happening& poll = take(Act::Poll);
    const bool expectable = !onReader_ && stop_ != Stop::Unknown;
    if (expectable && poll.ok != (stop_ == Stop::Up)) {
        --next_;
        wrong(stop_ == Stop::Up ? "the stop event must be set" : "the stop event must not be set");
    }
    return poll.ok;
}

// Somebody set the stop event in the middle of it. A reader thread sees it as well, takes it down and ends.
void PlainModel::stoppedInTransfer() {
    if (stop_ == Stop::Up) return;
    stop_ = reader_ == Reader::None ? Stop::Up : Stop::Unknown;
    if (reader_ != Reader::None) reader_ = Reader::Unknown;
}

// --- device

bool PlainModel::clearErrors(std::uint32_t* waiting) {
    for (int pass = 1;; ++pass) {
        const Happening& h = take(waiting ? Act::Count : Act::Clear);
        if (!h.ok) return false;
        const std::uint32_t bits = h.number;
        const std::uint32_t count = h.count;
        if (bits != 0) pause(10);
        if (pass > 10) return false;
        if (bits == 0) {
            if (waiting) *waiting = count;
            return true;
        }
    }
}

std::uint32_t PlainModel::setUp() {
    if (!take(Act::Queues).ok) return 0x4003;
    if (!take(Act::Timeouts).ok) return 0x4003;
    if (!take(Act::Properties).ok) return 0x4002;
    if (!take(Act::Settings).ok) return 0x4002;
    clearErrors(nullptr);
    if (!take(Act::Configure).ok) return 0x4003;
    const Happening& mask = take(Act::Mask);
    if (mask.number != 1) wrong("the event mask");
    return mask.ok ? 0 : 0x4201;
}

std::uint32_t PlainModel::openDevice() {
    device_ = take(Act::Open).ok;
    if (!device_) return 0x4000;
    std::uint32_t result = 0;
    for (int attempt = 0; attempt < 4; ++attempt) {
        if (attempt > 0) {
            closeDevice();
            pause(500);
            device_ = take(Act::Open).ok;
            result = 0x4000;
            if (!device_) continue;
            clearErrors(nullptr);
        }
        take(Act::CancelAll);
        result = setUp();
        if (result == 0) return 0;
    }
    closeDevice();
    return result;
}

std::uint32_t PlainModel::closeDevice() {
    if (!device_) return 0;
    if (take(Act::Mask).number != 0) wrong("the event mask at closing");
    if (!take(Act::Close).ok) return 0x4343;
    device_ = false;
    pause(500);
    return 0;
}

std::uint32_t PlainModel::read(std::uint32_t capacity, std::string& bytes) {
    bytes.clear();
    if (!device_ || capacity < 1) return 0x4000;
    clearErrors(nullptr);
    const Happening& begun = take(Act::BeginRead);
    if (begun.number != capacity) wrong(printed("expected: a read of %u bytes", capacity));
    if (!begun.ok) {
        closeDevice();
        return 0x4340;
    }
    if (static_cast<BeginResult>(begun.count) == BeginResult::Pending) {
        const auto outcome = static_cast<WaitResult>(take(Act::Await).count);
        if (outcome != WaitResult::Signalled) take(Act::Cancel);
        if (outcome == WaitResult::Stopped) {
            stoppedInTransfer();
            return kStopped;
        }
        if (outcome == WaitResult::TimedOut) return kNoAnswer;
        if (outcome == WaitResult::Failed) return kWaitFailed;
    }
    const Happening& finished = take(Act::Finish);
    if (!finished.ok) return 0x4340;
    bytes = finished.text;
    return 0;
}

std::uint32_t PlainModel::write(const std::string& bytes, std::uint32_t& written) {
    written = 0;
    if (!device_) return 0x4000;
    clearErrors(nullptr);
    const Happening& begun = take(Act::BeginWrite);
    if (begun.text != bytes) {
        --next_;
        wrong("expected to be written: \"" + bytes + "\"");
    }
    if (!begun.ok) {
        closeDevice();
        return 0x4341;
    }
    if (static_cast<BeginResult>(begun.count) == BeginResult::Pending) {
        const auto outcome = static_cast<WaitResult>(take(Act::Await).count);
        if (outcome != WaitResult::Signalled) take(Act::Cancel);
        if (outcome == WaitResult::Stopped) {
            stoppedInTransfer();
            return kStopped;
        }
        if (outcome == WaitResult::TimedOut) return 0x4005;
        if (outcome == WaitResult::Failed) return kWaitFailed;
    }
    const Happening& finished = take(Act::Finish);
    if (!finished.ok) {
        closeDevice();
        return 0x4341;
    }
    written = finished.count;
    if (written < bytes.size()) {
        closeDevice();
        pause(500);
        openDevice();
        return 0x4010;
    }
    return 0;
}

// --- port

std::uint32_t PlainModel::open() {
    stop_ = Stop::Down;
    closeDevice();
    const std::uint32_t result = openDevice();
    handle_ = device_;
    if (result == 0) openFlag_ = true;
    return result;
}

std::uint32_t PlainModel::startReader() {
    stop_ = Stop::Down;
    const bool mayRun = reader_ == Reader::Ending || reader_ == Reader::Unknown;
    if (reader_ == Reader::Runs || (mayRun && !comes(Act::Start))) {
        if (mayRun) reader_ = Reader::Runs;
        return 0;
    }
    if (!take(Act::Start).ok) {
        reader_ = Reader::None;
        return 0x3005;
    }
    reader_ = Reader::Runs;
    return 0;
}

std::uint32_t PlainModel::objectWrite(const std::string& bytes, std::uint32_t& written) {
    written = 0;
    if (!initialised_) return 0x4317;
    if (!handle_) {
        const std::uint32_t opened = open();
        if (opened != 0) return opened;
    }
    return device_ ? write(bytes, written) : 0;
}

std::uint32_t PlainModel::pacedWrite(const std::string& bytes, std::uint32_t limit) {
    const std::uint32_t start = ticks();
    std::uint32_t written = 0;
    if (usb_ && initialised_) return objectWrite(bytes, written);
    for (std::size_t sent = 0; sent < bytes.size();) {
        const std::uint32_t result = objectWrite(bytes.substr(sent, 1), written);
        if (result != 0) return result;
        if (!device_) return 0;
        sent += written;
        if (sent == bytes.size()) break;
        if (stopSeen()) return kStopped;
        if (start + limit < ticks()) return 0x4005;
    }
    return 0;
}

bool PlainModel::readable() { return openFlag_ && (device_ || open() == 0); }

// --- answers

std::uint32_t PlainModel::run(std::uint32_t milliseconds, const std::string& terminators) {
    std::string last;
    std::vector<std::string> wanted = splitAt(terminators, "|", last);
    wanted.push_back(last);
    bool found = terminators.empty();
    const std::uint32_t deadline = ticks() + milliseconds;
    for (bool first = true;; first = false) {
        if (stopSeen()) return found ? kStopped : kNoAnswer;
        std::uint32_t count = 0;
        if (readable()) clearErrors(&count);
        if (count > 0 || (first && !pending_.empty())) {
            std::string bytes;
            if (count > 0 && readable()) read(std::min(count, 2048u), bytes);
            if (onRead_) onRead_(bytes);
            std::string rest;
            std::vector<std::string> lines = splitAt(pending_ + bytes, "\r\n", rest);
            pending_.clear();
            std::string terminator;
            std::size_t at = lines.size();
            if (!terminators.empty()) {
                for (at = 0; at < lines.size(); ++at) {
                    terminator = rightTrimmed(lines[at]);
                    if (!terminator.empty() && std::find(wanted.begin(), wanted.end(), terminator) != wanted.end())
                        break;
                }
                found = at < lines.size();
                if (!found) terminator.clear();
                for (std::size_t i = found ? at + 1 : 0; i < lines.size(); ++i) pending_ += lines[i] + "\r\n";
                lines.resize(found ? at : 0);
            }
            if (found) finish(lines, terminator);
            pending_ += rest;
        }
        if (found) return 0;
        pause(1);
        if (milliseconds == 0 || static_cast<std::int32_t>(deadline) < static_cast<std::int32_t>(ticks())) {
            return kNoAnswer;
        }
    }
}

void PlainModel::finish(const std::vector<std::string>& given, const std::string& terminator) {
    ++recordsMade_;
    Record record;
    record.second = terminator;
    for (const std::string& line : given) record.first += line + "\r\n";
    while (!record.first.empty() && (record.first.front() == '\r' || record.first.front() == '\n'))
        record.first.erase(0, 1);
    std::string rest;
    const std::vector<std::string> lines = splitAt(record.first, "\r\n", rest);
    std::string leftOver;
    unsigned block = classOf(lines.empty() ? "" : lines[0], terminator);
    unsigned previousSegment = 0;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const std::string& line = lines[i];
        const unsigned kind = classOf(line, terminator);
        if (i > 0 && !confirms(block) && confirms(kind)) {
            if (block == 2) trace("Mv-ECHO " + lines[i - 1]);
            block = kind;
        } else if (i > 0 && confirms(block) && kind != block) {
            leftOver += line + "\r\n";
            continue;
        }
        if (!confirms(block)) continue;
        const Parsed parsed = parse(line);
        if (parsed.error == 0x4011) trace("Mv-A %Mova Checksum Error!");
        if (block == 1) {
            record.error = parsed.error;
            record.hex = parsed.payload;
            continue;
        }
        std::uint32_t error = parsed.error;
        const unsigned type = byteAt(parsed.payload, 0);
        if (error == 0 && (parsed.payload.size() < 6 || (type != 0x80 && type != 0xA0 && type != 0xB0))) error = 0x3001;
        if (record.error == 0) record.error = error;
        if (error != 0) continue;
        const unsigned number = byteAt(parsed.payload, 4);
        if (number == previousSegment + 1) record.hex += parsed.payload.substr(6);
        previousSegment = number;
    }
    leftOver += rest;
    record.kind = block;
    record.valid = record.error == 0;
    pending_ = leftOver + pending_;
    if (!record.valid) {
        trace("Mv-R-Error " + record.first + printed(" -- 0x%x", record.error));
    } else if (record.kind == 0 || record.kind == 2) {
        trace("AT-R " + folded(record.first + record.second + (pending_.empty() ? "" : " %%Extra :" + pending_)));
    }
    file(record);
}

void PlainModel::file(const Record& record) {
    if (!unsolicited_) {
        if (queue_.size() > 100) queue_.clear();
        queue_.push_back(record);
        return;
    }
    std::string text = record.first;
    if (record.valid) {
        if (record.kind == 0 || record.kind == 2) text = folded(record.first + record.second);
        if (record.kind == 1 || record.kind == 3) text = record.hex;
        if (record.kind == 5 || record.kind == 6) text.clear();
    }
    outbox_.push_back(
        {tenure_.thread, 1, static_cast<std::int32_t>(text.size()), text, record.valid && record.kind == 1});
}

void PlainModel::clearQueue(bool purge) {
    if (purge && !pending_.empty()) trace("AT-Purge " + pending_);
    if (purge) pending_.clear();
    for (const Record& record : queue_) trace("AT-Purge " + record.hex + record.first + record.second);
    queue_.clear();
}

void PlainModel::discardInput() {
    if (!handle_) return;
    run(0, "");
    if (device_ && take(Act::Purge).number != 12) wrong("what is purged");
    pending_.clear();
}

void PlainModel::clearQueueAndPort() {
    run(0, "");
    discardInput();
    clearQueue(true);
}

PlainModel::Record PlainModel::fetchKind(unsigned kind) {
    for (std::size_t i = 0; i < queue_.size(); ++i) {
        if (queue_[i].kind != kind) continue;
        Record record = queue_[i];
        queue_.erase(queue_.begin() + static_cast<std::ptrdiff_t>(i));
        // The one directly behind is left alone; what follows that one is joined.
        while (kind == 0 && i + 1 < queue_.size() && queue_[i + 1].kind == 0) {
            record.first += queue_[i + 1].first;
            queue_.erase(queue_.begin() + static_cast<std::ptrdiff_t>(i) + 1);
        }
        return record;
    }
    return {};
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
    const bool ended = tenure_.since < askedToEnd + kLongestWait;  // the one that ends takes the stop event down
    if (reader_ != Reader::None) {
        stop_ = ended && reader_ != Reader::Unknown ? Stop::Down : Stop::Unknown;
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

// --- AT

std::uint32_t PlainModel::at(const std::string& command) {
    if (synchronous_) {
        discardInput();
        clearQueue(true);
    }
    if (command.empty() || command.size() > 4094) return 0x2007;
    ++exchanges_;
    return pacedWrite(command + "\r", timeouts_[5]);
}

std::string PlainModel::sendAt(const std::string& command) {
    otherThreads();
    enter();
    const std::uint32_t result = at(command);
    leave();
    return resultText(result);
}

std::string PlainModel::getAt(int option) {
    otherThreads();
    enter();
    if (!synchronous_) {
        leave();
        return resultText(0x4014, 0, "");
    }
    if (option != 2) clearQueue(true);
    run(0, "");
    const Record record = fetchKind(0);
    std::string answer;
    if (record.valid) {
        const std::string separator = record.first.empty() || record.second.empty() ? "" : "\r\n";
        answer = record.second;
        if (option == 1 || option == 2) answer = record.first + separator + record.second;
        if (option == 1) {
            if (!record.second.empty() && !pending_.empty()) answer += separator;
            answer += pending_;
            pending_.clear();
        }
        answer = folded(answer);
    }
    leave();
    return resultText(0, static_cast<std::int64_t>(answer.size()), answer);
}

std::uint32_t PlainModel::wake() {
    const std::string wakeFrame("AT*\x02\x00\x03\x01\x00\x00\x0A\x0D", 11);
    at("AT");
    std::uint32_t result = run(150, kFinal);
    if (result != kNoAnswer) return result;
    for (int attempt = 0; attempt < 3; ++attempt) {
        bool awake = false;
        result = pacedWrite(wakeFrame, timeouts_[5]);
        if (result == 0) {
            run(500, kFinal);
            result = at("AT");
            awake = result == 0 && run(150, kFinal) == 0;
        }
        pause(1000);
        if (awake || result != 0) break;
    }
    return result;
}

std::string PlainModel::property(std::uint32_t id, std::uint32_t parameter) {
    otherThreads();
    enter();
    std::uint32_t result = 0x3001;
    const bool waits = id > 100;
    const std::uint32_t kind = waits ? id - 100 : id;
    const std::string flag = parameter == 1 ? "1" : "0";
    const std::string commands[] = {"",
                                    "ATE" + flag,
                                    "AT",
                                    "AT*UARTSWAP",
                                    "ATD112;",
                                    "ATH",
                                    "AT+CFUN=1",
                                    "AT+COPS=0",
                                    "AT*SLEEPMODE=1",
                                    "AT*SLEEPMODE=0",
                                    "ATS0=" + std::to_string(static_cast<std::int32_t>(parameter)),
                                    "<j",
                                    "AT*BYPASS=" + flag,
                                    "<k",
                                    "AT*BOARDTEST=" + flag};
    constexpr std::uint32_t kWaits[] = {0,    800,  0,    1500, 8000, 1500, 1500, 1500,
                                        1000, 1000, 1000, 100,  1000, 100,  1000};
    if (id == 102) {
        result = wake();
    } else if (kind >= 1 && kind <= 14 && id != 100) {
        if (id == 111 || id == 113) clearQueueAndPort();
        result = at(commands[kind]);
        if (id == 2) result = pacedWrite(std::string("AT*\x02\x00\x03\x01\x00\x00\x0A\x0D", 11), timeouts_[5]);
        if (!waits) {
            pause(id == 10 ? 200 : 100);
        } else if (result == 0) {
            result = run(kWaits[kind], id == 111 ? ">j|OK" : id == 113 ? ">k" : kFinal);
        }
    }
    leave();
    return resultText(result);
}

// --- requests

std::string PlainModel::rf(unsigned service, unsigned access, unsigned index, const std::string& data) {
    otherThreads();
    enter();
    if (synchronous_) {
        discardInput();
        clearQueue(true);
    }
    const std::size_t segments = data.size() <= 100 ? 1 : (data.size() + 99) / 100;
    std::uint32_t result = 0;
    for (std::size_t number = 1; number <= segments && result == 0; ++number) {
        const std::string part = data.substr((number - 1) * 100, 100);
        std::string payload =
            hexByte(service) + hexByte(access) + hexWord(index) + hexWord(static_cast<unsigned>(part.size()));
        payload +=
            segments == 1 ? "0000" : hexByte(static_cast<unsigned>(number)) + hexByte(static_cast<unsigned>(segments));
        ++exchanges_;
        result = pacedWrite(frame(payload + hexOf(part)), timeouts_[1]);
        if (result != 0 || !synchronous_) continue;
        const std::uint32_t start = ticks();
        for (;;) {
            result = run(timeouts_[3] / 10, terminator_);
            if (result == 0) break;
            clearQueue(false);
            // A wait that was stopped is not begun again.
            if (stopSeen()) break;
            if (static_cast<std::int32_t>(start + timeouts_[3]) < static_cast<std::int32_t>(ticks())) break;
        }
    }
    leave();
    return resultText(result);
}

std::uint32_t PlainModel::sendText(unsigned family, const std::string& message) {
    const std::size_t segments = (message.size() + 239) / 240;
    discardInput();
    clearQueue(true);
    std::uint32_t result = 0;
    for (std::size_t number = 1; number <= segments && result == 0; ++number) {
        ++exchanges_;
        result = pacedWrite(frame(hexByte(family) + hexByte(static_cast<unsigned>(segments)) +
                                  hexByte(static_cast<unsigned>(number)) + message.substr((number - 1) * 240, 240)),
                            timeouts_[1]);
        if (result == 0) result = run(timeouts_[4], "*MOVA=ACK");
        if (result == 0) result = run(timeouts_[4], "OK");
    }
    return result;
}

std::uint32_t PlainModel::e2pRequest(unsigned command, unsigned object, unsigned record, const std::string& data,
                                     std::string& reply) {
    reply.clear();
    const std::uint32_t sent = sendText(0x80, hexWord(static_cast<unsigned>(data.size() / 2 + 6)) + hexByte(command) +
                                                  "00" + hexWord(object) + hexWord(record) + data);
    if (sent != 0) return sent;
    std::string text = fetchKind(3).hex;
    const bool whole = text.size() >= 16;
    if (!whole) text.assign(16, '0');
    if (byteAt(text, 4) != command) return 0x4203;
    if (byteAt(text, 6) != 0) return e2pStatus(byteAt(text, 6));
    if (wordAt(text, 8) != object) return 0x4204;
    if (wordAt(text, 12) != record) return 0x4205;
    const std::string replied = text.substr(16);
    if (command == 0x81 || command == 0x82 || command == 0x84 || command == 0x85) {
        if (replied.size() != data.size()) return 0x4207;
        if (lowered(replied) != lowered(data)) return 0x4206;
    }
    reply = replied;
    return 0;
}

std::string PlainModel::e2p(unsigned command, unsigned object, unsigned record, const std::string& data) {
    otherThreads();
    enter();
    std::string reply;
    const std::uint32_t result = e2pRequest(command, object, record, data, reply);
    leave();
    return result == 0 ? resultText(result, reply) : resultText(result, std::nullopt);
}

std::uint32_t PlainModel::readRange(unsigned object, unsigned record, int start, int length, std::string& part) {
    std::string whole;
    const std::uint32_t result = e2pRequest(0x80, object, record, "", whole);
    part.clear();
    if (result == 0 && static_cast<std::size_t>(start) < whole.size()) {
        part = whole.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(length));
    }
    return result;
}

std::uint32_t PlainModel::writeRange(unsigned object, unsigned record, int start, int& length, const std::string& data,
                                     bool& known) {
    std::string whole;
    const std::uint32_t result = e2pRequest(0x80, object, record, "", whole);
    known = result == 0;
    if (result != 0) return result;
    const auto from = std::min(static_cast<std::size_t>(start), whole.size());
    length = static_cast<int>(std::min(static_cast<std::size_t>(length), whole.size() - from));
    for (std::size_t i = 0; i < std::min(static_cast<std::size_t>(length), data.size()); ++i) whole[from + i] = data[i];
    std::string echoed;
    return e2pRequest(0x81, object, record, whole, echoed);
}

std::string PlainModel::e2pReadRange(unsigned object, unsigned record, int start, int length) {
    otherThreads();
    enter();
    std::string part;
    const std::uint32_t result = readRange(object, record, start, length, part);
    leave();
    if (result != 0) return resultText(result, -1, std::nullopt);
    return resultText(result, static_cast<std::int64_t>(part.size()), part);
}

std::string PlainModel::e2pWriteRange(unsigned object, unsigned record, int start, int length,
                                      const std::string& data) {
    otherThreads();
    enter();
    bool known = false;
    const std::uint32_t result = writeRange(object, record, start, length, data, known);
    leave();
    return resultText(result, known ? length : -1, std::nullopt);
}

std::string PlainModel::hci(int option, const std::string& command) {
    otherThreads();
    enter();
    timeouts_[4] = option == 1 ? 10000 : 4000;
    std::uint32_t result = 0x4305;
    std::string reply;
    if ((option >= 0 && option <= 5) || option == 16) {
        const std::string sent = option >= 1 && option <= 3 ? "" : command;
        result = sendText(
            0xA0, hexWord(static_cast<unsigned>(sent.size() / 2)) + hexByte(static_cast<unsigned>(option)) + sent);
        if (result == 0) {
            const bool any = std::any_of(queue_.begin(), queue_.end(), [](const Record& r) { return r.kind == 5; });
            const std::string text = fetchKind(5).hex;
            const unsigned echoed = text.size() < 6 ? 0 : byteAt(text, 4);
            if (!any || echoed != static_cast<unsigned>(option)) {
                result = 0x4203;
            } else if ((option == 1 || option == 2) && (text.size() < 8 || text.substr(6, 2) != "00")) {
                result = 0xD303;
            } else {
                reply = text.size() < 6 ? "" : text.substr(6);
            }
        }
    }
    leave();
    return result == 0 ? resultText(result, reply) : resultText(result, std::nullopt);
}

std::string PlainModel::wifi(unsigned command, const std::string& parameter) {
    otherThreads();
    enter();
    std::string reply;
    std::uint32_t result =
        sendText(0xB0, hexByte(command) + "00" + hexWord(static_cast<unsigned>(parameter.size() / 2)) + parameter);
    if (result == 0) {
        const bool any = std::any_of(queue_.begin(), queue_.end(), [](const Record& r) { return r.kind == 6; });
        const std::string text = fetchKind(6).hex;
        const bool whole = text.size() >= 8;
        const unsigned status = whole ? byteAt(text, 2) : 0;
        if (!any || (whole ? byteAt(text, 0) : 0) != command) {
            result = 0x4203;
        } else if (status == 1 || status == 2) {
            result = 0xD37F + status;
        } else if (whole) {
            reply = text.substr(8);
        }
    }
    leave();
    return result == 0 ? resultText(result, reply) : resultText(result, std::nullopt);
}

std::string PlainModel::info(int option, int access, const std::string& value) {
    otherThreads();
    enter();
    clearQueueAndPort();
    std::uint32_t result = 0x4305;
    std::string text;
    const char* const question = option == 0 ? "AT%V" : option == 2 ? "ATD*#06#" : option == 10 ? "AT%OTP?" : nullptr;
    if (question) {
        result = at(question);
        if (result == 0) result = run(1500, kFinal);
        Record record;
        if (result == 0) record = fetchKind(0);
        text = record.first;
        if (option == 0) replaceAll(text, "\r\n", "~");
        if (option == 2) text = rightTrimmed(text);
        if (option == 10) text = trimmed(text);
        if (option == 10 && result == 0 && record.second == "ERROR") result = 0x6300;
    } else if ((option == 3 || option == 6) && (access == 0 || access == 1)) {
        const int start = option == 3 ? 40 : 80;
        std::string field;
        result = readRange(4099, 1, start, 40, field);
        if (result == 0 && access == 0) {
            if (field.size() >= 2 && field.substr(0, 2) != "FF") text = bytesOf(field.substr(2, 2 * byteAt(field, 0)));
        } else if (result == 0) {
            const std::string encoded = hexByte(static_cast<unsigned>(value.size())) + hexOf(value);
            field.replace(0, encoded.size(), encoded);
            int length = 40;
            bool known = false;
            result = writeRange(4099, 1, start, length, field, known);
            if (result == 0) text = value;
        }
    }
    leave();
    return resultText(result, text);
}

// --- queue and raw access

std::string PlainModel::fetch(bool asText) {
    otherThreads();
    enter();
    const Record record = fetchKind(1);
    leave();
    const std::string remained = printed("left %zu ", queue_.size());
    if (!record.valid) return remained + resultText(0, 0, "");
    const std::size_t bytes = record.hex.size() / 2;
    if (asText) return remained + resultText(0, static_cast<std::int64_t>(record.hex.size()), record.hex);
    return remained + resultText(0, static_cast<std::int64_t>(bytes), hexOf(bytesOf(record.hex.substr(0, 2 * bytes))));
}

std::string PlainModel::clear() {
    otherThreads();
    enter();
    clearQueueAndPort();
    leave();
    return {};
}

std::string PlainModel::writeHex(const std::string& hex, int count) {
    otherThreads();
    enter();
    const std::string bytes = bytesOf(hex.substr(0, 2 * static_cast<std::size_t>(count)));
    std::uint32_t written = 0;
    std::uint32_t result = initialised_ ? 0 : 0x4317;
    if (result == 0 && !handle_) result = open();
    if (result == 0) result = write(bytes, written);
    leave();
    return resultText(result, written, std::nullopt);
}

std::string PlainModel::writeArray(const std::string& bytes, int count) {
    otherThreads();
    enter();
    std::uint32_t written = 0;
    objectWrite(bytes.substr(0, static_cast<std::size_t>(count)), written);
    leave();
    return resultText(0, written, std::nullopt);
}

std::string PlainModel::readHex(int count) {
    otherThreads();
    enter();
    std::uint32_t result = initialised_ ? 0 : 0x4317;
    if (result == 0 && !device_) result = open();
    std::string bytes;
    if (result == 0) result = read(static_cast<std::uint32_t>(count), bytes);
    leave();
    if (bytes.empty()) return resultText(result, 0, std::nullopt);
    return resultText(result, static_cast<std::int64_t>(bytes.size()), hexOf(bytes));
}

std::string PlainModel::waiting() {
    otherThreads();
    enter();
    std::uint32_t count = 0;
    if (initialised_ && (device_ || open() == 0)) clearErrors(&count);
    leave();
    return resultText(count);
}

std::string PlainModel::collect(int duration) {
    otherThreads();
    enter();
    std::optional<std::string> result;
    if (device_) {
        const std::uint32_t deadline = ticks() + static_cast<std::uint32_t>(std::min(duration, 1000));
        std::string collected;
        while (static_cast<std::int32_t>(ticks() - deadline) < 0) {
            std::uint32_t count = 0;
            if (initialised_ && (device_ || open() == 0)) clearErrors(&count);
            if (count == 0) {
                const Happening& wait = take(Act::Poll);
                if (wait.number != 25) wrong("expected: a wait of 25 ms");
                if (wait.ok) {
                    leave();
                    return resultText(0, std::nullopt);
                }
                continue;
            }
            const auto room = static_cast<std::uint32_t>(2048 - collected.size());
            std::string bytes;
            if (room > 0 && (device_ || open() == 0)) read(std::min(count, room), bytes);
            if (bytes.empty()) pause(1);
            collected += bytes;
        }
        result = collected.empty() ? "NULL" : hexOf(collected);
    }
    leave();
    return resultText(0, result);
}

}  // namespace mova::conversation
