#include "component/Core.h"

#include <utility>

#include "base/HeldText.h"
#include "base/Text.h"

namespace mova {

namespace {

VersionTexts introduce(Platform& platform, MyDebugMsg& debug) {
    debug.setPrefix("MovaCmdSvr: ");
    return postVersionBanner(platform, debug);
}

}  // namespace

ConfirmationEvents::~ConfirmationEvents() = default;

Core::Core(Platform& p, std::shared_ptr<ConfirmationEvents> listener)
    : platform(p),
      events(std::move(listener)),
      log(p),
      debug(p),
      version(introduce(p, debug)),
      trace(p, debug),
      callback(*this, &Core::statusText),
      port(p, debug, trace),
      answers(p, port, session, log, debug, trace, *this),
      sender(port, answers, session, log, debug, trace),
      rf(sender),
      e2p(sender, answers, log),
      actions(sender, answers, session, log),
      at(port, answers, session, log, debug, trace),
      properties(p, port, at, session, trace),
      info(p, at, e2p),
      direct(p, port),
      reader(p, port.stopEvent()),
      outbox(p) {
    port.device().setMessageSink(&callback);
}

Code Core::startReader(const std::shared_ptr<Core>& core) {
    Core* const self = core.get();
    ReaderThread::Work work;
    work.begin = [self] { self->tellListener(&ConfirmationEvents::readerStarted); };
    work.rest = [weak = std::weak_ptr(core)](Event& call) { return readerRest(weak.lock(), call); };
    work.pass = [weak = std::weak_ptr(core)] { receivePass(weak.lock()); };
    work.end = [self] { self->tellListener(&ConfirmationEvents::readerEnded); };
    return core->reader.start(core, std::move(work));
}

void Core::tellListener(void (ConfirmationEvents::*what)()) noexcept {
    if (!events) return;
    try {
        (*events.*what)();
    } catch (...) {
        // A listener's failure is its own.
    }
}

namespace {

// Milliseconds; then the port is asked all the same: it may have bytes, or be gone, without its driver telling.
constexpr std::uint32_t kLongestRest = 995;

// The passes that were left out would have come after 5 ms each, and the pause of a pass that finds no terminator.
std::uint32_t untilNextPass(std::uint32_t rested, std::uint32_t pauseOfPass) {
    if (rested <= ReaderThread::kPollPause) return ReaderThread::kPollPause - rested;
    const std::uint32_t rhythm = ReaderThread::kPollPause + pauseOfPass;
    const std::uint32_t sincePass = (rested - ReaderThread::kPollPause) % rhythm;
    return sincePass == 0 ? 0 : rhythm - sincePass;
}

}  // namespace

std::uint32_t Core::readerRest(const std::shared_ptr<Core>& core, Event& call) noexcept {
    Platform& platform = core->platform;
    const std::uint32_t since = platform.clock.tickCount();
    std::uint32_t pauseOfPass = 0;
    for (bool hasRested = false;; hasRested = true) {
        PortHandle port = kInvalidPort;
        {
            const PortLock lock(core);
            call.reset();  // before the look: what comes after it calls again
            if (!core->session.answerTerminator.empty()) {
                pauseOfPass = ReceiveEngine::pauseFor(core->port.deviceType());
            }
            if (core->reader.isToStop() || !core->nothingToDo()) break;
            if (hasRested && core->interrupted == 0 && core->port.waitingBytes() > 0) break;
            // cppcheck-suppress redundantInitialization ; no variable begins without a value
            port = core->port.listenedPort();
            core->readerRestsFor = port;
        }
        const WaitResult seen =
            port != kInvalidPort ? platform.serial.awaitInput(port, &call, kLongestRest) : call.wait(kLongestRest);
        if (seen != WaitResult::TimedOut) break;
    }
    return untilNextPass(platform.clock.tickCount() - since, pauseOfPass);
}

bool Core::nothingToDo() { return answers.pending().empty() && !port.isToBeReopened(); }

void Core::callReader() {
    if (!readerRestsFor || (nothingToDo() && *readerRestsFor == port.listenedPort())) return;
    readerRestsFor.reset();
    reader.call();
}

void Core::receivePass(const std::shared_ptr<Core>& core) noexcept {
    try {
        const PortLock lock(core);
        if (core->interrupted > 0) return;
        const std::string terminator = core->session.answerTerminator;
        static_cast<void>(core->answers.wait(0, terminator));  // the next pass goes on where this one ended
    } catch (...) {
        // Out of memory: what was not taken stays pending for the next pass.
    }
}

void Core::completed(const MovaRetCmdTag& record) {
    const bool tooMany = outbox.add(eventOf(record));
    if (!tooMany) return;
    trace.record(TraceKind::FreeText,
                 format("More than %zu characters of answers that the listener does not take: the oldest are dropped",
                        kMostHeldText));
}

// The analysis does not follow that the lock is let go of as often as it is held, and then taken as often again.
MOVA_NO_THREAD_SAFETY_ANALYSIS
void Core::passEnded() {
    if (outbox.isEmpty()) return;
    const int depth = std::exchange(lockDepth, 0);
    const bool exchange = !reader.isCurrent();
    if (exchange) ++interrupted;
    for (int i = 0; i < depth; ++i) port.lock().unlock();
    outbox.raise(events.get(), [this] { return reader.isEnding(); });
    for (int i = 0; i < depth; ++i) port.lock().lock();
    if (exchange) --interrupted;
    lockDepth = depth;
}

PortLock::PortLock(std::shared_ptr<Core> core) : core_(std::move(core)) {
    core_->port.lock().lock();
    ++core_->lockDepth;
}

PortLock::~PortLock() {
    if (--core_->lockDepth == 0) core_->callReader();
    core_->port.lock().unlock();
}

}  // namespace mova
