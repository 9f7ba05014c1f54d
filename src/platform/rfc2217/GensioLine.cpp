#include "platform/rfc2217/GensioLine.h"

#include <cerrno>
#include <new>

namespace mova {

namespace {

constexpr RemoteSetting kBaudRate{sergensio_baud};
constexpr RemoteSetting kByteSize{sergensio_datasize};
constexpr RemoteSetting kParity{sergensio_parity};
constexpr RemoteSetting kStopSize{sergensio_stopbits};
constexpr RemoteSetting kFlowControl{sergensio_flowcontrol, 0, 3};
constexpr RemoteSetting kInputFlowControl{sergensio_iflowcontrol, 13, 19};
constexpr RemoteSetting kDtr{sergensio_dtr, 7, 9};
constexpr RemoteSetting kRts{sergensio_rts, 10, 12};

constexpr unsigned kAsItIs = 0;  // as a wanted value: only asks
constexpr unsigned kAllModemLines = 0xFF;
constexpr unsigned kLineErrors = SERGENSIO_LINESTATE_OVERRUN_ERR | SERGENSIO_LINESTATE_PARITY_ERR |
                                 SERGENSIO_LINESTATE_FRAMING_ERR | SERGENSIO_LINESTATE_BREAK;

// Both registers are those of the UART that the first of these computers had.
static_assert(SERGENSIO_MODEMSTATE_CTS == ModemStatus::Cts && SERGENSIO_MODEMSTATE_DSR == ModemStatus::Dsr &&
              SERGENSIO_MODEMSTATE_RI == ModemStatus::Ring && SERGENSIO_MODEMSTATE_CD == ModemStatus::Rlsd);
static_assert(SERGENSIO_LINESTATE_OVERRUN_ERR == LineError::Overrun &&
              SERGENSIO_LINESTATE_PARITY_ERR == LineError::Parity &&
              SERGENSIO_LINESTATE_FRAMING_ERR == LineError::Framing && SERGENSIO_LINESTATE_BREAK == LineError::Break);

// The stop-bit code is the index: one, one and a half, two.
constexpr unsigned kStopBits[] = {1, 3, 2};

std::uint8_t stopBitsOf(unsigned theirs) {
    constexpr std::size_t kCodes = sizeof kStopBits / sizeof kStopBits[0];
    for (std::size_t code = 0; code < kCodes; ++code) {
        if (kStopBits[code] == theirs) return static_cast<std::uint8_t>(code);
    }
    return 0;
}

// CTS flow control and RTS handshake are one switch, as on the terminals of Linux; a server cannot have this and
// XON/XOFF at once. DTR/DSR flow control is left out, as there.
struct FlowControl {
    unsigned both = SERGENSIO_FLOWCONTROL_NONE;
    unsigned input = kAsItIs;  // where it differs
};

FlowControl flowControlOf(const LineSettings& settings) {
    const bool cts = (settings.flags & LineFlags::OutCtsFlow) != 0;
    const bool rts = (settings.flags & LineFlags::RtsControlMask) == LineFlags::RtsHandshake;
    const bool out = (settings.flags & LineFlags::OutX) != 0;
    const bool in = (settings.flags & LineFlags::InX) != 0;
    if (cts || rts) return {SERGENSIO_FLOWCONTROL_RTS_CTS};
    if (out && in) return {SERGENSIO_FLOWCONTROL_XON_XOFF};
    if (out) return {SERGENSIO_FLOWCONTROL_XON_XOFF, SERGENSIO_FLOWCONTROL_NONE};
    if (in) return {SERGENSIO_FLOWCONTROL_NONE, SERGENSIO_FLOWCONTROL_XON_XOFF};
    return {};
}

struct OutputLine {
    RemoteSetting setting;
    unsigned wanted = kAsItIs;
};

OutputLine outputLineOf(LineControl function) {
    switch (function) {
        case LineControl::SetDtr: return {kDtr, SERGENSIO_DTR_ON};
        case LineControl::ClearDtr: return {kDtr, SERGENSIO_DTR_OFF};
        case LineControl::SetRts: return {kRts, SERGENSIO_RTS_ON};
        case LineControl::ClearRts: break;
    }
    return {kRts, SERGENSIO_RTS_OFF};
}

}  // namespace

// Parity counts from 1 over there; a wanted 0 of everything only asks.
int GensioLine::askSettings(const LineSettings& wanted, LineSettings& actual) {
    const bool only = wanted.baudRate == kAsItIs;
    unsigned baudRate = 0;
    unsigned byteSize = 0;
    unsigned parity = 0;
    unsigned stopBits = 0;
    int error = connection_->ask(kBaudRate, wanted.baudRate, baudRate);
    if (error == 0) error = connection_->ask(kByteSize, wanted.byteSize, byteSize);
    if (error == 0) error = connection_->ask(kParity, only ? kAsItIs : wanted.parity + 1U, parity);
    if (error == 0) error = connection_->ask(kStopSize, only ? kAsItIs : kStopBits[wanted.stopBits], stopBits);
    if (error != 0) return error;
    actual.baudRate = baudRate;
    actual.byteSize = static_cast<std::uint8_t>(byteSize);
    actual.parity = static_cast<std::uint8_t>(parity - 1);
    actual.stopBits = stopBitsOf(stopBits);
    return 0;
}

int GensioLine::open(const char* host, const char* port, LineSettings& settings) {
    if (const int error = connection_->open(host, port)) return error;
    LineSettings actual;
    if (const int error = askSettings(LineSettings(), actual)) return error == EIO ? ECONNRESET : error;
    settings = actual;
    return connection_->tell([](sergensio* serial) {
        sergensio_linestate(serial, kLineErrors);
        sergensio_modemstate(serial, kAllModemLines);
    });
}

int GensioLine::apply(const LineSettings& wanted, LineSettings& actual) {
    if (const int error = askSettings(wanted, actual)) return error;
    const FlowControl flow = flowControlOf(wanted);
    unsigned value = 0;
    if (const int error = connection_->ask(kFlowControl, flow.both, value)) return error;
    if (value != flow.both) return EINVAL;
    if (flow.input == kAsItIs) return 0;
    if (const int error = connection_->ask(kInputFlowControl, flow.input, value)) return error;
    return value == flow.input ? 0 : EINVAL;
}

int GensioLine::control(LineControl function) {
    const OutputLine line = outputLineOf(function);
    unsigned actual = 0;
    if (const int error = connection_->ask(line.setting, line.wanted, actual)) return error;
    return actual == line.wanted ? 0 : ENOTTY;
}

void GensioLine::tryControl(LineControl function) {
    const OutputLine line = outputLineOf(function);
    connection_->tryTo(line.setting, line.wanted);
}

int GensioLine::purge(std::uint32_t what) {
    const bool input = (what & kPurgeRxClear) != 0;
    const bool output = (what & kPurgeTxClear) != 0;
    return connection_->purge(input && output ? SERGENSIO_FLUSH_RCV_XMIT_BUFFERS
                              : input         ? SERGENSIO_FLUSH_RCV_BUFFER
                                              : SERGENSIO_FLUSH_XMIT_BUFFER);
}

}  // namespace mova

extern "C" __attribute__((visibility("default"))) mova::RemoteLine* mova_rfc2217_line_1(mova::RemoteLineUser* user) {
    return new (std::nothrow) mova::GensioLine(*user);
}
