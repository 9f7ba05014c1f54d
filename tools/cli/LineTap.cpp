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
    if (!good) failed_ = true;
    return good;
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
