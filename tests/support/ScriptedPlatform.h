// The platform on which every layer is tested: all interfaces scripted, in virtual time.
//
//     ScriptedPlatform platform;
//     ScriptedPort& port = platform.withPort(7, "Communications Port (COM7)");
//     HandsetPort handset(platform, ...);                      // converts to Platform&
//
//     platform.failures().fail(Op::SetQueueSizes).twice();     // FailurePlan.h
//     platform.at(250ms, [&] { stop.set(); });                 // once virtual time gets there; between waits
//     port.expect("AT\r").reply("OK\r\n", 20ms);               // ScriptedPort.h: bytes in and out, cable, timing
//     EXPECT_EQ(platform.elapsed(), 270);                      // virtual milliseconds
//     EXPECT_THAT(platform.journal().serial(), ElementsAre("open \\\\.\\COM7 overlapped", ...));  // CallJournal.h
//
// Virtual time (VirtualScheduler.h): only waits move it (Event::wait, Clock::sleep, SerialDriver::await, Thread::join,
// a lock that is taken), and only when every thread waits. Threads come from Threading::start alone; std::mutex is
// fine in the code under test as long as it is not held across such a wait.
//
// At its end the platform fails the test for threads that are still there, keys, channels, files and ports left open,
// and expectations not met. It must outlive what it serves. A deadlock ends the process with a list of who waits for
// what.
#pragma once
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "platform/Platform.h"
#include "support/ScriptedClock.h"
#include "support/ScriptedCore.h"
#include "support/ScriptedDatagramChannel.h"
#include "support/ScriptedFiles.h"
#include "support/ScriptedHost.h"
#include "support/ScriptedKeyTree.h"
#include "support/ScriptedSerialDriver.h"
#include "support/ScriptedThreading.h"

namespace mova {

using namespace std::chrono_literals;

class ScriptedPlatform {
public:
    ScriptedPlatform();
    ~ScriptedPlatform();
    ScriptedPlatform(const ScriptedPlatform&) = delete;
    ScriptedPlatform& operator=(const ScriptedPlatform&) = delete;

    Platform& platform() { return platform_; }
    operator Platform&() { return platform_; }  // NOLINT: it stands for it everywhere

    ScriptedSerialDriver& serial() { return serial_; }
    ScriptedThreading& threading() { return threading_; }
    ScriptedClock& clock() { return clock_; }
    ScriptedKeyTree& keys() { return keys_; }
    ScriptedDatagramChannel& datagrams() { return datagrams_; }
    ScriptedFiles& files() { return files_; }
    ScriptedHost& host() { return host_; }

    FailurePlan& failures() { return core_.failures; }
    CallJournal& journal() { return core_.journal; }
    VirtualScheduler& scheduler() { return core_.scheduler; }

    // A port "\\.\COM<number>" that the device tree lists under the friendly name, as the serial enumerator's.
    ScriptedPort& withPort(int number, const std::string& friendlyName = {});  // empty: "Communications Port (COM<n>)"
    ScriptedPort& withPath(const std::string& path) { return serial_.add(path); }  // a port of no device tree
    // Somebody listens to the debug channel; without, every message posted costs a search thread and 50 ms.
    void withDebugViewer();

    std::int64_t elapsed() const;  // milliseconds since the platform's making
    VirtualTime now() const { return core_.scheduler.now(); }
    void at(VirtualTime when, std::function<void()> action);      // since the platform's making
    void after(VirtualTime delay, std::function<void()> action);  // from now
    void advance(std::uint32_t milliseconds);    // the test waits while the others run, those due at its end included
    void settle() { core_.scheduler.settle(); }  // the others run as far as they come without time
    // When every thread waits for ever: pull the cable, set the stop event. Without it that ends the process.
    void whenStuck(std::function<void()> rescue) { core_.scheduler.setWhenStuck(std::move(rescue)); }
    bool advanceUntil(const std::function<bool()>& reached, std::uint32_t limitMilliseconds);  // in steps of 1 ms
    std::unique_ptr<Thread> spawn(std::function<void()> run) { return threading_.start(std::move(run)); }

    void setCallCost(VirtualTime cost) { core_.scheduler.setCallCost(cost); }  // time that every call takes; 0
    // Threads overtake each other between serial, event, lock, thread and clock calls; reproducible by the seed.
    void interleave(std::uint32_t seed, unsigned oneIn = 4) { core_.scheduler.interleave(seed, oneIn); }

    void allowLeaks() { leaksAllowed_ = true; }
    std::string leaks() const;  // what is open now, as a readable list; empty when nothing is

private:
    ScriptedCore core_;
    ScriptedSerialDriver serial_;
    ScriptedThreading threading_;
    ScriptedClock clock_;
    ScriptedKeyTree keys_;
    ScriptedDatagramChannel datagrams_;
    ScriptedFiles files_;
    ScriptedHost host_;
    Platform platform_;
    bool leaksAllowed_ = false;
};

}  // namespace mova
