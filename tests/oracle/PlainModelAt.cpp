#include "oracle/Frames.h"
#include "oracle/PlainModel.h"
#include "oracle/Text.h"

namespace mova::oracle {

namespace {
const char* const kFinal = "OK|ERROR";
}

std::uint32_t PlainModel::at(const std::string& command) {
    if (synchronous_) {
        discardInput();
        clearQueue(true);
    }
    if (command.empty() || command.size() > 4094) return 0x2007;
    ++exchanges_;
    return pacedWrite(command + "\r", timeouts_[5]);
}

std::string PlainModel::sendAt(const std::string& command) {
    otherThreads();
    enter();
    const std::uint32_t result = at(command);
    leave();
    return resultText(result);
}

std::string PlainModel::getAt(int option) {
    otherThreads();
    enter();
    if (!synchronous_) {
        leave();
        return resultText(0x4014, 0, "");
    }
    if (option != 2) clearQueue(true);
    run(0, "");
    const Record record = fetchKind(kAtText);
    std::string answer;
    if (record.valid) {
        const std::string separator = record.response.empty() || record.terminator.empty() ? "" : "\r\n";
        answer = record.terminator;
        if (option == 1 || option == 2) answer = record.response + separator + record.terminator;
        if (option == 1) {
            if (!record.terminator.empty() && !engine_.pending().empty()) answer += separator;
            answer += engine_.pending();
            engine_.discard();
        }
        answer = folded(answer);
    }
    leave();
    return resultText(0, static_cast<std::int64_t>(answer.size()), answer);
}

std::uint32_t PlainModel::wake() {
    const std::string wakeFrame("AT*\x02\x00\x03\x01\x00\x00\x0A\x0D", 11);
    at("AT");
    std::uint32_t result = run(150, kFinal);
    if (result != kNoAnswer) return result;
    for (int attempt = 0; attempt < 3; ++attempt) {
        bool awake = false;
        result = pacedWrite(wakeFrame, timeouts_[5]);
        if (result == 0) {
            run(500, kFinal);
            result = at("AT");
            awake = result == 0 && run(150, kFinal) == 0;
        }
        pause(1000);
        if (awake || result != 0) break;
    }
    return result;
}

std::string PlainModel::property(std::uint32_t id, std::uint32_t parameter) {
    otherThreads();
    enter();
    std::uint32_t result = 0x3001;
    const bool waits = id > 100;
    const std::uint32_t kind = waits ? id - 100 : id;
    const std::string flag = parameter == 1 ? "1" : "0";
    const std::string commands[] = {"",
                                    "ATE" + flag,
                                    "AT",
                                    "AT*UARTSWAP",
                                    "ATD112;",
                                    "ATH",
                                    "AT+CFUN=1",
                                    "AT+COPS=0",
                                    "AT*SLEEPMODE=1",
                                    "AT*SLEEPMODE=0",
                                    "ATS0=" + std::to_string(static_cast<std::int32_t>(parameter)),
                                    "<j",
                                    "AT*BYPASS=" + flag,
                                    "<k",
                                    "AT*BOARDTEST=" + flag};
    constexpr std::uint32_t kWaits[] = {0,    800,  0,    1500, 8000, 1500, 1500, 1500,
                                        1000, 1000, 1000, 100,  1000, 100,  1000};
    if (id == 102) {
        result = wake();
    } else if (kind >= 1 && kind <= 14 && id != 100) {
        if (id == 111 || id == 113) clearQueueAndPort();
        result = at(commands[kind]);
        if (id == 2) result = pacedWrite(std::string("AT*\x02\x00\x03\x01\x00\x00\x0A\x0D", 11), timeouts_[5]);
        if (!waits) {
            pause(id == 10 ? 200 : 100);
        } else if (result == 0) {
            result = run(kWaits[kind], id == 111 ? ">j|OK" : id == 113 ? ">k" : kFinal);
        }
    }
    leave();
    return resultText(result);
}

std::string PlainModel::info(int option, int access, const std::string& value) {
    otherThreads();
    enter();
    clearQueueAndPort();
    std::uint32_t result = 0x4305;
    std::string text;
    const char* const question = option == 0 ? "AT%V" : option == 2 ? "ATD*#06#" : option == 10 ? "AT%OTP?" : nullptr;
    if (question) {
        result = at(question);
        if (result == 0) result = run(1500, kFinal);
        Record record;
        if (result == 0) record = fetchKind(kAtText);
        text = record.response;
        if (option == 0) replaceAll(text, "\r\n", "~");
        if (option == 2) text = rightTrimmed(text);
        if (option == 10) text = trimmed(text);
        if (option == 10 && result == 0 && record.terminator == "ERROR") result = 0x6300;
    } else if ((option == 3 || option == 6) && (access == 0 || access == 1)) {
        const int start = option == 3 ? 40 : 80;
        std::string field;
        result = readRange(4099, 1, start, 40, field);
        if (result == 0 && access == 0) {
            if (field.size() >= 2 && lowered(field.substr(0, 2)) != "ff")
                text = lenientBytes(field.substr(2, 2 * lenientByte(field, 0)));
        } else if (result == 0) {
            const std::string encoded = hexByte(static_cast<unsigned>(value.size())) + hexOf(value);
            field.replace(0, encoded.size(), encoded);
            int length = 40;
            bool known = false;
            result = writeRange(4099, 1, start, length, field, known);
            if (result == 0) text = value;
        }
    }
    leave();
    return resultText(result, text);
}

}  // namespace mova::oracle
