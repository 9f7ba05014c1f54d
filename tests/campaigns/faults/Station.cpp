#include "campaigns/faults/Station.h"

namespace mova {

namespace {

constexpr const char* kImei = "490154203237518";
// RfChangeParamReq(1, 2, 3, 0xABCD) as the handset confirms it: service, status, index, data.
constexpr const char* kConfirmation = "01000300CDAB";

handset::Profile silentProfile() {
    handset::Profile profile;
    profile.imei = kImei;
    profile.echo = false;
    profile.baudRate = 0;
    profile.sleepAfterMicroseconds = 3'600'000'000;
    return profile;
}

std::string wrong(const char* what, Code code, const std::string& text) {
    return printed("%s: code 0x%X, \"%s\"", what, number(code), text.c_str());
}

}  // namespace

Station::Station(std::uint32_t mode, Card card, Surroundings& surroundings)
    : port(platform.withPort(7, card == Card::Usb ? "USB Serial Port (COM7)" : "Communications Port (COM7)")),
      handset(silentProfile()),
      mode_(mode),
      surroundings_(surroundings),
      seen_(surroundings.around(platform)) {
    platform.journal().keep(false);
    platform.withDebugViewer();
    port.attach(peer_);
    handset.setBaudRate(0);
    handset.store().put(0x1234, 1, std::string("\x01\x02\xAB\xCD\xEF", 5));
    handset.store().put(0x2000, 1, std::string(500, '\x5A'));
    make();
}

Station::~Station() {
    platform.failures().clear();
    manager.reset();
    takeBack();
    platform.settle();
}

void Station::make() {
    // The listener's life is the station's.
    manager =
        std::make_unique<CVeCmdManager>(seen_, std::shared_ptr<ConfirmationEvents>(std::shared_ptr<void>(), this));
    manager->put_CommPortId(7);
    manager->AssignTimeoutConstant(4, 500);
    aside([&] {
        manager->ActivateMovaLogging(kTraceFile, 0, 1);
        manager->Set_Log_File_Path(kLogFile);
    });
}

void Station::open() {
    manager->InitCmdManager(0);
    manager->SwitchOperateMode(mode_, 0);
}

void Station::aside(const std::function<void()>& what) {
    surroundings_.pause();
    what();
    surroundings_.resume();
}

void Station::sendUnsolicited() {
    aside([&] {
        handset.sendUnsolicited(static_cast<std::uint64_t>(platform.now().count()));
        port.peerHasNews();
    });
}

std::int32_t Station::lend() {
    aside([&] { lent_ = platform.serial().open(port.path(), true); });
    return static_cast<std::int32_t>(lent_);
}

void Station::takeBack() {
    if (lent_ != kInvalidPort && platform.serial().openHandles() > 0) platform.serial().close(lent_);
    lent_ = kInvalidPort;
}

void Station::heal() {
    platform.failures().clear();
    platform.whenStuck({});
    port.replug();
    port.attach(peer_);
    // A handset waits no longer for the rest of a line; what it says to that is over as well.
    handset.receive("\r", static_cast<std::uint64_t>(platform.now().count()));
    handset.setEcho(false);
    platform.advance(3000);  // a background reader that closed the port opens it again
}

std::string Station::reopen() {
    manager->put_CommPortId(7);
    const Code code = manager->InitCmdManager(0);
    return code == 0 ? std::string() : wrong("reopening", code, {});
}

std::string Station::tryOut() {
    if (mode_ == kEventMode) return tryEvent();
    std::string trouble = tryRequest();
    if (trouble.empty()) trouble = tryCommand();
    if (trouble.empty()) trouble = tryConfirmation();
    return trouble;
}

std::string Station::tryRequest() {
    const TextResult read = manager->ReadE2PObject(0x1234, 1);
    const bool good = read.code == 0 && read.text == "0102ABCDEF";
    return good ? std::string() : wrong("E2P read", read.code, read.text.value_or("(none)"));
}

std::string Station::tryCommand() {
    const TextResult imei = manager->SpecificInfo(2, 0, "");
    const bool good = imei.code == 0 && imei.text == kImei;
    return good ? std::string() : wrong("IMEI", imei.code, imei.text.value_or("(none)"));
}

std::string Station::tryConfirmation() {
    manager->ClearQueue();
    const Code code = manager->RfChangeParamReq(1, 2, 3, 0xABCD);
    platform.advance(20);
    const QueuedItem item = manager->FetchQueuedCnfTextItem();
    if (code != 0 || item.data != kConfirmation) return wrong("RF request", code, item.data);
    const QueuedItem more = manager->FetchQueuedCnfTextItem();
    return more.data.empty() ? std::string() : wrong("a second confirmation", Code::Success, more.data);
}

std::string Station::tryEvent() {
    platform.advance(20);
    events.clear();
    const Code code = manager->RfChangeParamReq(1, 2, 3, 0xABCD);
    platform.advance(20);
    std::string confirmations;
    for (const std::string& event : events) {
        if (event.starts_with("0100")) confirmations += event;
    }
    return code == 0 && confirmations == kConfirmation ? std::string() : wrong("RF event", code, confirmations);
}

void Station::OnCpGetMovaCnf(std::int32_t, std::int32_t, const std::string& text) {
    aside([&] { events.push_back(text); });
}

}  // namespace mova
