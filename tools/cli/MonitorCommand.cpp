#include <CLI/CLI.hpp>

#include "base/Text.h"
#include "cli/AnswerCheck.h"
#include "cli/AtExchange.h"
#include "cli/Commands.h"
#include "cli/Context.h"
#include "cli/Interrupt.h"
#include "cli/LineTap.h"
#include "cli/Terminal.h"

namespace mova::cli {

namespace {

struct MonitorOptions {
    std::uint32_t count = 0;  // 0: without end
    double seconds = 0;       // 0: without end
    std::vector<std::string> commands;
};

std::string timeText(const LocalTime& t) {
    return format("%04d-%02d-%02dT%02d:%02d:%02d.%03d", t.year, t.month, t.day, t.hour, t.minute, t.second,
                  t.millisecond);
}

// Confirmations that did not arrive whole. The events do not tell of one that was followed by a good one at once.
class DamageCount {
public:
    void take(const LineTalk& talk) {
        for (const LineTurn& turn : talk) received_ += turn.received;
        const std::size_t last = received_.rfind('\n');
        const bool anyEnd = last != std::string::npos;
        const std::size_t whole = anyEnd ? last + 1 : 0;
        const std::size_t from = cutLine_ && anyEnd ? received_.find('\n') + 1 : 0;
        const Damage damage = damageIn(std::string_view(received_).substr(from, whole - from));
        received_.erase(0, whole);
        // No line of the protocol is as long: what comes of it until its end is none.
        cutLine_ = received_.size() > LineTap::kMostNoted || (cutLine_ && !anyEnd);
        if (cutLine_) received_.clear();
        if (count_ == 0) first_ = damage.first;
        count_ += damage.count;
    }

    std::size_t count() const { return count_; }
    const Finding& first() const { return first_; }

private:
    std::string received_;  // the line that has not ended yet
    bool cutLine_ = false;  // what it began with is forgotten
    std::size_t count_ = 0;
    Finding first_;
};

void show(Context& context, const std::string& text, const Damage& damage) {
    const std::string time = timeText(context.session.clock().localTime());
    constexpr std::size_t kDate = 11;
    context.out.line(StyledText(Style::Faint, time.substr(kDate)) + "  " + text);
    if (damage.count > 0) context.out.line("  " + StyledText(Style::Bad, damage.first.reason));
    Json object = Json::object();
    object["time"] = time;
    object["text"] = text;
    if (damage.count > 0) object["damaged"] = damage.first.reason;
    context.out.object(object);
}

// Until enough has come, the time is over, or Ctrl-C.
void watch(Context& context, const MonitorOptions& options) {
    constexpr std::uint32_t kPause = 5;
    CVeCmdManager& handset = context.session.handset();
    Clock& clock = context.session.clock();
    const Listening listening(context.session);
    DamageCount damaged;
    const ModeForNow events(handset, ModeForNow::kEvents);
    context.session.inbox().take();
    if (options.count == 0 && options.seconds <= 0)
        context.out.remark("watching " + context.session.portName() + "; Ctrl-C ends");
    for (const std::string& atCommand : options.commands) {
        check(handset.SendNormalAtCmd(0, atCommand), quoted(atCommand) + " was not sent");
    }
    const std::uint32_t begin = clock.tickCount();
    const auto limit = static_cast<std::uint32_t>(options.seconds * 1000);
    std::uint32_t seen = 0;
    const auto enough = [&] { return options.count > 0 && seen == options.count; };
    while (!interrupted() && !enough()) {
        for (const std::string& text : context.session.inbox().take()) {
            const Damage damage = damageIn(text);
            show(context, text, damage);
            if (damage.count == 0) ++seen;
            if (enough()) break;
        }
        const std::uint64_t dropped = context.session.inbox().takeDropped();
        if (dropped > 0)
            context.out.remark(std::to_string(dropped) + " confirmations came faster than they could be shown");
        damaged.take(context.session.line().take());
        if (enough()) break;
        if (readerGone()) failFile("nobody reads the standard output any more");
        if (limit > 0 && clock.tickCount() - begin >= limit) break;
        clock.sleep(kPause);
    }
    context.result["count"] = seen;
    context.result["damaged"] = damaged.count();
    if (damaged.count() > 0) {
        check(Code::Success, damaged.first(),
              format("not every confirmation arrived whole, %zu did not", damaged.count()));
    }
    if (enough()) return;
    if (context.session.line().failed()) check(Code::Success, portFailed(), "watching ended");
    if (!interrupted() && options.count > 0) {
        throw Failure{ExitStatus::NoAnswer, format("%u of %u confirmations came in time", seen, options.count),
                      "does the handset send any? --send gives it a command first"};
    }
    // Ctrl-C is the way to end an endless watch.
    if (interrupted() && (limit > 0 || options.count > 0)) checkInterrupt();
}

}  // namespace

void describeMonitor(CLI::App& command, Context& context) {
    auto o = std::make_shared<MonitorOptions>();
    command.description("Shows confirmations and other answers as they come, until Ctrl-C");
    addNumber(command, "-n,--count", o->count, 0xFFFFFFFF, "end after so many; fewer within --seconds is a failure");
    command.add_option("-s,--seconds", o->seconds, "end after so many seconds")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.001, 4'000'000.0).description(""));
    command.add_option("--send", o->commands, "send this AT command first; may be given several times")
        ->type_name("COMMAND");
    command.footer(
        "What the handset sends at once is told as one. A confirmation that arrives damaged is told, does not count, "
        "and "
        "makes the watch a failure. With --json each confirmation is an object with time and "
        "text.");
    whenRun(command, context, [&context, o] { watch(context, *o); });
}

}  // namespace mova::cli
