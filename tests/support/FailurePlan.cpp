#include "support/FailurePlan.h"

#include <algorithm>

namespace mova {

namespace {

constexpr std::array<const char*, kOps> kNames{
    "open",
    "close",
    "setQueueSizes",
    "setTimeouts",
    "properties",
    "lineSettings",
    "setLineSettings",
    "setEventMask",
    "clearErrors",
    "purge",
    "control",
    "modemStatus",
    "makeTransfer",
    "beginRead",
    "beginWrite",
    "await",
    "finish",
    "cancel",
    "cancelAll",
    "read",
    "write",
    "awaitInput",
    "makeEvent",
    "eventWait",
    "makeRecursiveMutex",
    "makeNamedMutex",
    "acquireNamedMutex",
    "startThread",
    "join",
    "terminate",
    "tickCount",
    "localTime",
    "sleep",
    "longDate",
    "keyOpen",
    "keyEnum",
    "keyQuery",
    "keyClose",
    "datagramOpen",
    "datagramWrite",
    "datagramClose",
    "fileOpen",
    "fileWrite",
    "fileClose",
    "systemVersion",
    "modulePath",
    "fileTime",
};

}  // namespace

const char* nameOf(Op op) { return kNames[static_cast<std::size_t>(op)]; }

std::vector<Op> allOps() {
    std::vector<Op> ops;
    for (std::size_t i = 0; i < kOps; ++i) ops.push_back(static_cast<Op>(i));
    return ops;
}

const char* nameOf(FailureKind kind) {
    switch (kind) {
        case FailureKind::Error: return "error";
        case FailureKind::Pending: return "pending";
        case FailureKind::TimedOut: return "timed out";
        case FailureKind::WaitFailed: return "wait failed";
        case FailureKind::Stopped: return "stopped";
        case FailureKind::ForNothing: return "for nothing";
        case FailureKind::ShortCount: return "short count";
    }
    return "?";
}

std::vector<FailureKind> kindsOf(Op op) {
    using enum FailureKind;
    switch (op) {
        case Op::BeginRead:
        case Op::BeginWrite: return {Error, Pending, TimedOut, WaitFailed, Stopped, ShortCount};
        case Op::Await: return {TimedOut, WaitFailed, Stopped};
        case Op::AwaitInput: return {TimedOut, WaitFailed, Stopped, ForNothing};
        case Op::Finish:
        case Op::Read:
        case Op::Write: return {Error, ShortCount};
        case Op::EventWait: return {WaitFailed};
        case Op::Join: return {TimedOut};
        case Op::Cancel:
        case Op::CancelAll:
        case Op::MakeRecursiveMutex:
        case Op::MakeNamedMutex:
        case Op::Terminate:
        case Op::TickCount:
        case Op::LocalTime:
        case Op::Sleep:
        case Op::KeyClose:
        case Op::DatagramClose:
        case Op::FileClose:
        case Op::SystemVersion: return {};
        default: return {Error};
    }
}

std::uint32_t Failure::shortOf(std::uint32_t asked) const {
    return std::min(asked, count.value_or(asked > 0 ? asked - 1 : 0));
}

bool FailureRule::hits(std::string_view argument) {
    if (!matching_.empty() && argument.find(matching_) == std::string_view::npos) return false;
    ++seen_;
    if (seen_ < first_ || seen_ - first_ >= times_) return false;
    ++delivered_;
    return true;
}

bool FailurePlan::looksAtArguments() const {
    return std::any_of(rules_.begin(), rules_.end(), [](const FailureRule& rule) { return rule.looksAtArguments(); });
}

std::optional<Failure> FailurePlan::onCall(Op op, std::string_view argument) {
    ++calls_[static_cast<std::size_t>(op)];
    std::optional<Failure> failure;
    for (FailureRule& rule : rules_) {
        if (rule.op_ == op && rule.hits(argument) && !failure) failure = rule.failure_;
    }
    if (failure) ++delivered_[static_cast<std::size_t>(op)];
    return failure;
}

std::string FailurePlan::describe() const {
    std::string text;
    for (const FailureRule& rule : rules_) {
        text += std::string("  ") + nameOf(rule.op_) + " " + nameOf(rule.failure_.kind) + " from call " +
                std::to_string(rule.first_) + ", delivered " + std::to_string(rule.delivered_) + "\n";
    }
    return text;
}

}  // namespace mova
