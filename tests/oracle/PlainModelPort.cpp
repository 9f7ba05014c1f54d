#include <algorithm>

#include "oracle/Frames.h"
#include "oracle/PlainModel.h"
#include "oracle/Text.h"

namespace mova::oracle {

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
    if (static_cast<Begun>(begun.count) == Begun::Pending) {
        const auto outcome = static_cast<Waited>(take(Act::Await).count);
        if (outcome != Waited::Signalled) take(Act::Cancel);
        if (outcome == Waited::Stopped) {
            stoppedInTransfer();
            return kStopped;
        }
        if (outcome == Waited::TimedOut) return kNoAnswer;
        if (outcome == Waited::Failed) return kWaitFailed;
    }
    const Happening& finished = take(Act::Finish);
    if (!finished.ok) return 0x4340;
    bytes = finished.text;
    return 0;
}

std::uint32_t PlainModel::write(const std::string& bytes, std::uint32_t& written, bool looksAtErrors) {
    written = 0;
    if (!device_) return 0x4000;
    if (looksAtErrors) clearErrors(nullptr);
    const Happening& begun = take(Act::BeginWrite);
    if (begun.text != bytes) {
        --next_;
        wrong("expected to be written: \"" + bytes + "\"");
    }
    if (!begun.ok) {
        closeDevice();
        return 0x4341;
    }
    if (static_cast<Begun>(begun.count) == Begun::Pending) {
        const auto outcome = static_cast<Waited>(take(Act::Await).count);
        if (outcome != Waited::Signalled) take(Act::Cancel);
        if (outcome == Waited::Stopped) {
            stoppedInTransfer();
            return kStopped;
        }
        if (outcome == Waited::TimedOut) return 0x4005;
        if (outcome == Waited::Failed) return kWaitFailed;
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

std::uint32_t PlainModel::objectWrite(const std::string& bytes, std::uint32_t& written, bool looksAtErrors) {
    written = 0;
    if (!initialised_) return 0x4317;
    if (!handle_) {
        const std::uint32_t opened = open();
        if (opened != 0) return opened;
    }
    return device_ ? write(bytes, written, looksAtErrors) : 0;
}

std::uint32_t PlainModel::pacedWrite(const std::string& bytes, std::uint32_t limit) {
    const std::uint32_t start = ticks();
    std::uint32_t written = 0;
    if (usb_ && initialised_) return objectWrite(bytes, written);
    std::uint32_t now = start;
    bool looks = true;  // at the error bits: once in a millisecond
    for (std::size_t sent = 0; sent < bytes.size();) {
        const std::uint32_t result = objectWrite(bytes.substr(sent, 1), written, looks);
        if (result != 0) return result;
        if (!device_) return 0;
        sent += written;
        if (sent == bytes.size()) break;
        if (stopSeen()) return kStopped;
        looks = ticks() != now;
        now = ticks();
        if (start + limit < now) return 0x4005;
    }
    return 0;
}

bool PlainModel::readable() { return openFlag_ && (device_ || open() == 0); }

// --- raw access

std::string PlainModel::writeHex(const std::string& hex, int count) {
    otherThreads();
    enter();
    const std::string bytes = lenientBytes(hex.substr(0, 2 * static_cast<std::size_t>(count)));
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
                if (idle(25)) {
                    leave();
                    return resultText(0, std::nullopt);
                }
                continue;
            }
            const auto capacity = static_cast<std::uint32_t>(2048 - collected.size());
            std::string bytes;
            if (capacity > 0 && (device_ || open() == 0)) read(std::min(count, capacity), bytes);
            if (bytes.empty()) pause(1);
            collected += bytes;
        }
        result = collected.empty() ? "NULL" : hexOf(collected);
    }
    leave();
    return resultText(0, result);
}

}  // namespace mova::oracle
