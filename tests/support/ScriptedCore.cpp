#include "support/ScriptedCore.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>

namespace mova {

namespace {

constexpr std::size_t kCallsShown = 20;

std::string printedList(const char* form, std::va_list arguments) {
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, form, arguments);
    std::string text(length > 0 ? static_cast<std::size_t>(length) : 0U, '\0');
    if (length > 0) std::vsnprintf(text.data(), text.size() + 1, form, again);
    va_end(again);
    return text;
}

}  // namespace

ScriptedCore::ScriptedCore() {
    scheduler.setContext([this] {
        std::string text;
        const std::string plan = failures.describe();
        if (!plan.empty()) text += "Failure plan:\n" + plan;
        const auto& calls = journal.entries();
        text += "Last calls:\n";
        for (std::size_t i = calls.size() > kCallsShown ? calls.size() - kCallsShown : 0; i < calls.size(); ++i) {
            text += printed("  %lld us, thread %u: ", static_cast<long long>(calls[i].when.count()), calls[i].thread);
            text += calls[i].text + "\n";
        }
        return text;
    });
}

std::optional<Failure> ScriptedCore::enter(Op op, std::string_view argument) {
    scheduler.countCall(mayBeOvertaken(op));
    return failures.onCall(op, argument);
}

void ScriptedCore::note(Op op, std::string_view object, std::string_view call, std::string_view outcome) {
    if (!journal.isKept()) return;
    std::string text(call);
    if (!outcome.empty()) text.append(" -> ").append(outcome);
    journal.note({op, scheduler.now(), scheduler.current().id, std::string(object), std::move(text)});
}

std::string ScriptedCore::call(const char* form, ...) const {
    if (!isRead()) return {};
    std::va_list arguments;
    va_start(arguments, form);
    std::string text = printedList(form, arguments);
    va_end(arguments);
    return text;
}

void ScriptedCore::complain(const std::string& what) const { ADD_FAILURE() << "misuse of the platform: " << what; }

std::string ScriptedCore::outcomeOf(const std::optional<Failure>& failure) {
    if (!failure) return {};
    if (failure->kind == FailureKind::Error) return "error " + std::to_string(failure->error);
    return nameOf(failure->kind);
}

std::string hexBytes(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) {
        text += printed(text.empty() ? "%02X" : " %02X", static_cast<unsigned>(static_cast<unsigned char>(byte)));
    }
    return text;
}

std::string printed(const char* form, ...) {
    std::va_list arguments;
    va_start(arguments, form);
    std::string text = printedList(form, arguments);
    va_end(arguments);
    return text;
}

}  // namespace mova
