// The scripted platform with its own allocations left out of a shortage. Where a native platform allocates for its
// caller (an event, a transfer, a text) the call may fail for want of memory all the same. Threads that the code
// starts are watched.
#pragma once
#include <memory>
#include <string>
#include <utility>

#include "campaigns/allocation/Shortage.h"
#include "platform/Platform.h"

namespace mova {

class RestingPlatform {
public:
    explicit RestingPlatform(Platform& inner);
    operator Platform&() { return platform_; }  // NOLINT: it stands for it everywhere

private:
    class RestingEvent : public Event {
    public:
        explicit RestingEvent(std::unique_ptr<Event> inner) : inner_(std::move(inner)) {}
        ~RestingEvent() override {
            const memory::Rest rest;
            inner_.reset();
        }
        void set() override { resting(&Event::set); }
        void reset() override { resting(&Event::reset); }
        WaitResult wait(std::uint32_t milliseconds) override {
            const memory::Rest rest;
            return inner_->wait(milliseconds);
        }
        Event& inner() { return *inner_; }

    private:
        void resting(void (Event::*operation)()) {
            const memory::Rest rest;
            (*inner_.*operation)();
        }
        std::unique_ptr<Event> inner_;
    };

    class RestingMutex : public RecursiveMutex {
    public:
        explicit RestingMutex(std::unique_ptr<RecursiveMutex> inner) : inner_(std::move(inner)) {}
        ~RestingMutex() override {
            const memory::Rest rest;
            inner_.reset();
        }
        void lock() override {
            const memory::Rest rest;
            inner_->lock();
        }
        void unlock() override {
            const memory::Rest rest;
            inner_->unlock();
        }

    private:
        std::unique_ptr<RecursiveMutex> inner_;
    };

    class RestingNamedMutex : public NamedMutex {
    public:
        explicit RestingNamedMutex(std::unique_ptr<NamedMutex> inner) : inner_(std::move(inner)) {}
        ~RestingNamedMutex() override {
            const memory::Rest rest;
            inner_.reset();
        }
        bool acquire() override {
            const memory::Rest rest;
            return inner_->acquire();
        }
        void release() override {
            const memory::Rest rest;
            inner_->release();
        }

    private:
        std::unique_ptr<NamedMutex> inner_;
    };

    class RestingThread : public Thread {
    public:
        explicit RestingThread(std::unique_ptr<Thread> inner) : inner_(std::move(inner)) {}
        ~RestingThread() override {
            const memory::Rest rest;
            inner_.reset();
        }
        std::uint32_t id() const override { return inner_->id(); }
        void setLowestPriority() override {
            const memory::Rest rest;
            inner_->setLowestPriority();
        }
        bool join(std::uint32_t milliseconds) override {
            const memory::Rest rest;
            return inner_->join(milliseconds);
        }
        void terminate() override {
            const memory::Rest rest;
            inner_->terminate();
        }

    private:
        std::unique_ptr<Thread> inner_;
    };

    struct RestingThreading : Threading {
        explicit RestingThreading(Threading& i) : inner(i) {}
        std::unique_ptr<Event> makeEvent() override;
        std::unique_ptr<RecursiveMutex> makeRecursiveMutex() override;
        std::unique_ptr<NamedMutex> makeNamedMutex(const std::string& name) override;
        std::unique_ptr<Thread> start(std::function<void()> run) override;
        std::uint32_t currentThreadId() override;
        Threading& inner;
    };

    struct RestingSerial : SerialDriver {
        explicit RestingSerial(SerialDriver& i) : inner(i) {}
        PortHandle open(const std::string& path, bool overlapped) override;
        bool close(PortHandle port) override;
        bool setQueueSizes(PortHandle port, std::uint32_t input, std::uint32_t output) override;
        bool setTimeouts(PortHandle port, const PortTimeouts& timeouts) override;
        bool properties(PortHandle port, PortProperties& out) override;
        bool lineSettings(PortHandle port, LineSettings& out) override;
        bool setLineSettings(PortHandle port, const LineSettings& settings) override;
        bool setEventMask(PortHandle port, std::uint32_t mask) override;
        bool clearErrors(PortHandle port, std::uint32_t& errorBits, PortStatus* status) override;
        bool purge(PortHandle port, std::uint32_t what) override;
        bool control(PortHandle port, LineControl function) override;
        bool modemStatus(PortHandle port, std::uint32_t& out) override;
        std::unique_ptr<Transfer> makeTransfer() override;
        BeginResult beginRead(PortHandle port, Transfer& transfer, void* buffer, std::uint32_t capacity) override;
        BeginResult beginWrite(PortHandle port, Transfer& transfer, const void* data, std::uint32_t length) override;
        WaitResult await(Transfer& transfer, Event* stop, std::uint32_t milliseconds) override;
        bool finish(PortHandle port, Transfer& transfer, std::uint32_t& bytes) override;
        void cancel(PortHandle port, Transfer& transfer) override;
        void cancelAll(PortHandle port) override;
        WaitResult awaitInput(PortHandle port, Event* event, std::uint32_t milliseconds) override;
        bool read(PortHandle port, void* buffer, std::uint32_t capacity, std::uint32_t& bytes) override;
        bool write(PortHandle port, const void* data, std::uint32_t length, std::uint32_t& bytes) override;
        std::uint32_t lastError() override;
        std::string errorText(std::uint32_t error) override;
        SerialDriver& inner;
    };

    struct RestingClock : Clock {
        explicit RestingClock(Clock& i) : inner(i) {}
        std::uint32_t tickCount() override;
        LocalTime localTime() override;
        void sleep(std::uint32_t milliseconds) override;
        std::string longDateText(std::int64_t secondsSinceEpoch) override;
        Clock& inner;
    };

    struct RestingKeys : KeyTree {
        explicit RestingKeys(KeyTree& i) : inner(i) {}
        Key open(const std::string& path, KeyAccess access) override;
        bool subkey(Key key, std::uint32_t index, std::string& name) override;
        bool value(Key key, const std::string& name, void* buffer, std::size_t& size) override;
        void close(Key key) override;
        KeyTree& inner;
    };

    struct RestingDatagrams : DatagramChannel {
        explicit RestingDatagrams(DatagramChannel& i) : inner(i) {}
        Handle open(const std::string& name) override;
        bool write(Handle channel, std::string_view message) override;
        void close(Handle channel) override;
        DatagramChannel& inner;
    };

    struct RestingFiles : Files {
        explicit RestingFiles(Files& i) : inner(i) {}
        Handle open(const std::string& path, FileMode mode) override;
        bool write(Handle file, std::string_view text) override;
        void close(Handle file) override;
        Files& inner;
    };

    struct RestingHost : Host {
        explicit RestingHost(Host& i) : inner(i) {}
        SystemVersion systemVersion() override;
        std::string modulePath() override;
        std::string fallbackTraceFile() override;
        std::optional<std::int64_t> fileTime(const std::string& path) override;
        Host& inner;
    };

    RestingSerial serial_;
    RestingThreading threading_;
    RestingClock clock_;
    RestingKeys keys_;
    RestingDatagrams datagrams_;
    RestingFiles files_;
    RestingHost host_;
    Platform platform_;
};

}  // namespace mova
