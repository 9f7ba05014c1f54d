// Sends a request as a series of "AT*MOVA=" frames and waits for the handset's acknowledgement of each. The four
// families share it; what differs between them is in their Delivery. Codes are those of the port's write and of the
// receive engine's wait; there is no resending. Callers hold the port's lock.
#pragma once
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "device/HandsetPort.h"
#include "logging/FileLog.h"
#include "logging/MyDebugMsg.h"
#include "logging/Trace.h"
#include "transport/Answers.h"
#include "transport/Session.h"

namespace mova {

struct Delivery {
    TraceKind firstSegment;
    TraceKind laterSegment;
    enum class Acknowledgement {
        Confirmation,  // only in the synchronous mode; otherwise nothing is flushed or awaited
        AckThenOk,     // "*MOVA=ACK", then "OK", in every mode
    } acknowledgement;
};

namespace delivery {
using enum Delivery::Acknowledgement;
constexpr Delivery Rf{TraceKind::RfSent, TraceKind::RfSent, Confirmation};
constexpr Delivery E2p{TraceKind::E2pFirstSent, TraceKind::E2pLaterSent, AckThenOk};
constexpr Delivery Hci{TraceKind::HciFirstSent, TraceKind::HciLaterSent, AckThenOk};
constexpr Delivery Wifi{TraceKind::WifiFirstSent, TraceKind::WifiLaterSent, AckThenOk};
}  // namespace delivery

class RequestSender {
public:
    RequestSender(HandsetPort& port, Answers& answers, const Session& session, FileLog& log, MyDebugMsg& debug,
                  Trace& trace)
        : port_(port), answers_(answers), session_(session), log_(log), debug_(debug), trace_(trace) {}

    // payload(n) gives segment n (from 1) as hexadecimal text. No segments: nothing is sent, result 0.
    Code send(const Delivery& delivery, std::size_t segments, const std::function<std::string(std::size_t)>& payload)
        MOVA_REQUIRES(portLockRole);

    // A text family's message, cut into segments of 240 characters behind family byte, segment count and number.
    Code sendText(const Delivery& delivery, Family family, std::string_view message) MOVA_REQUIRES(portLockRole);

private:
    Code sendSegment(TraceKind kind, const std::string& frame) MOVA_REQUIRES(portLockRole);
    Code awaitAckThenOk() MOVA_REQUIRES(portLockRole);

    HandsetPort& port_;
    Answers& answers_;
    const Session& session_;
    FileLog& log_;
    MyDebugMsg& debug_;
    Trace& trace_;
};

}  // namespace mova
