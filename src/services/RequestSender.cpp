#include "services/RequestSender.h"

#include "base/HexText.h"
#include "transport/FrameCodec.h"

namespace mova {

namespace {
constexpr std::size_t kTextSegment = 240;
constexpr std::size_t kLongestMessage = 10239;  // what a request record holds, less its end mark
}  // namespace

Code RequestSender::send(const Delivery& delivery, std::size_t segments,
                         const std::function<std::string(std::size_t)>& payload) {
    const bool confirmed = delivery.acknowledgement == Delivery::Acknowledgement::Confirmation;
    const bool awaited = !confirmed || session_.synchronous;
    if (awaited) answers_.startAfresh();
    Code result = Code::Success;
    for (std::size_t number = 1; number <= segments && result == Code::Success; ++number) {
        const std::string frame = buildRequest(payload(number));
        result = sendSegment(number == 1 ? delivery.firstSegment : delivery.laterSegment, frame);
        if (result != Code::Success || !awaited) continue;
        // Each segment is acknowledged before the next is written.
        result =
            confirmed ? answers_.waitForConfirmation(session_.timeout(Timeout::RfAcknowledgement)) : awaitAckThenOk();
    }
    return result;
}

Code RequestSender::sendText(const Delivery& delivery, Family family, std::string_view message) {
    if (message.size() > kLongestMessage) return Code::NotOpen;  // refused whole: half an object is never written
    const std::size_t segments = (message.size() + kTextSegment - 1) / kTextSegment;
    return send(delivery, segments, [&](std::size_t number) {
        std::string payload;
        appendHexByte(payload, static_cast<std::uint8_t>(family));
        appendHexByte(payload, static_cast<std::uint8_t>(segments));
        appendHexByte(payload, static_cast<std::uint8_t>(number));
        return payload.append(message.substr(kTextSegment * (number - 1), kTextSegment));
    });
}

Code RequestSender::sendSegment(TraceKind kind, const std::string& frame) {
    debug_.post("Send: " + frame);
    log_.write(LogType::At, frame + "\n", LogDirection::Sent);
    trace_.record(kind, std::string_view(frame).substr(kRequestPrefix.size()));
    return port_.pacedWrite(frame.data(), static_cast<std::uint32_t>(frame.size()), session_.timeout(Timeout::Write));
}

Code RequestSender::awaitAckThenOk() {
    const std::uint32_t limit = session_.timeout(Timeout::Acknowledgement);
    Code result = answers_.wait(limit, kAcknowledgement);
    if (result != Code::Success) return result;
    trace_.record(TraceKind::AckSeen, {});  // deliberate: one wording for all three families
    result = answers_.wait(limit, "OK");
    if (result == Code::Success) trace_.record(TraceKind::OkSeen, {});
    return result;
}

}  // namespace mova
