#include "campaigns/allocation/RestingPlatform.h"

#include <optional>

namespace mova {

using memory::Rest;

RestingPlatform::RestingPlatform(Platform& inner)
    : serial_(inner.serial),
      threading_(inner.threading),
      clock_(inner.clock),
      keys_(inner.keys),
      datagrams_(inner.datagrams),
      files_(inner.files),
      host_(inner.host),
      platform_{serial_, threading_, clock_, keys_, datagrams_, files_, host_} {}

// --- threads

std::unique_ptr<Event> RestingPlatform::RestingThreading::makeEvent() {
    memory::allocationPoint();
    const Rest rest;
    return std::make_unique<RestingEvent>(inner.makeEvent());
}

std::unique_ptr<RecursiveMutex> RestingPlatform::RestingThreading::makeRecursiveMutex() {
    memory::allocationPoint();
    const Rest rest;
    return std::make_unique<RestingMutex>(inner.makeRecursiveMutex());
}

std::unique_ptr<NamedMutex> RestingPlatform::RestingThreading::makeNamedMutex(const std::string& name) {
    memory::allocationPoint();
    const Rest rest;
    return std::make_unique<RestingNamedMutex>(inner.makeNamedMutex(name));
}

std::unique_ptr<Thread> RestingPlatform::RestingThreading::start(std::function<void()> run) {
    memory::allocationPoint();
    const Rest rest;
    auto thread = inner.start([run = std::move(run)] {
        const memory::Watch watch;
        run();
    });
    return thread ? std::make_unique<RestingThread>(std::move(thread)) : nullptr;
}

std::uint32_t RestingPlatform::RestingThreading::currentThreadId() {
    const Rest rest;
    return inner.currentThreadId();
}

// --- serial driver

PortHandle RestingPlatform::RestingSerial::open(const std::string& path, bool overlapped) {
    const Rest rest;
    return inner.open(path, overlapped);
}

bool RestingPlatform::RestingSerial::close(PortHandle port) {
    const Rest rest;
    return inner.close(port);
}

bool RestingPlatform::RestingSerial::setQueueSizes(PortHandle port, std::uint32_t input, std::uint32_t output) {
    const Rest rest;
    return inner.setQueueSizes(port, input, output);
}

bool RestingPlatform::RestingSerial::setTimeouts(PortHandle port, const PortTimeouts& timeouts) {
    const Rest rest;
    return inner.setTimeouts(port, timeouts);
}

bool RestingPlatform::RestingSerial::properties(PortHandle port, PortProperties& out) {
    const Rest rest;
    return inner.properties(port, out);
}

bool RestingPlatform::RestingSerial::lineSettings(PortHandle port, LineSettings& out) {
    const Rest rest;
    return inner.lineSettings(port, out);
}

bool RestingPlatform::RestingSerial::setLineSettings(PortHandle port, const LineSettings& settings) {
    const Rest rest;
    return inner.setLineSettings(port, settings);
}

bool RestingPlatform::RestingSerial::setEventMask(PortHandle port, std::uint32_t mask) {
    const Rest rest;
    return inner.setEventMask(port, mask);
}

bool RestingPlatform::RestingSerial::clearErrors(PortHandle port, std::uint32_t& errorBits, PortStatus* status) {
    const Rest rest;
    return inner.clearErrors(port, errorBits, status);
}

bool RestingPlatform::RestingSerial::purge(PortHandle port, std::uint32_t what) {
    const Rest rest;
    return inner.purge(port, what);
}

bool RestingPlatform::RestingSerial::control(PortHandle port, LineControl function) {
    const Rest rest;
    return inner.control(port, function);
}

bool RestingPlatform::RestingSerial::modemStatus(PortHandle port, std::uint32_t& out) {
    const Rest rest;
    return inner.modemStatus(port, out);
}

std::unique_ptr<Transfer> RestingPlatform::RestingSerial::makeTransfer() {
    memory::allocationPoint();
    const Rest rest;
    return inner.makeTransfer();
}

BeginResult RestingPlatform::RestingSerial::beginRead(PortHandle port, Transfer& transfer, void* buffer,
                                                      std::uint32_t capacity) {
    const Rest rest;
    return inner.beginRead(port, transfer, buffer, capacity);
}

BeginResult RestingPlatform::RestingSerial::beginWrite(PortHandle port, Transfer& transfer, const void* data,
                                                       std::uint32_t length) {
    const Rest rest;
    return inner.beginWrite(port, transfer, data, length);
}

WaitResult RestingPlatform::RestingSerial::await(Transfer& transfer, Event* stop, std::uint32_t milliseconds) {
    const Rest rest;
    return inner.await(transfer, stop ? &static_cast<RestingEvent*>(stop)->inner() : nullptr, milliseconds);
}

WaitResult RestingPlatform::RestingSerial::awaitInput(PortHandle port, Event* event, std::uint32_t milliseconds) {
    const Rest rest;
    return inner.awaitInput(port, event ? &static_cast<RestingEvent*>(event)->inner() : nullptr, milliseconds);
}

bool RestingPlatform::RestingSerial::finish(PortHandle port, Transfer& transfer, std::uint32_t& bytes) {
    const Rest rest;
    return inner.finish(port, transfer, bytes);
}

void RestingPlatform::RestingSerial::cancel(PortHandle port, Transfer& transfer) {
    const Rest rest;
    inner.cancel(port, transfer);
}

void RestingPlatform::RestingSerial::cancelAll(PortHandle port) {
    const Rest rest;
    inner.cancelAll(port);
}

bool RestingPlatform::RestingSerial::read(PortHandle port, void* buffer, std::uint32_t capacity, std::uint32_t& bytes) {
    const Rest rest;
    return inner.read(port, buffer, capacity, bytes);
}

bool RestingPlatform::RestingSerial::write(PortHandle port, const void* data, std::uint32_t length,
                                           std::uint32_t& bytes) {
    const Rest rest;
    return inner.write(port, data, length, bytes);
}

std::uint32_t RestingPlatform::RestingSerial::lastError() {
    const Rest rest;
    return inner.lastError();
}

std::string RestingPlatform::RestingSerial::errorText(std::uint32_t error) {
    memory::allocationPoint();
    const Rest rest;
    return inner.errorText(error);
}

// --- clock

std::uint32_t RestingPlatform::RestingClock::tickCount() {
    const Rest rest;
    return inner.tickCount();
}

LocalTime RestingPlatform::RestingClock::localTime() {
    const Rest rest;
    return inner.localTime();
}

void RestingPlatform::RestingClock::sleep(std::uint32_t milliseconds) {
    const Rest rest;
    inner.sleep(milliseconds);
}

std::string RestingPlatform::RestingClock::longDateText(std::int64_t secondsSinceEpoch) {
    memory::allocationPoint();
    const Rest rest;
    return inner.longDateText(secondsSinceEpoch);
}

// --- device tree

KeyTree::Key RestingPlatform::RestingKeys::open(const std::string& path, KeyAccess access) {
    const Rest rest;
    return inner.open(path, access);
}

bool RestingPlatform::RestingKeys::subkey(Key key, std::uint32_t index, std::string& name) {
    memory::allocationPoint();  // for the name
    const Rest rest;
    return inner.subkey(key, index, name);
}

bool RestingPlatform::RestingKeys::value(Key key, const std::string& name, void* buffer, std::size_t& size) {
    const Rest rest;
    return inner.value(key, name, buffer, size);
}

void RestingPlatform::RestingKeys::close(Key key) {
    const Rest rest;
    inner.close(key);
}

// --- debug channel

DatagramChannel::Handle RestingPlatform::RestingDatagrams::open(const std::string& name) {
    const Rest rest;
    return inner.open(name);
}

bool RestingPlatform::RestingDatagrams::write(Handle channel, std::string_view message) {
    const Rest rest;
    return inner.write(channel, message);
}

void RestingPlatform::RestingDatagrams::close(Handle channel) {
    const Rest rest;
    inner.close(channel);
}

// --- files

Files::Handle RestingPlatform::RestingFiles::open(const std::string& path, FileMode mode) {
    const Rest rest;
    return inner.open(path, mode);
}

bool RestingPlatform::RestingFiles::write(Handle file, std::string_view text) {
    const Rest rest;
    return inner.write(file, text);
}

void RestingPlatform::RestingFiles::close(Handle file) {
    const Rest rest;
    inner.close(file);
}

// --- host

SystemVersion RestingPlatform::RestingHost::systemVersion() {
    const Rest rest;
    return inner.systemVersion();
}

std::string RestingPlatform::RestingHost::modulePath() {
    memory::allocationPoint();
    const Rest rest;
    return inner.modulePath();
}

std::string RestingPlatform::RestingHost::fallbackTraceFile() {
    memory::allocationPoint();
    const Rest rest;
    return inner.fallbackTraceFile();
}

std::optional<std::int64_t> RestingPlatform::RestingHost::fileTime(const std::string& path) {
    const Rest rest;
    return inner.fileTime(path);
}

}  // namespace mova
