#include "transport/ReceiveEngine.h"

#include <algorithm>
#include <string>

#include "base/HeldText.h"
#include "base/Text.h"
#include "device/InputWait.h"
#include "transport/ConfirmationBuilder.h"

namespace mova {

Code ReceiveEngine::run(std::uint32_t milliseconds, std::string_view terminators) {
    bool found = terminators.empty();
    InputWait pauses(platform_, port_);
    const std::uint32_t deadline = milliseconds == 0 ? 0 : platform_.clock.tickCount() + milliseconds;
    for (bool first = true;; first = false) {
        if (port_.stopEvent().isSet()) return found ? Code::Stopped : Code::NoAnswer;
        const std::uint32_t waiting = port_.waitingBytes();
        std::uint32_t taken = 0;
        // Old pending text is looked at once; later passes need new bytes.
        if (waiting > 0 || (first && !pending_.empty())) {
            taken = readInto(waiting);
            found = process(terminators);
        }
        if (found) return Code::Success;
        if (port_.deviceType() == HandsetPort::kSlowDevice) {
            platform_.clock.sleep(HandsetPort::kSlowDevicePause);
        } else {
            pauses.pause(kIdlePause, waiting, taken);
        }
        // A time-out of 0 is one pass, however coarse the tick count. Deliberate: compared as signed numbers, which
        // goes wrong for a call that spans the count of 2^31.
        if (milliseconds == 0) return Code::NoAnswer;
        const std::uint32_t now = platform_.clock.tickCount();
        if (static_cast<std::int32_t>(deadline) < static_cast<std::int32_t>(now)) return Code::NoAnswer;
    }
}

std::uint32_t ReceiveEngine::readInto(std::uint32_t waiting) {
    if (waiting == 0) return 0;
    // Before the bytes leave the port: none is lost without memory.
    const bool tooLong = pending_.makeRoom(std::min(waiting, kReadSize));
    if (tooLong) {
        trace_.record(TraceKind::FreeText,
                      format("More than %zu characters wait for their terminator: the older half is dropped, now and "
                             "whenever as much waits again",
                             kMostHeldText));
    }
    const std::uint32_t bytesRead = port_.readWaiting(buffer_.data(), std::min(waiting, kReadSize));
    pending_.append(std::string_view(buffer_.data(), bytesRead));
    return bytesRead;
}

bool ReceiveEngine::process(std::string_view terminators) {
    if (terminators.empty()) {
        const std::string_view lines = pending_.completeLines();
        finish(lines, {}, lines.size());
        return true;
    }
    const auto line = pending_.findTerminator(terminators);
    if (!line) return false;
    finish(pending_.text().substr(0, line->start), line->text, line->end);
    return true;
}

void ReceiveEngine::finish(std::string_view response, std::string_view terminator, std::size_t consumed) {
    BuiltRecord built = buildRecord(response, terminator, trace_);
    traceRecord(built.record, pending_.completeLines().substr(consumed), trace_);
    sink_.deliver(std::move(built.record));
    // Consumed only now that nothing can fail: without memory the answer stays for the next pass.
    pending_.dropFront(consumed);
    if (!built.leftOver.empty()) pending_.putInFront(built.leftOver);
    pending_.giveBackMemory();
}

}  // namespace mova
