#include "cli/LineTap.h"

#include <algorithm>
#include <utility>

#include "cli/Interrupt.h"

namespace mova::cli {

void LineTap::listen() {
    const std::lock_guard guard(mutex_);
    listening_ = true;
    failed_ = false;
    noted_ = 0;
    talk_.clear();
}

LineTalk LineTap::heard() {
    const std::lock_guard guard(mutex_);
    return talk_;
}

LineTalk LineTap::take() {
    const std::lock_guard guard(mutex_);
    noted_ = 0;
    return std::exchange(talk_, {});
}

bool LineTap::failed() {
    const std::lock_guard guard(mutex_);
    return failed_;
}

void LineTap::rest() {
    const std::lock_guard guard(mutex_);
    listening_ = false;
    talk_.clear();
}

bool LineTap::noteFailure(bool good) {
    const std::lock_guard guard(mutex_);
    if (good) return true;
    failed_ = gone_ = true;
    if (stop_ != nullptr) stop_->set();
    return false;
}

void LineTap::noteStop(Event* stop) {
    const std::lock_guard guard(mutex_);
    if (stop == nullptr || port_ == kInvalidPort) return;
    stop_ = stop;
    if (gone_) stop_->set();
}

bool LineTap::isGone() {
    const std::lock_guard guard(mutex_);
    return gone_;
}

bool LineTap::looksGone() {
    PortHandle port = kInvalidPort;
    {
        const std::lock_guard guard(mutex_);
        if (gone_ || port_ == kInvalidPort) return true;
        port = port_;
    }
    std::uint32_t bits = 0;
    PortStatus status;
    if (!noteFailure(driver_.clearErrors(port, bits, &status))) return true;
    const std::lock_guard guard(mutex_);
    errorsSeen_ |= bits;
    return false;
}

std::optional<bool> LineTap::chosen(LineControl raise) {
    const std::lock_guard guard(mutex_);
    const auto found = chosen_.find(raise);
    return found == chosen_.end() ? std::nullopt : std::optional(found->second);
}

bool LineTap::changeBaudRate(std::uint32_t rate) {
    PortHandle port = kInvalidPort;
    {
        const std::lock_guard guard(mutex_);
        port = port_;
    }
    LineSettings settings;
    if (port == kInvalidPort || !driver_.lineSettings(port, settings)) return false;
    settings.baudRate = rate;
    return driver_.setLineSettings(port, settings);
}

PortHandle LineTap::open(const std::string& path, bool overlapped) {
    const PortHandle port = driver_.open(path, overlapped);
    const std::lock_guard guard(mutex_);
    port_ = port;
    if (port != kInvalidPort) gone_ = false;
    stop_ = nullptr;
    errorsSeen_ = 0;
    return port;
}

bool LineTap::close(PortHandle port) {
    {
        const std::lock_guard guard(mutex_);
        if (port == port_) {
            port_ = kInvalidPort;
            stop_ = nullptr;
        }
    }
    return driver_.close(port);
}

bool LineTap::clearErrors(PortHandle port, std::uint32_t& errorBits, PortStatus* status) {
    if (!noteFailure(driver_.clearErrors(port, errorBits, status))) return false;
    const std::lock_guard guard(mutex_);
    errorBits |= std::exchange(errorsSeen_, 0);
    return true;
}

bool LineTap::control(PortHandle port, LineControl function) {
    if (!driver_.control(port, function)) return false;
    const bool dtr = function == LineControl::SetDtr || function == LineControl::ClearDtr;
    const std::lock_guard guard(mutex_);
    chosen_[dtr ? LineControl::SetDtr : LineControl::SetRts] =
        function == LineControl::SetDtr || function == LineControl::SetRts;
    return true;
}

WaitResult LineTap::awaitInput(PortHandle port, Event* event, std::uint32_t milliseconds) {
    noteStop(event);
    return driver_.awaitInput(port, event, milliseconds);
}

// A request may be written byte by byte: what is written without anything coming in between is one turn.
void LineTap::noteSent(const void* data, std::size_t length) {
    const std::lock_guard guard(mutex_);
    if (!listening_ || length == 0 || noted_ + length > kMostNoted) return;
    noted_ += length;
    if (talk_.empty() || !talk_.back().received.empty()) talk_.emplace_back();
    talk_.back().sent.append(static_cast<const char*>(data), length);
}

void LineTap::noteReceived(const void* data, std::size_t length) {
    const std::lock_guard guard(mutex_);
    if (!listening_ || length == 0 || noted_ + length > kMostNoted) return;
    noted_ += length;
    if (talk_.empty()) talk_.emplace_back();
    talk_.back().received.append(static_cast<const char*>(data), length);
}

BeginResult LineTap::beginRead(PortHandle port, Transfer& transfer, void* buffer, std::uint32_t capacity) {
    {
        const std::lock_guard guard(mutex_);
        buffers_[&transfer] = buffer;
    }
    const BeginResult begun = driver_.beginRead(port, transfer, buffer, capacity);
    noteFailure(begun != BeginResult::Failed);
    return begun;
}

// Noted before it leaves, so that no answer can come before its request.
BeginResult LineTap::beginWrite(PortHandle port, Transfer& transfer, const void* data, std::uint32_t length) {
    {
        const std::lock_guard guard(mutex_);
        buffers_.erase(&transfer);
    }
    noteSent(data, length);
    return driver_.beginWrite(port, transfer, data, length);
}

// A write that the port does not take may have half an hour to stand.
WaitResult LineTap::await(Transfer& transfer, Event* stop, std::uint32_t milliseconds) {
    constexpr std::uint32_t kSlice = 50;
    noteStop(stop);
    for (std::uint32_t left = milliseconds;;) {
        const std::uint32_t slice = std::min(left, kSlice);
        const WaitResult seen = driver_.await(transfer, stop, slice);
        if (seen != WaitResult::TimedOut) return seen;
        if (interrupted()) return WaitResult::Stopped;
        if (left != kInfinite) left -= slice;
        if (left == 0) return WaitResult::TimedOut;
    }
}

bool LineTap::finish(PortHandle port, Transfer& transfer, std::uint32_t& bytes) {
    const bool finished = driver_.finish(port, transfer, bytes);
    const void* buffer = nullptr;
    {
        const std::lock_guard guard(mutex_);
        const auto begun = buffers_.find(&transfer);
        if (begun != buffers_.end()) {
            buffer = begun->second;
            buffers_.erase(begun);
        }
    }
    if (finished && buffer != nullptr) noteReceived(buffer, bytes);
    return finished;
}

bool LineTap::read(PortHandle port, void* buffer, std::uint32_t capacity, std::uint32_t& bytes) {
    const bool done = driver_.read(port, buffer, capacity, bytes);
    if (done) noteReceived(buffer, bytes);
    return done;
}

bool LineTap::write(PortHandle port, const void* data, std::uint32_t length, std::uint32_t& bytes) {
    noteSent(data, length);
    return driver_.write(port, data, length, bytes);
}

}  // namespace mova::cli
