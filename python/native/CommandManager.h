// The command manager as Python holds it: its calls let other threads of Python run, Ctrl-C ends their waits, and what it
// tells its listener reaches a Python function.
#pragma once
#include <pybind11/pybind11.h>

#include <chrono>
#include <csignal>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "mova/CVeCmdManager.h"

namespace mova::python {

namespace py = pybind11;

// Python's part of a listener. Python's lock guards the function; it is forgotten before the manager goes, so that what
// destroys the listener later needs no Python.
class Listener final : public ConfirmationEvents {
public:
    explicit Listener(py::object function) : function_(std::move(function)) {}
    void forget() { function_ = py::object(); }
    void OnCpGetMovaCnf(std::int32_t type, std::int32_t length, const std::string& text) override;

private:
    py::object function_;  // (type, length, text as bytes); what it raises is told by sys.unraisablehook
};

// Every function is called with Python's lock held.
class CommandManager {
public:
    // device: empty for ports by their numbers. listener: None or a function.
    CommandManager(const std::string& device, py::object listener);
    ~CommandManager();
    CommandManager(const CommandManager&) = delete;
    CommandManager& operator=(const CommandManager&) = delete;

    // Closes the port and ends the reader thread; every call after it raises ValueError. The second one does nothing.
    void close();
    // Of those that are still there: before Python goes, which their threads may call.
    static void closeAll();

    // Runs a call on the manager without Python's lock. On Python's main thread, the only one that sees signals, another
    // thread makes the call meanwhile. A signal whose handler raises (Ctrl-C) ends the wait: the port is closed.
    template <class Call>
    auto run(Call call);

private:
    std::shared_ptr<CVeCmdManager> manager_;
    std::shared_ptr<Listener> listener_;
};

bool isMainThread();

// No signal is handled on the thread: the main thread is to see them.
template <class Task>
std::thread startWithoutSignals(Task task) {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    try {
        std::thread started(std::move(task));
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        return started;
    } catch (...) {
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        throw;
    }
}

template <class Call>
auto CommandManager::run(Call call) {
    using Result = decltype(call(*manager_));
    constexpr std::chrono::milliseconds kBetweenLooksForSignals(50);
    const std::shared_ptr<CVeCmdManager> manager = manager_;  // another thread may close this meanwhile
    if (!manager) throw py::value_error("the handset is closed");
    if (!isMainThread()) {
        const py::gil_scoped_release unlocked;
        return call(*manager);
    }
    std::packaged_task<Result()> task([&] { return call(*manager); });
    std::future<Result> result = task.get_future();
    std::thread worker = startWithoutSignals(std::move(task));
    for (;;) {
        {
            const py::gil_scoped_release unlocked;
            if (result.wait_for(kBetweenLooksForSignals) == std::future_status::ready) {
                worker.join();
                break;
            }
        }
        if (PyErr_CheckSignals() == 0) continue;
        py::error_already_set raised;
        {
            const py::gil_scoped_release unlocked;
            static_cast<void>(manager->ProprietaryCloseComPort(0));
            worker.join();
        }
        throw raised;
    }
    return result.get();
}

}  // namespace mova::python
