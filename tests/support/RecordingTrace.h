// Keeps trace records, as "18 Open Device Success" or apart.
#pragma once
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "logging/Trace.h"

namespace mova {

class RecordingTrace : public Trace {
public:
    using Record = std::pair<TraceKind, std::string>;

    void record(TraceKind kind, std::string_view text) override {
        const std::lock_guard guard(mutex_);
        records_.emplace_back(kind, text);
    }
    std::vector<Record> records() const {
        const std::lock_guard guard(mutex_);
        return records_;
    }
    std::vector<std::string> lines() const {
        std::vector<std::string> lines;
        for (const auto& [kind, text] : records()) lines.push_back(std::to_string(static_cast<int>(kind)) + " " + text);
        return lines;
    }
    std::vector<std::string> of(TraceKind wanted) const {
        std::vector<std::string> texts;
        for (const auto& [kind, text] : records()) {
            if (kind == wanted) texts.push_back(text);
        }
        return texts;
    }
    void clear() {
        const std::lock_guard guard(mutex_);
        records_.clear();
    }

private:
    mutable std::mutex mutex_;
    std::vector<Record> records_;
};

}  // namespace mova
