#include "atchannel/DeviceInfo.h"

#include "atchannel/FlashStatus.h"
#include "base/HexText.h"
#include "base/Text.h"

namespace mova {

namespace {
constexpr std::uint32_t kAnswerTime = 1500;
enum Access : std::int32_t { kRead = 0, kWrite = 1 };
enum class Question : std::int32_t { Version = 0, Imei = 2, FlashStatus = 9, OtpStatus = 10 };
enum class Query : std::int32_t { Record = 0, Status = 1, Failures = 2 };
enum class Update : std::int32_t { Start = 0, End = 1, Entry = 2, Failure = 3 };
}  // namespace

DeviceInfo::Info DeviceInfo::ask(std::int32_t option, std::int32_t access, std::string_view parameter) {
    channel_.answers().ClearQueue();
    const Fields parameters(parameter);
    switch (static_cast<Question>(option)) {
        case Question::Version: return version();
        case Question::Imei: return imei();
        case Question::FlashStatus: return flashStatus(access, parameters);
        case Question::OtpStatus: return otpStatus();
    }
    const IdentityField* field = findIdentityField(option);
    if (field && access == kRead && field->readable) return readField(*field);
    if (field && access == kWrite) return writeField(*field, parameters);
    return {code::UnknownOption, {}};
}

DeviceInfo::Info DeviceInfo::version() {
    const AtChannel::Answer answer = channel_.ask("AT%V", kAnswerTime);
    return {answer.code, tildeLines(answer.text)};
}

DeviceInfo::Info DeviceInfo::imei() {
    const AtChannel::Answer answer = channel_.ask("ATD*#06#", kAnswerTime);
    return {answer.code, std::string(trimRight(answer.text))};
}

DeviceInfo::Info DeviceInfo::otpStatus() {
    const AtChannel::Answer answer = channel_.ask("AT%OTP?", kAnswerTime);
    const bool refused = answer.code == code::Success && answer.result == "ERROR";
    return {refused ? code::OtpError : answer.code, std::string(trim(answer.text))};
}

DeviceInfo::Info DeviceInfo::readField(const IdentityField& field) {
    const auto read = e2p_.readRange(field.object, field.record, field.read.start, field.read.width);
    if (read.code != code::Success) return {read.code, {}};
    return {code::Success, decodeField(field, read.data)};
}

DeviceInfo::Info DeviceInfo::writeField(const IdentityField& field, const Fields& parameters) {
    const auto read = e2p_.readRange(field.object, field.record, field.write.start, field.write.width);
    if (read.code != code::Success) return {read.code, {}};
    EncodedField encoded = encodeField(field, read.data, parameters);
    const auto written =
        e2p_.writeRange(field.object, field.record, field.write.start, field.write.width, encoded.text);
    if (written.code != code::Success) return {written.code, {}};
    return {code::Success, std::move(encoded.value)};
}

DeviceInfo::Info DeviceInfo::flashStatus(std::int32_t access, const Fields& parameters) {
    if (access != kRead && access != kWrite) return {code::UnknownOption, {}};
    const auto read =
        e2p_.readRange(FlashStatus::kObject, FlashStatus::kRecord, FlashStatus::kStart, FlashStatus::kWidth);
    if (read.code != code::Success) return {read.code, {}};
    FlashStatus status;
    std::uint32_t result = status.read(read.data);
    if (result != code::Success) return {result, {}};

    const auto number = parameters.number<std::int32_t>(0);
    if (access == kRead) {
        switch (static_cast<Query>(number)) {
            case Query::Record: return {code::Success, read.data};
            case Query::Status: return {code::Success, status.statusText()};
            case Query::Failures: return {code::Success, status.failureText()};
        }
        return {};
    }
    switch (static_cast<Update>(number)) {
        case Update::Start: result = status.start(); break;
        case Update::End: result = status.end(); break;
        case Update::Entry:
            result = status.enter(parameters.number<std::uint8_t>(1), hexNumber(parameters.text(2)),
                                  platform_.clock.localTime());
            break;
        case Update::Failure: result = status.fail(); break;
    }
    if (result != code::Success) return {result, {}};
    return {e2p_.writeRange(FlashStatus::kObject, FlashStatus::kRecord, FlashStatus::kStart, FlashStatus::kWidth,
                            status.text()).code,
            {}};
}

}  // namespace mova
