// Every call that the code under test made, in order, as short texts: "open \\.\COM7 overlapped", "sleep 500",
// "setLineSettings flags=0x5010 baud=115200 size=8 parity=0 stop=0", "write 41 54 0D". A failing call ends in
// " -> error 5" or the like. Questions asked many times (tick count, local time, waits of events) are not noted.
#pragma once
#include <algorithm>
#include <initializer_list>
#include <string>
#include <vector>

#include "support/FailurePlan.h"
#include "support/VirtualScheduler.h"

namespace mova {

struct JournalEntry {
    Op op;
    VirtualTime when;
    std::uint32_t thread;
    std::string object;  // path of the port, the key, the file
    std::string text;
};

class CallJournal {
public:
    const std::vector<JournalEntry>& entries() const { return entries_; }
    void clear() { entries_.clear(); }
    void keep(bool on) { kept_ = on; }  // off: nothing is noted, for long runs
    bool isKept() const { return kept_; }
    void note(JournalEntry entry) { entries_.push_back(std::move(entry)); }

    template <class Wanted>
    std::vector<std::string> textsIf(Wanted wanted) const {
        std::vector<std::string> texts;
        for (const JournalEntry& entry : entries_) {
            if (wanted(entry)) texts.push_back(entry.text);
        }
        return texts;
    }
    std::vector<std::string> texts() const {
        return textsIf([](const JournalEntry&) { return true; });
    }
    std::vector<std::string> only(std::initializer_list<Op> ops) const {
        return textsIf([&](const JournalEntry& e) { return std::find(ops.begin(), ops.end(), e.op) != ops.end(); });
    }
    std::vector<std::string> without(std::initializer_list<Op> ops) const {
        return textsIf([&](const JournalEntry& e) { return std::find(ops.begin(), ops.end(), e.op) == ops.end(); });
    }
    // The serial driver's calls, without those named.
    std::vector<std::string> serial(std::initializer_list<Op> without = {}) const {
        return textsIf([&](const JournalEntry& e) {
            return isSerial(e.op) && std::find(without.begin(), without.end(), e.op) == without.end();
        });
    }

private:
    std::vector<JournalEntry> entries_;
    bool kept_ = true;
};

}  // namespace mova
