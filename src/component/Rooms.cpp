#include "component/Rooms.h"

#include "base/Text.h"

namespace mova {

namespace {

VersionTexts introduce(Platform& platform, MyDebugMsg& debug) {
    debug.setPrefix("MovaCmdSvr: ");
    return postVersionBanner(platform, debug);
}

std::string eventText(const MovaRetCmdTag& record) {
    if (record.valid != 1) return record.responseText;
    switch (record.kind) {
        case LineClass::AtText:
        case LineClass::Echo:
            return foldLines(record.responseText + record.terminatorText);
        case LineClass::Confirmation:
        case LineClass::E2p:
            return record.hexData;
        case LineClass::Acknowledgement:
            return record.responseText;
        case LineClass::Hci:
        case LineClass::Wifi:
            break;
    }
    return {};
}

}  // namespace

Rooms::Rooms(Platform& p, std::shared_ptr<ConfirmationEvents> listener)
    : platform(p),
      events(std::move(listener)),
      debug(p),
      version(introduce(p, debug)),
      trace(p, debug),
      callback(*this, &Rooms::statusText),
      port(p, debug, trace),
      answers(p, port, session, debug, trace, *this),
      sender(p, port, answers, session, debug, trace),
      rf(sender),
      e2p(p, sender, answers, session),
      actions(p, sender, answers, session),
      at(p, port, answers, session, debug, trace),
      properties(p, port, at, session, trace),
      info(p, at, e2p),
      direct(p, port),
      reader(p, port.stopEvent()) {
    port.device().setMessageSink(&callback);
}

std::uint32_t Rooms::startReader(const std::shared_ptr<Rooms>& rooms) {
    Rooms* const self = rooms.get();
    ReaderThread::Work work;
    work.begin = [self] { self->tellListener(&ConfirmationEvents::readerStarted); };
    work.pass = [weak = std::weak_ptr(rooms)] { receivePass(weak.lock()); };
    work.end = [self] { self->tellListener(&ConfirmationEvents::readerEnded); };
    return rooms->reader.start(rooms, std::move(work));
}

void Rooms::tellListener(void (ConfirmationEvents::*what)()) noexcept {
    if (!events) return;
    try {
        (*events.*what)();
    } catch (...) {
        // A listener's failure is its own.
    }
}

void Rooms::receivePass(const std::shared_ptr<Rooms>& rooms) noexcept {
    try {
        const Tenure tenure(rooms);
        const std::string terminator = rooms->session.answerTerminator;
        rooms->answers.wait(0, terminator);
    } catch (...) {
        // Out of memory: what was not taken stays pending for the next pass.
    }
}

void Rooms::deliver(MovaRetCmdTag record) {
    if (session.unsolicited) {
        outbox.push_back(confirmationOf(record));
    } else {
        answers.queue().append(std::move(record));
    }
}

Rooms::Confirmation confirmationOf(const MovaRetCmdTag& record) {
    std::string text = eventText(record);
    const auto length = static_cast<std::int32_t>(text.size());
    return {length, std::move(text)};
}

void Rooms::raise(const std::vector<Confirmation>& confirmations) noexcept {
    constexpr std::int32_t kConfirmation = 1;
    for (const Confirmation& confirmation : confirmations) {
        if (!events || reader.isEnding()) return;
        try {
            events->OnCpGetMovaCnf(kConfirmation, confirmation.lParam, confirmation.text);
        } catch (...) {
            // A listener's failure is its own.
        }
    }
}

Tenure::Tenure(std::shared_ptr<Rooms> rooms) : rooms_(std::move(rooms)) {
    rooms_->port.lock().lock();
    ++rooms_->tenures;
}

Tenure::~Tenure() {
    std::vector<Rooms::Confirmation> confirmations;
    if (--rooms_->tenures == 0) confirmations.swap(rooms_->outbox);
    rooms_->port.lock().unlock();
    rooms_->raise(confirmations);
}

}  // namespace mova
