#include <CLI/CLI.hpp>

#include "base/Text.h"
#include "cli/AnswerCheck.h"
#include "cli/AtExchange.h"
#include "cli/Cable.h"
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
    bool noReconnect = false;
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

void tellCable(Context& context, bool gone, const std::string& text) {
    context.out.remark(text);
    Json object = Json::object();
    object["time"] = timeText(context.session.clock().localTime());
    object["port"] = gone ? "gone" : "back";
    context.out.object(object);
}

// Until enough has come, the time is over, or Ctrl-C; from one pulling of the cable to the next.
class Watch {
public:
    Watch(Context& context, const MonitorOptions& options)
        : context_(context),
          options_(options),
          cable_(context, options.noReconnect ? Cable::Pulled::EndsIt : Cable::Pulled::IsMended),
          limit_(static_cast<std::uint32_t>(options.seconds * 1000)) {
        cable_.tellBy([&context](bool gone, const std::string& text) { tellCable(context, gone, text); });
    }

    void run() {
        context_.session.handset();
        begin_ = context_.session.clock().tickCount();
        context_.session.inbox().take();
        if (options_.count == 0 && options_.seconds <= 0)
            context_.out.remark("watching " + context_.session.portName() + "; Ctrl-C ends");
        for (bool first = true; !isOver(); first = false) {
            if (listen(first)) break;
            // --no-reconnect has its say behind what was seen before.
            if (options_.noReconnect) break;
            cable_.lose();
            wentAway_ = false;
            cable_.await([this] { return isOver(); });
        }
        takeIn();  // what came at the very end
        finish();
    }

private:
    bool enough() const { return options_.count > 0 && seen_ == options_.count; }
    bool isOver() {
        if (interrupted() || enough()) return true;
        if (readerGone()) failFile("nobody reads the standard output any more");
        return limit_ > 0 && context_.session.clock().tickCount() - begin_ >= limit_;
    }

    // Returns false when the port has gone.
    bool listen(bool first) {
        constexpr std::uint32_t kPause = 5;
        CVeCmdManager& handset = context_.session.handset();
        const Listening listening(context_.session);
        const ModeForNow events(handset, ModeForNow::kEvents);
        if (first) {
            for (const std::string& atCommand : options_.commands) {
                check(handset.SendNormalAtCmd(0, atCommand), quoted(atCommand) + " was not sent");
            }
        }
        bool gone = false;
        while (!gone && !interrupted() && !enough()) {
            gone = context_.session.line().isGone();
            takeIn();
            if (isOver()) break;
            if (!gone) context_.session.clock().sleep(kPause);
        }
        wentAway_ = gone;
        return !gone;
    }

    void takeIn() {
        for (const std::string& text : context_.session.inbox().take()) {
            if (enough()) break;
            const Damage damage = damageIn(text);
            show(context_, text, damage);
            if (damage.count == 0) ++seen_;
        }
        const std::uint64_t dropped = context_.session.inbox().takeDropped();
        if (dropped > 0)
            context_.out.remark(std::to_string(dropped) + " confirmations came faster than they could be shown");
        damaged_.take(context_.session.line().take());
    }

    void finish() {
        context_.result["count"] = seen_;
        context_.result["damaged"] = damaged_.count();
        if (cable_.losses() > 0) context_.result["portLost"] = cable_.losses();
        if (damaged_.count() > 0) {
            check(Code::Success, damaged_.first(),
                  format("not every confirmation arrived whole, %zu did not", damaged_.count()));
        }
        if (enough()) return;
        if (context_.session.isLost() || wentAway_) check(Code::Success, portFailed(), "watching ended");
        if (!interrupted() && options_.count > 0) {
            throw Failure{ExitStatus::NoAnswer,
                          std::to_string(seen_) + " of " + counted(options_.count, "confirmation") + " came in time",
                          "does the handset send any? --send gives it a command first"};
        }
        // Ctrl-C is the way to end an endless watch.
        if (interrupted() && (limit_ > 0 || options_.count > 0)) checkInterrupt();
    }

    Context& context_;
    const MonitorOptions& options_;
    Cable cable_;
    const std::uint32_t limit_;
    std::uint32_t begin_ = 0;
    std::uint32_t seen_ = 0;
    bool wentAway_ = false;  // and was not waited for
    DamageCount damaged_;
};

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
    addNoReconnect(command, o->noReconnect);
    command.footer(
        "What the handset sends at once is told as one. A confirmation that arrives damaged is told, does not count, "
        "and "
        "makes the watch a failure. A port that goes away is waited for; what the handset says meanwhile is lost. With "
        "--json each confirmation is an object with time and text, and a pulled cable one with time and port (gone, "
        "back).");
    whenRun(command, context, [&context, o] { Watch(context, *o).run(); });
}

}  // namespace mova::cli
