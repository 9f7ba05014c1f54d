#include "cli/Cable.h"

#include <CLI/CLI.hpp>

#include "base/Text.h"

namespace mova::cli {

namespace {

constexpr std::uint32_t kBetweenDriverLooks = 200;  // milliseconds

}  // namespace

void addNoReconnect(CLI::App& command, bool& value) {
    command.add_flag("--no-reconnect", value, "end when the port goes away, instead of waiting for it");
}

Cable::Cable(Context& context, Pulled pulled)
    : context_(context),
      pulled_(pulled),
      tell_([&context](bool, const std::string& text) { context.out.remark(text); }),
      before_(context.session.whenLost([this] { await(); })) {}

Cable::~Cable() { context_.session.whenLost(std::move(before_)); }

void Cable::lose() {
    HandsetSession& session = context_.session;
    const std::string name = session.portName();
    if (pulled_ == Pulled::EndsIt) {
        session.close();
        const Finding gone = portFailed();
        Failure failure = failureOf(gone.code, gone, name + " is gone");
        throw failure;
    }
    ++losses_;
    lostAt_ = session.clock().tickCount();
    tell_(true, name + " is gone; waiting for it");
    session.lose();
}

bool Cable::look() {
    const std::uint32_t now = context_.session.clock().tickCount();
    if (now - lastLook_ < kBetweenDriverLooks) return false;
    const bool told = lookAtOnce();
    lastLook_ = context_.session.clock().tickCount();
    return told;
}

bool Cable::lookAtOnce() {
    HandsetSession& session = context_.session;
    if (session.isLost()) {
        if (!session.reopen()) return false;
        const double seconds = (session.clock().tickCount() - lostAt_) / 1000.0;
        secondsWithout_ += seconds;
        tell_(false, session.portName() + format(" is back after %.1f s", seconds));
        return true;
    }
    if (!session.looksGone()) return false;
    lose();
    return true;
}

void Cable::await(const std::function<bool()>& givesUp) {
    constexpr std::uint32_t kBetweenTries = 20;
    lookAtOnce();
    while (context_.session.isLost() && !(givesUp && givesUp())) {
        checkInterrupt();
        context_.session.clock().sleep(kBetweenTries);
        look();
    }
}

}  // namespace mova::cli
