// This program as a second process of a test: started with a role and its arguments, it plays it instead of testing.
#pragma once
#include <string>
#include <vector>

#include "component/automation/Ole.h"

namespace mova::test {

// The process's exit code. Roles:
//
//     end HOW              opens the fast port with a busy reader thread, says so and ends the process in that way
//     hold-mutex           takes the log's mutex, says so and never gives it back
//     register COUNT       registers the component so many times
//     register-user COUNT  registers it for the user so many times
//     by-name              finds the component by its name and calls it; 100 when there is no such name
//     log FILE NAME COUNT  sends so many AT commands on the spare fast port and logs them to the file
int playRole(const std::vector<std::string>& arguments);

// A started role. It is ended with this object at the latest.
class OtherProcess {
public:
    explicit OtherProcess(const std::string& role);
    ~OtherProcess();
    OtherProcess(const OtherProcess&) = delete;
    OtherProcess& operator=(const OtherProcess&) = delete;

    void awaitReady();
    void terminate(UINT code);
    bool hasEnded() const;
    DWORD exitCode();  // waits for the end; fails the test and is STILL_ACTIVE when it does not come

private:
    PROCESS_INFORMATION process_{};
};

}  // namespace mova::test
