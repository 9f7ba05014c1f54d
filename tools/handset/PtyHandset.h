// Serves a handset on a pseudo-terminal, on a thread of its own, in real time. What is done with the handset meanwhile
// goes through with().
#pragma once
#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "handset/Handset.h"

namespace mova::handset {

class PtyHandset {
public:
    // link, when not empty, is kept as a symbolic link to the terminal, also after it has been plugged in again. It
    // replaces another link, and nothing else. Throws std::system_error when there is no pseudo-terminal or no link.
    explicit PtyHandset(Profile profile = {}, std::string link = {});
    ~PtyHandset();
    PtyHandset(const PtyHandset&) = delete;
    PtyHandset& operator=(const PtyHandset&) = delete;

    std::string slavePath() const;
    void with(const std::function<void(Handset&)>& action);  // and looks after what is due then
    void unplug();                                           // the line hangs up; the link is gone
    void replug();                                           // a new terminal, the link leads to it
    bool isPlugged() const;

    static std::uint64_t nowMicroseconds();

private:
    void plug();
    void makeLink() const;
    void removeLink() const;
    void wake() const;
    void serve();
    void takeIn();

    const std::string link_;
    mutable std::mutex mutex_;  // guards what follows
    Handset handset_;
    int master_ = -1;
    bool polled_ = false;  // the terminal, which lives on while it is, closed or not
    std::condition_variable left_;
    std::string slavePath_;
    std::string unsent_;  // due, and not yet taken by the terminal
    int wakeUp_ = -1;
    std::atomic<bool> ending_{false};
    std::thread thread_;
};

}  // namespace mova::handset
