#include "campaigns/conversation/Course.h"
#include "handset/Frames.h"

// What the caller does, and what must come of it.

namespace mova::conversation {

std::string Course::init() {
    return call(
        "InitCmdManager", [](CVeCmdManager& m) { return resultText(m.InitCmdManager(0)); },
        [](PlainModel& x) { return x.init(); });
}

std::string Course::close() {
    const bool reset = random_.oneIn(2);
    return call(
        reset ? "ResetCmdManager" : "ProprietaryCloseComPort",
        [reset](CVeCmdManager& m) { return resultText(reset ? m.ResetCmdManager(0) : m.ProprietaryCloseComPort(0)); },
        [](PlainModel& x) { return x.closePort(); });
}

std::string Course::open() {
    return call(
        "ProprietaryOpenComPort", [](CVeCmdManager& m) { return resultText(m.ProprietaryOpenComPort(0)); },
        [](PlainModel& x) { return x.openPort(); });
}

std::string Course::switchMode(std::uint32_t option) {
    return call(
        printed("SwitchOperateMode %u", option),
        [=](CVeCmdManager& m) { return resultText(m.SwitchOperateMode(option, 0)); },
        [=](PlainModel& x) { return x.switchMode(option); });
}

void Course::setTimeout(int option, int milliseconds) {
    call(
        printed("AssignTimeoutConstant %d %d", option, milliseconds),
        [=](CVeCmdManager& m) {
            m.AssignTimeoutConstant(option, milliseconds);
            return std::string();
        },
        [=](PlainModel& x) { return x.setTimeout(option, milliseconds); });
}

std::string Course::property(std::uint32_t id, std::uint32_t parameter) {
    return call(
        printed("SetAtCmdProperty %u %u", id, parameter),
        [=](CVeCmdManager& m) { return resultText(m.SetAtCmdProperty(id, parameter)); },
        [=](PlainModel& x) { return x.property(id, parameter); });
}

std::string Course::sendAt(const std::string& command) {
    return call(
        "SendNormalAtCmd " + command, [&](CVeCmdManager& m) { return resultText(m.SendNormalAtCmd(0, command)); },
        [&](PlainModel& x) { return x.sendAt(command); });
}

std::string Course::getAt(int option) {
    return call(
        printed("GetNormalAtResult %d", option),
        [=](CVeCmdManager& m) {
            const AtResult r = m.GetNormalAtResult(option);
            return resultText(r.code, r.length, r.text);
        },
        [=](PlainModel& x) { return x.getAt(option); });
}

std::string Course::clear() {
    return call(
        "ClearQueue",
        [](CVeCmdManager& m) {
            m.ClearQueue();
            return std::string();
        },
        [](PlainModel& x) { return x.clear(); });
}

std::string Course::fetch(bool asText) {
    std::string hex;
    const std::string result = call(
        asText ? "FetchQueuedCnfTextItem" : "FetchQueuedCnfItem",
        [&](CVeCmdManager& m) {
            const QueuedItem i = asText ? m.FetchQueuedCnfTextItem() : m.FetchQueuedCnfItem();
            if (i.error != 0) return std::string("an error");
            hex = asText ? i.data : handset::toHex(i.data);
            return printed("left %u ", i.remained) + resultText(0, i.length, hex);
        },
        [=](PlainModel& x) { return x.fetch(asText); });
    // Damaged data may have an odd number of digits, which the bytes do not show.
    const bool whole = asText || !isNoisy();
    if (!hex.empty() && whole && !ledger_.fetched(hex))
        throw Mismatch("fetched what did not come, or had been given already: " + hex);
    return result;
}

// Gives the payload that the handset confirms it with.
std::string Course::rf(int size) {
    const auto service = static_cast<std::uint8_t>(random_.between(1, 0x70));
    const auto index = static_cast<std::uint16_t>(++serial_);
    std::string data;
    for (int i = 0; i < size; ++i) data += static_cast<char>(i % 7 == 0 ? serial_ : static_cast<unsigned>(i));
    const std::string payload = handset::toHex(std::string{static_cast<char>(service), '\0'} + handset::word(index) +
                                               data.substr(0, std::min<std::size_t>(200, data.size())));
    std::string result;
    if (size == 0) {
        const bool general = random_.oneIn(2);
        result = call(
            printed("RfGeneralTestReq %u %u", service, index),
            [=](CVeCmdManager& m) {
                return resultText(general ? m.RfGeneralTestReq(service, index)
                                          : m.VbRfVarReq(9, service, std::to_string(index)));
            },
            [=](PlainModel& x) { return x.rf(service, 0, index, ""); });
    } else if (size == 2) {
        const auto value = static_cast<std::uint16_t>(handset::wordAt(data, 0));
        result = call(
            printed("RfChangeParamReq %u %u", service, index),
            [=](CVeCmdManager& m) { return resultText(m.RfChangeParamReq(service, 1, index, value)); },
            [&](PlainModel& x) { return x.rf(service, 1, index, data); });
    } else {
        const std::vector<std::uint8_t> table(data.begin(), data.end());
        result = call(
            printed("RfChangeTableReq %u %u %d", service, index, size),
            [&](CVeCmdManager& m) {
                return resultText(
                    m.RfChangeTableReq(service, 2, index, static_cast<std::uint16_t>(size), std::span(table)));
            },
            [&](PlainModel& x) { return x.rf(service, 2, index, data); });
    }
    if (isCalm() && isReady()) truth(result == resultText(0), "an RF request succeeds");
    busyFor(100);
    return payload;
}

std::string Course::unique(int bytes) {
    std::string data = handset::toHex(handset::word(static_cast<std::uint16_t>(++serial_)));
    while (static_cast<int>(data.size()) < 2 * bytes) data += printed("%02X", random_.below(256));
    data.resize(static_cast<std::size_t>(2 * bytes));
    return data;
}

std::string Course::shown(const RangeResult& r) {
    return resultText(r.code, r.length ? std::int64_t{*r.length} : -1, r.text);
}

std::string Course::stored(const Object& o) {
    return handset::toHex(
        *handset_.store().find(static_cast<std::uint16_t>(o.id), static_cast<std::uint16_t>(o.record)));
}

// The handset is heard and hears, and nothing else is on its way: what can be said beforehand of an exchange in
// calm. A confirmation that is filed as an event is none that a request finds.
bool Course::isReady() const {
    return model_.isDeviceOpen() && comm_.isPlugged() && !model_.unsolicited() && now() > busyUntil_;
}

void Course::readObject(const Object& o) {
    const auto id = static_cast<std::int32_t>(o.id);
    const auto record = static_cast<std::int32_t>(o.record);
    const bool ready = isReady();
    const std::string result = call(
        printed("ReadE2PObject %u %u", o.id, o.record),
        [=](CVeCmdManager& m) { return shown(m.ReadE2PObject(id, record)); },
        [=](PlainModel& x) { return x.e2p(0x80, o.id, o.record, ""); });
    if (isCalm() && ready && fits(o)) truth(result == resultText(0, stored(o)), "an object is read as it is stored");
}

void Course::writeObject(const Object& o) {
    const auto id = static_cast<std::int32_t>(o.id);
    const auto record = static_cast<std::int32_t>(o.record);
    const std::string data = unique(o.bytes);
    const bool ready = isReady();
    const std::string result = call(
        printed("WriteE2PObject %u %u ", o.id, o.record) + data,
        [&](CVeCmdManager& m) { return shown(m.WriteE2PObject(id, record, data)); },
        [&](PlainModel& x) { return x.e2p(0x81, o.id, o.record, data); });
    if (isCalm() && ready && fits(o)) {
        truth(result == resultText(0, data), "an object is written");
        truth(stored(o) == data, "the written object is stored");
    }
}

void Course::readRange(const Object& o) {
    const int start = random_.between(0, 2 * o.bytes + 3);
    const int length = random_.between(0, 2 * o.bytes);
    const bool ready = isReady();
    const std::string result = call(
        printed("ReadE2PObjectEx %u %u %d %d", o.id, o.record, start, length),
        [=](CVeCmdManager& m) {
            return shown(
                m.ReadE2PObjectEx(static_cast<std::int32_t>(o.id), static_cast<std::int32_t>(o.record), start, length));
        },
        [=](PlainModel& x) { return x.e2pReadRange(o.id, o.record, start, length); });
    if (isCalm() && ready && fits(o) && start < 2 * o.bytes) {
        const std::string part = stored(o).substr(static_cast<std::size_t>(start), static_cast<std::size_t>(length));
        truth(result == resultText(0, static_cast<std::int64_t>(part.size()), part), "a range is read as it is stored");
    }
}

void Course::writeRange(const Object& o) {
    const int start = random_.between(0, 2 * o.bytes);
    const int length = random_.between(0, 2 * o.bytes);
    const std::string data = unique(random_.between(0, o.bytes));
    call(
        printed("WriteE2PObjectEx %u %u %d %d ", o.id, o.record, start, length) + data,
        [&](CVeCmdManager& m) {
            return shown(m.WriteE2PObjectEx(static_cast<std::int32_t>(o.id), static_cast<std::int32_t>(o.record), start,
                                            length, data));
        },
        [&](PlainModel& x) { return x.e2pWriteRange(o.id, o.record, start, length, data); });
}

void Course::provision() {
    const int which = random_.between(2, 7);
    const std::string data = which == 2 || which == 4 || which == 5 ? unique(random_.between(1, 30)) : "";
    const int object = static_cast<int>(++serial_);
    call(
        printed("provisioning %d %d ", which, object) + data,
        [&](CVeCmdManager& m) {
            switch (which) {
                case 2: return shown(m.SendE2PPasswd(object, 3, data));
                case 3: return shown(m.SendAuthReq(object, 3));
                case 4: return shown(m.SendAuthKey(object, 3, data));
                case 5: return shown(m.SendSerialNumber(object, 3, data));
                case 6: return shown(m.SendHashReq(object, 3));
                default: return shown(m.SendLockOtp(object, 3));
            }
        },
        [&](PlainModel& x) {
            return x.e2p(0x80u + static_cast<unsigned>(which), static_cast<unsigned>(object), 3, data);
        });
}

void Course::hci() {
    constexpr std::array kOptions{0, 0, 2, 3, 4, 5, 16, 16, 6, 1};
    const int option = random_.oneOf(kOptions);
    const std::string command = unique(random_.oneIn(6) ? random_.between(100, 300) : random_.between(1, 20));
    const bool ready = isReady();
    const std::string result = call(
        printed("HciAction %d ", option) + command,
        [&](CVeCmdManager& m) { return shown(m.HciAction(option, command)); },
        [&](PlainModel& x) { return x.hci(option, command); });
    if (!random_.oneIn(4)) shortenWaits();
    if (!isCalm() || !ready || option == 6) return;
    const bool sent = option == 0 || option > 3;
    truth(result == resultText(0, "00" + (sent ? command : "")), "an HCI action comes back");
}

void Course::wifi() {
    const auto command = static_cast<std::uint8_t>(random_.between(1, 255));
    const std::string parameter = unique(random_.oneIn(6) ? random_.between(100, 300) : random_.between(1, 20));
    const bool ready = isReady();
    const std::string result = call(
        printed("WiFiAction %u ", command) + parameter,
        [&](CVeCmdManager& m) { return shown(m.WiFiAction(command, parameter)); },
        [&](PlainModel& x) { return x.wifi(command, parameter); });
    if (isCalm() && ready) truth(result == resultText(0, parameter), "a WiFi action comes back");
}

void Course::info() {
    constexpr std::array kOptions{0, 2, 3, 6, 10, 3, 6, 11};
    const int option = random_.oneOf(kOptions);
    const int access = random_.between(0, 1);
    const std::string value = printed("N%u", ++serial_);
    const bool ready = isReady();
    const std::string result = call(
        printed("SpecificInfo %d %d ", option, access) + value,
        [&](CVeCmdManager& m) { return shown(m.SpecificInfo(option, access, value)); },
        [&](PlainModel& x) { return x.info(option, access, value); });
    if (isCalm() && ready && access == 1 && (option == 3 || option == 6))
        truth(result == resultText(0, value), "an identity field is written");
}

void Course::at() {
    const std::string commands[] = {"AT",
                                    "ATI",
                                    "AT+CGSN",
                                    "AT+CSQ",
                                    "AT+CREG?",
                                    "AT%V",
                                    "ATD*#06#",
                                    "AT%OTP?",
                                    "AT+FOO",
                                    "AT%CNF=3,20",
                                    "AT%CNF=7,0",
                                    "ATE0",
                                    "ATE1",
                                    "",
                                    "AT*MOVA=zz",
                                    std::string(4095, 'A'),
                                    printed("AT+N%u", ++serial_)};
    const std::string& command = commands[random_.below(static_cast<std::uint32_t>(std::size(commands)))];
    sendAt(command);
    busyFor(400);
    if (random_.oneIn(5)) return;
    letPass(random_.below(120));
    settle();
    for (int i = random_.between(1, 2); i > 0; --i) getAt(random_.between(0, 3));
}

void Course::chooseProperty() {
    constexpr std::array kIds{1u,   2u,   3u,   4u,   5u,   7u,   10u,  11u,  13u, 101u, 101u, 102u, 103u,
                              105u, 106u, 107u, 110u, 111u, 112u, 113u, 114u, 50u, 0u,   115u, 100u};
    constexpr std::array kSleep{8u, 9u, 108u, 109u, 104u};
    const std::uint32_t id = manner_ != Manner::Calm && random_.oneIn(5) ? random_.oneOf(kSleep) : random_.oneOf(kIds);
    const bool ready = isReady();
    const std::string result = property(id, random_.below(3));
    if (id < 100) busyFor(100);
    if (isCalm() && ready && id > 100 && id < 115 && id != 111 && id != 113)
        truth(result == resultText(0), "a property is acknowledged");
}

void Course::direct() {
    const std::string bytes = random_.oneIn(2) ? "AT\r" : std::string("AT+N") + std::to_string(++serial_) + "\r";
    switch (random_.below(settings_.compared ? 4 : 5)) {
        case 0: {
            const std::string hex = handset::toHex(bytes);
            const int count = !isCalm() && random_.oneIn(3) ? random_.between(1, 9) : static_cast<int>(bytes.size());
            call(
                "DirectWriteHexData " + hex + printed(" %d", count),
                [&](CVeCmdManager& m) {
                    const CountResult r = m.DirectWriteHexData(hex, count);
                    return resultText(r.code, r.count, std::nullopt);
                },
                [&](PlainModel& x) { return x.writeHex(hex, count); });
            break;
        }
        case 1: {
            const std::vector<std::uint8_t> array(bytes.begin(), bytes.end());
            call(
                "DirectWriteAsciiData " + bytes,
                [&](CVeCmdManager& m) {
                    const CountResult r = m.DirectWriteAsciiData(array, static_cast<std::int32_t>(array.size()));
                    return resultText(r.code, r.count, std::nullopt);
                },
                [&](PlainModel& x) { return x.writeArray(bytes, static_cast<int>(bytes.size())); });
            break;
        }
        case 2: {
            const int count = random_.between(1, 300);
            call(
                printed("DirectReadHexData %d", count),
                [=](CVeCmdManager& m) {
                    const ReadResult r = m.DirectReadHexData(count);
                    return resultText(r.code, r.count, r.data);
                },
                [=](PlainModel& x) { return x.readHex(count); });
            break;
        }
        case 3:
            call(
                "DirectQueryDataInQueue",
                [](CVeCmdManager& m) { return resultText(static_cast<std::uint32_t>(m.DirectQueryDataInQueue())); },
                [](PlainModel& x) { return x.waiting(); });
            break;
        default: {
            const int duration = random_.between(0, 1200);
            call(
                printed("RetriveComPortData 3 %d", duration),
                [=](CVeCmdManager& m) { return resultText(0, m.RetriveComPortData(3, duration)); },
                [=](PlainModel& x) { return x.collect(duration); });
        }
    }
}

void Course::act() {
    const int choice = random_.between(1, 100);
    const Object& object =
        !isCalm() && random_.oneIn(60) && !settings_.compared ? kLargeObject : random_.oneOf(kObjects);
    constexpr std::array kRfSizes{0, 0, 2, 2, 5, 100, 101, 250};
    constexpr std::array kSynchronousModes{0u, 3u, 4u, 6u};
    constexpr std::array kTimeouts{50, 200, 500, 1000, 3000, 0, -1};
    if (choice <= 14)
        at();
    else if (choice <= 26)
        rf(random_.oneOf(kRfSizes));
    else if (choice <= 32)
        readObject(object);
    else if (choice <= 38)
        writeObject(object);
    else if (choice <= 41)
        readRange(object);
    else if (choice <= 44)
        writeRange(object);
    else if (choice <= 47)
        provision();
    else if (choice <= 51)
        hci();
    else if (choice <= 55)
        wifi();
    else if (choice <= 59)
        info();
    else if (choice <= 71)
        for (int i = random_.between(1, 4); i > 0; --i) fetch(!random_.oneIn(4));
    else if (choice <= 73)
        clear();
    else if (choice <= 79)
        chooseProperty();
    else if (choice <= 83)
        direct();
    else if (choice <= 92)
        switchMode(settings_.compared ? random_.oneOf(kSynchronousModes) : random_.below(7));
    else if (choice <= 95)
        setTimeout(random_.between(0, 7), isCalm() ? 3000 : random_.oneOf(kTimeouts));
    else if (choice <= 96)
        init();
    else if (choice <= 97)
        open();
    else if (choice <= 98)
        close();
    else if (choice <= 99)
        info();
    else
        listen();
}

// Confirmations pile up, more than a queue holds.
void Course::listen() {
    const int count = random_.between(90, 130);
    tell(printed("    %d confirmations in a row", count));
    for (int i = 0; i < count; ++i) {
        sendUnsolicited();
        if (model_.synchronous()) {
            letPass(3);
            settle();
            if (random_.oneIn(2)) getAt(2);
        } else {
            letPass(random_.oneIn(4) ? 12 : 3);
        }
    }
    busyFor(400);
}

}  // namespace mova::conversation
