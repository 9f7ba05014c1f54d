#include "atchannel/DeviceInfo.h"

#include "atchannel/FlashStatus.h"
#include "base/HexText.h"
#include "base/Text.h"
#include "mova/Options.h"

namespace mova {

namespace {
constexpr std::uint32_t kAnswerTime = 1500;
enum class Query : std::int32_t { Record = 0, Status = 1, Failures = 2 };
enum class Update : std::int32_t { Start = 0, End = 1, Entry = 2, Failure = 3 };
}  // namespace

DeviceInfo::Reply DeviceInfo::ask(std::int32_t option, std::int32_t access, std::string_view parameter) {
    commands_.answers().takeInAndStartAfresh();
    const Fields parameters(parameter);
    switch (static_cast<Info>(option)) {
        case Info::Version: return version();
        case Info::Imei: return imei();
        case Info::FlashStatus: return flashStatus(access, parameters);
        case Info::OtpStatus: return otpStatus();
        default: break;
    }
    const IdentityField* field = findIdentityField(option);
    if (field && access == number(Access::Read) && field->readable) return readField(*field);
    if (field && access == number(Access::Write)) return writeField(*field, parameters);
    return {Code::UnknownOption, {}};
}

DeviceInfo::Reply DeviceInfo::version() {
    const AtCommands::Answer answer = commands_.ask("AT%V", kAnswerTime);
    return {answer.code, tildeLines(answer.text)};
}

DeviceInfo::Reply DeviceInfo::imei() {
    const AtCommands::Answer answer = commands_.ask("ATD*#06#", kAnswerTime);
    return {answer.code, std::string(trimRight(answer.text))};
}

DeviceInfo::Reply DeviceInfo::otpStatus() {
    const AtCommands::Answer answer = commands_.ask("AT%OTP?", kAnswerTime);
    const bool refused = answer.code == Code::Success && answer.result == "ERROR";
    return {refused ? Code::OtpError : answer.code, std::string(trim(answer.text))};
}

DeviceInfo::Reply DeviceInfo::readField(const IdentityField& field) {
    const auto read = e2p_.readRange(field.object, field.record, field.read.start, field.read.width);
    if (read.code != Code::Success) return {read.code, {}};
    return {Code::Success, decodeField(field, read.data)};
}

DeviceInfo::Reply DeviceInfo::writeField(const IdentityField& field, const Fields& parameters) {
    const auto read = e2p_.readRange(field.object, field.record, field.write.start, field.write.width);
    if (read.code != Code::Success) return {read.code, {}};
    EncodedField encoded = encodeField(field, read.data, parameters);
    const auto written =
        e2p_.writeRange(field.object, field.record, field.write.start, field.write.width, encoded.text);
    if (written.code != Code::Success) return {written.code, {}};
    return {Code::Success, std::move(encoded.value)};
}

DeviceInfo::Reply DeviceInfo::flashStatus(std::int32_t access, const Fields& parameters) {
    if (access != number(Access::Read) && access != number(Access::Write)) return {Code::UnknownOption, {}};
    const auto read =
        e2p_.readRange(FlashStatus::kObject, FlashStatus::kRecord, FlashStatus::kStart, FlashStatus::kWidth);
    if (read.code != Code::Success) return {read.code, {}};
    FlashStatus status;
    Code result = status.read(read.data);
    if (result != Code::Success) return {result, {}};

    const auto choice = parameters.number<std::int32_t>(0);
    if (access == number(Access::Read)) {
        switch (static_cast<Query>(choice)) {
            case Query::Record: return {Code::Success, read.data};
            case Query::Status: return {Code::Success, status.statusText()};
            case Query::Failures: return {Code::Success, status.failureText()};
        }
        return {};
    }
    switch (static_cast<Update>(choice)) {
        case Update::Start: result = status.start(); break;
        case Update::End: result = status.end(); break;
        case Update::Entry:
            result = status.enter(parameters.number<std::uint8_t>(1), hexNumber(trim(parameters.text(2))),
                                  platform_.clock.localTime());
            break;
        case Update::Failure: result = status.fail(); break;
    }
    if (result != Code::Success) return {result, {}};
    return {e2p_.writeRange(FlashStatus::kObject, FlashStatus::kRecord, FlashStatus::kStart, FlashStatus::kWidth,
                            status.text())
                .code,
            {}};
}

}  // namespace mova
