// A second process of a test: a function runs in it, and 0 to 255 comes back.
#pragma once
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

namespace mova {

class ChildProcess {
public:
    explicit ChildProcess(const std::function<int()>& run) : process_(fork()) {
        if (process_ == 0) _exit(run());
    }
    ~ChildProcess() {
        if (process_ <= 0) return;
        kill(SIGKILL);
        wait();
    }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    void kill(int signal) const { ::kill(process_, signal); }

    // The function's result; -1 when the process did not end by itself.
    int wait() {
        int status = 0;
        waitpid(process_, &status, 0);
        process_ = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    pid_t process_;
};

// One-way signal between two processes: wait() returns when the other one said go() or is gone.
class ProcessGate {
public:
    ProcessGate() { [[maybe_unused]] const int made = pipe(ends_); }
    ~ProcessGate() {
        close(ends_[0]);
        close(ends_[1]);
    }
    ProcessGate(const ProcessGate&) = delete;
    ProcessGate& operator=(const ProcessGate&) = delete;

    void go() const { [[maybe_unused]] const auto put = write(ends_[1], "g", 1); }
    void wait() const {
        char byte = 0;
        [[maybe_unused]] const auto got = read(ends_[0], &byte, 1);
    }

private:
    int ends_[2] = {-1, -1};
};

constexpr unsigned kNobody = 65534;  // an ordinary user without rights

}  // namespace mova
