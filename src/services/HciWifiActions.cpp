#include "services/HciWifiActions.h"

#include <algorithm>
#include <array>
#include <string>

#include "base/HexText.h"

namespace mova {

namespace {

constexpr std::int32_t kUsualTimeout = 4000;

struct HciOption {
    std::int32_t option;
    bool sendsCommand;
    std::int32_t timeout;  // milliseconds
    bool hasStatus;        // the reply data must begin with "00"
};

constexpr std::array kHciOptions{
    HciOption{0, true, kUsualTimeout, false},  HciOption{1, false, 10000, true},
    HciOption{2, false, kUsualTimeout, true},  HciOption{3, false, kUsualTimeout, false},
    HciOption{4, true, kUsualTimeout, false},  HciOption{5, true, kUsualTimeout, false},
    HciOption{16, true, kUsualTimeout, false},
};

constexpr std::size_t kHciHeader = 6;
constexpr std::size_t kWifiHeader = 8;

Code wifiStatusCode(std::uint8_t status) {
    if (status == 1) return Code::WifiStatus1;
    if (status == 2) return Code::WifiStatus2;
    return Code::Success;  // deliberate: every other status is a success
}

Code checkHci(const HciOption& option, std::string_view text) {
    const std::uint8_t echoed = text.size() < kHciHeader ? std::uint8_t{0} : hexByteAt(text, 4);
    if (echoed != static_cast<std::uint8_t>(option.option)) return Code::WrongCommandEcho;
    if (option.hasStatus && (text.size() < kHciHeader + 2 || text.substr(kHciHeader, 2) != "00"))
        return Code::HciStatus;
    return Code::Success;
}

Code checkWifi(std::uint8_t command, std::string_view text) {
    const bool whole = text.size() >= kWifiHeader;
    if ((whole ? hexByteAt(text, 0) : 0) != command) return Code::WrongCommandEcho;
    return wifiStatusCode(whole ? hexByteAt(text, 2) : std::uint8_t{0});
}

std::string dataBehind(std::string_view text, std::size_t header) {
    return text.size() < header ? std::string() : std::string(text.substr(header));
}

}  // namespace

TextReply HciWifiActions::hci(std::int32_t option, std::string_view hexCommand) {
    const auto row =
        std::find_if(kHciOptions.begin(), kHciOptions.end(), [&](const HciOption& o) { return o.option == option; });
    const bool known = row != kHciOptions.end();
    session_.setTimeout(number(Timeout::Acknowledgement), known ? row->timeout : kUsualTimeout);
    TextReply result;
    if (!known) {
        result.code = Code::UnknownOption;
        return result;
    }
    const std::string_view command = row->sendsCommand ? hexCommand : std::string_view{};
    std::string message;
    appendHexWord(message, static_cast<std::uint16_t>(command.size() / 2));
    appendHexByte(message, static_cast<std::uint8_t>(option));
    message += command;
    result.code = sender_.sendText(delivery::Hci, Family::Hci, message);
    if (result.code != Code::Success) return result;
    const auto fetched = answers_.queue().fetch(LineClass::Hci, ConfirmationQueue::Take::Remove);
    // Without a confirmation the record is empty and reads as option 0.
    result.code = checkHci(*row, fetched.record.hexData);
    result.data = dataBehind(fetched.record.hexData, kHciHeader);  // deliberate: whatever the check found
    return result;
}

TextReply HciWifiActions::wifi(std::uint8_t command, std::string_view hexParameter) {
    std::string message;
    appendHexByte(message, command);
    appendHexByte(message, 0);
    appendHexWord(message, static_cast<std::uint16_t>(hexParameter.size() / 2));
    message += hexParameter;
    TextReply result;
    result.code = sender_.sendText(delivery::Wifi, Family::Wifi, message);
    if (result.code != Code::Success) return result;
    const auto fetched = answers_.queue().fetch(LineClass::Wifi, ConfirmationQueue::Take::Remove);
    // Without a confirmation the record is empty and reads as command 0 with status 0.
    result.code = checkWifi(command, fetched.record.hexData);
    if (result.code == Code::Success) {
        result.data = dataBehind(fetched.record.hexData, kWifiHeader);
        log_.write(LogType::At, result.data + "\n");
    }
    return result;
}

}  // namespace mova
