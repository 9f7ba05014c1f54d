// What the scripted interfaces share: virtual time and threads, the failure plan, the journal, the complaints.
#pragma once
#include <optional>
#include <string>
#include <string_view>

#include "support/CallJournal.h"
#include "support/FailurePlan.h"
#include "support/VirtualScheduler.h"

namespace mova {

struct ScriptedCore {
    VirtualScheduler scheduler;
    FailurePlan failures;
    CallJournal journal;

    ScriptedCore();

    // First thing in every scripted call: counts it, lets its time pass, says how it is to fail.
    std::optional<Failure> enter(Op op, std::string_view argument = {});
    void note(Op op, std::string_view object, std::string_view text, std::string_view outcome = {});
    // What a call looks like, in the form of printf; empty while nobody reads it, which long runs have time for.
    [[gnu::format(printf, 2, 3)]] std::string call(const char* form, ...) const;
    bool isRead() const { return journal.isKept() || failures.looksAtArguments(); }
    // Misuse of an interface (a buffer given away twice, a handle closed twice) fails the test where it happens.
    void complain(const std::string& what) const;

    static std::string outcomeOf(const std::optional<Failure>& failure);
};

std::string hexBytes(std::string_view bytes);  // "41 54 0D"

// printf into a std::string.
[[gnu::format(printf, 1, 2)]] std::string printed(const char* form, ...);

}  // namespace mova
