// Keeps the serial device's status texts. Can throw after keeping one, as a sink in trouble does.
#pragma once
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "device/CCallBack.h"

namespace mova {

class RecordingCallBack : public CCallBack {
public:
    void text(const std::string& message) override {
        const std::lock_guard guard(mutex_);
        messages_.push_back(message);
        if (throws_) throw std::runtime_error("a sink in trouble");
    }
    std::vector<std::string> messages() const {
        const std::lock_guard guard(mutex_);
        return messages_;
    }
    void clear() {
        const std::lock_guard guard(mutex_);
        messages_.clear();
    }
    void throwFromNowOn(bool on = true) { throws_ = on; }

private:
    mutable std::mutex mutex_;
    std::vector<std::string> messages_;
    bool throws_ = false;
};

}  // namespace mova
