// A serial port that is memory: what the component costs without a kernel below it. The stream repeats one text for as
// many bytes as were asked for; at most `chunk` bytes wait at a time. What is written is dropped.
#pragma once
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "platform/SerialDriver.h"

namespace mova::bench {

class MemoryLine final : public SerialDriver {
public:
    void offer(std::string text, std::uint64_t bytes, std::uint32_t chunk) {
        text_ = std::move(text);
        left_ = bytes;
        chunk_ = chunk;
        at_ = 0;
    }
    std::uint64_t left() const { return left_; }

    PortHandle open(const std::string&, bool) override { return kPort; }
    bool close(PortHandle) override { return true; }
    bool setQueueSizes(PortHandle, std::uint32_t, std::uint32_t) override { return true; }
    bool setTimeouts(PortHandle, const PortTimeouts&) override { return true; }
    bool properties(PortHandle, PortProperties&) override { return true; }
    bool lineSettings(PortHandle, LineSettings&) override { return true; }
    bool setLineSettings(PortHandle, const LineSettings&) override { return true; }
    bool setEventMask(PortHandle, std::uint32_t) override { return true; }
    bool clearErrors(PortHandle, std::uint32_t& errorBits, PortStatus* status) override {
        errorBits = 0;
        if (status != nullptr) status->inQueue = waiting();
        return true;
    }
    bool purge(PortHandle, std::uint32_t) override { return true; }
    bool control(PortHandle, LineControl) override { return true; }
    bool modemStatus(PortHandle, std::uint32_t& out) override {
        out = 0;
        return true;
    }

    std::unique_ptr<Transfer> makeTransfer() override { return std::make_unique<Counted>(); }
    BeginResult beginRead(PortHandle port, Transfer& transfer, void* buffer, std::uint32_t capacity) override {
        read(port, buffer, capacity, static_cast<Counted&>(transfer).bytes);
        return BeginResult::Complete;
    }
    BeginResult beginWrite(PortHandle, Transfer& transfer, const void*, std::uint32_t length) override {
        static_cast<Counted&>(transfer).bytes = length;
        return BeginResult::Complete;
    }
    WaitResult await(Transfer&, Event*, std::uint32_t) override { return WaitResult::Signalled; }
    bool finish(PortHandle, Transfer& transfer, std::uint32_t& bytes) override {
        bytes = static_cast<Counted&>(transfer).bytes;
        return true;
    }
    void cancel(PortHandle, Transfer&) override {}
    void cancelAll(PortHandle) override {}
    WaitResult awaitInput(PortHandle, Event*, std::uint32_t) override { return WaitResult::Signalled; }
    bool read(PortHandle, void* buffer, std::uint32_t capacity, std::uint32_t& bytes) override {
        bytes = std::min(capacity, waiting());
        char* out = static_cast<char*>(buffer);
        for (std::uint32_t copied = 0; copied < bytes;) {
            const std::size_t part = std::min<std::size_t>(bytes - copied, text_.size() - at_);
            std::memcpy(out + copied, text_.data() + at_, part);
            copied += static_cast<std::uint32_t>(part);
            at_ = (at_ + part) % text_.size();
        }
        left_ -= bytes;
        return true;
    }
    bool write(PortHandle, const void*, std::uint32_t length, std::uint32_t& bytes) override {
        bytes = length;
        return true;
    }
    std::uint32_t lastError() override { return 0; }
    std::string errorText(std::uint32_t) override { return {}; }

private:
    static constexpr PortHandle kPort = 1;
    struct Counted : Transfer {
        std::uint32_t bytes = 0;
    };
    std::uint32_t waiting() const { return static_cast<std::uint32_t>(std::min<std::uint64_t>(left_, chunk_)); }

    std::string text_ = " ";
    std::uint64_t left_ = 0;
    std::uint32_t chunk_ = 0;
    std::size_t at_ = 0;
};

}  // namespace mova::bench
