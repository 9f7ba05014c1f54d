#include <algorithm>

#include "oracle/Frames.h"
#include "oracle/PlainModel.h"
#include "oracle/Replies.h"
#include "oracle/Text.h"

namespace mova::oracle {

std::string PlainModel::rf(unsigned service, unsigned access, unsigned index, const std::string& data) {
    otherThreads();
    enter();
    if (synchronous_) {
        discardInput();
        clearQueue(true);
    }
    const std::size_t segments = data.size() <= 100 ? 1 : (data.size() + 99) / 100;
    std::uint32_t result = 0;
    for (std::size_t number = 1; number <= segments && result == 0; ++number) {
        const std::string part = data.substr((number - 1) * 100, 100);
        std::string payload =
            hexByte(service) + hexByte(access) + hexWord(index) + hexWord(static_cast<unsigned>(part.size()));
        payload +=
            segments == 1 ? "0000" : hexByte(static_cast<unsigned>(number)) + hexByte(static_cast<unsigned>(segments));
        ++exchanges_;
        result = pacedWrite(requestLine(payload + hexOf(part)), timeouts_[1]);
        if (result != 0 || !synchronous_) continue;
        const std::uint32_t start = ticks();
        for (;;) {
            result = run(timeouts_[3] / 10, terminator_);
            if (result == 0) break;
            clearQueue(false);
            // A wait that was stopped is not begun again.
            if (stopSeen()) break;
            if (static_cast<std::int32_t>(start + timeouts_[3]) < static_cast<std::int32_t>(ticks())) break;
        }
    }
    leave();
    return resultText(result);
}

std::uint32_t PlainModel::sendText(unsigned family, const std::string& message) {
    const std::size_t segments = (message.size() + 239) / 240;
    discardInput();
    clearQueue(true);
    std::uint32_t result = 0;
    for (std::size_t number = 1; number <= segments && result == 0; ++number) {
        ++exchanges_;
        result =
            pacedWrite(requestLine(hexByte(family) + hexByte(static_cast<unsigned>(segments)) +
                                   hexByte(static_cast<unsigned>(number)) + message.substr((number - 1) * 240, 240)),
                       timeouts_[1]);
        if (result == 0) result = run(timeouts_[4], "*MOVA=ACK");
        if (result == 0) result = run(timeouts_[4], "OK");
    }
    return result;
}

std::uint32_t PlainModel::e2pRequest(unsigned command, unsigned object, unsigned record, const std::string& data,
                                     std::string& reply) {
    reply.clear();
    const std::uint32_t sent = sendText(0x80, hexWord(static_cast<unsigned>(data.size() / 2 + 6)) + hexByte(command) +
                                                  "00" + hexWord(object) + hexWord(record) + data);
    if (sent != 0) return sent;
    const Reply judged = e2pReply(command, static_cast<std::uint16_t>(object), static_cast<std::uint16_t>(record), data,
                                  fetchKind(kE2p).hexData);
    reply = judged.data;
    return judged.code;
}

std::string PlainModel::e2p(unsigned command, unsigned object, unsigned record, const std::string& data) {
    otherThreads();
    enter();
    std::string reply;
    const std::uint32_t result = e2pRequest(command, object, record, data, reply);
    leave();
    return result == 0 ? resultText(result, reply) : resultText(result, std::nullopt);
}

std::uint32_t PlainModel::readRange(unsigned object, unsigned record, int start, int length, std::string& part) {
    std::string whole;
    const std::uint32_t result = e2pRequest(0x80, object, record, "", whole);
    part.clear();
    if (result == 0 && static_cast<std::size_t>(start) < whole.size()) {
        part = whole.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(length));
    }
    return result;
}

std::uint32_t PlainModel::writeRange(unsigned object, unsigned record, int start, int& length, const std::string& data,
                                     bool& known) {
    std::string whole;
    const std::uint32_t result = e2pRequest(0x80, object, record, "", whole);
    known = result == 0;
    if (result != 0) return result;
    const auto from = std::min(static_cast<std::size_t>(start), whole.size());
    length = static_cast<int>(std::min(static_cast<std::size_t>(length), whole.size() - from));
    for (std::size_t i = 0; i < std::min(static_cast<std::size_t>(length), data.size()); ++i) whole[from + i] = data[i];
    std::string echoed;
    return e2pRequest(0x81, object, record, whole, echoed);
}

std::string PlainModel::e2pReadRange(unsigned object, unsigned record, int start, int length) {
    otherThreads();
    enter();
    std::string part;
    const std::uint32_t result = readRange(object, record, start, length, part);
    leave();
    if (result != 0) return resultText(result, -1, std::nullopt);
    return resultText(result, static_cast<std::int64_t>(part.size()), part);
}

std::string PlainModel::e2pWriteRange(unsigned object, unsigned record, int start, int length,
                                      const std::string& data) {
    otherThreads();
    enter();
    bool known = false;
    const std::uint32_t result = writeRange(object, record, start, length, data, known);
    leave();
    return resultText(result, known ? length : -1, std::nullopt);
}

std::string PlainModel::hci(int option, const std::string& command) {
    otherThreads();
    enter();
    timeouts_[4] = option == 1 ? 10000 : 4000;
    std::uint32_t result = 0x4305;
    std::optional<std::string> reply;
    if ((option >= 0 && option <= 5) || option == 16) {
        const std::string sent = option >= 1 && option <= 3 ? "" : command;
        result = sendText(
            0xA0, hexWord(static_cast<unsigned>(sent.size() / 2)) + hexByte(static_cast<unsigned>(option)) + sent);
        if (result == 0) {
            const Reply judged = hciReply(static_cast<std::uint8_t>(option), fetchKind(kHci).hexData);
            result = judged.code;
            reply = judged.data;
        }
    }
    leave();
    return resultText(result, reply);
}

std::string PlainModel::wifi(unsigned command, const std::string& parameter) {
    otherThreads();
    enter();
    std::string reply;
    std::uint32_t result =
        sendText(0xB0, hexByte(command) + "00" + hexWord(static_cast<unsigned>(parameter.size() / 2)) + parameter);
    if (result == 0) {
        const Reply judged = wifiReply(static_cast<std::uint8_t>(command), fetchKind(kWifi).hexData);
        result = judged.code;
        reply = judged.data;
    }
    leave();
    return result == 0 ? resultText(result, reply) : resultText(result, std::nullopt);
}

}  // namespace mova::oracle
