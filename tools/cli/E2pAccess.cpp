#include "cli/E2pAccess.h"

#include <algorithm>

#include "base/CodeTexts.h"
#include "base/Printable.h"
#include "base/Text.h"
#include "cli/AtExchange.h"
#include "mova/Codes.h"

namespace mova::cli {

E2pReply E2pAccess::once(const std::function<TextResult(CVeCmdManager&)>& request) {
    Listening listening(session_);
    E2pReply reply{request(handset_), {}};
    CheckedAnswer answer = listening.look();
    requireDelivered(answer, reply.code, reply.text.value_or(""));
    reply.finding = std::move(answer.finding);
    if (reply.code == Code::Success) reply.code = reply.finding.code;
    return reply;
}

void E2pAccess::tellTry(const E2pKey& key, const E2pReply& last, std::uint32_t number) {
    if (tries_ == Tries::Untold) return;
    const std::string why = last.finding ? last.finding.reason : codeMeaning(last.code);
    out_.remark(keyText(key) + ": " + why + "; try " + std::to_string(number) + " of " + std::to_string(retries_ + 1));
}

E2pReply E2pAccess::repeat(const E2pKey& key, const std::function<TextResult(CVeCmdManager&)>& request) {
    E2pReply result = once(request);
    for (std::uint32_t tries = 0; tries < retries_ && result.code != Code::Success; ++tries) {
        if (isE2pStatus(result.code) || result.code == Code::NotOpen) break;  // the same again would come
        if (result.finding.code == Code::ReadFailed) break;                   // the port is gone
        checkInterrupt();
        tellTry(key, result, tries + 2);
        result = once(request);
    }
    return result;
}

E2pReply E2pAccess::read(const E2pKey& key) {
    return repeat(key, [&](CVeCmdManager& h) { return h.ReadWholeE2PObject(key.first, key.second); });
}

E2pReply E2pAccess::write(const E2pKey& key, const std::string& hex) {
    return repeat(key, [&](CVeCmdManager& h) { return h.WriteE2PObject(key.first, key.second, hex); });
}

void E2pAccess::verify(const E2pKey& key, const std::string& hex) {
    const E2pReply back = read(key);
    check(back, keyText(key) + " was written, and could not be read back");
    const auto differences = differencesOf("written", hex, "read back", back.text.value_or(""));
    if (!differences.empty()) {
        throw Failure{ExitStatus::Refused, keyText(key) + " reads back differently: " + differences.front(),
                      "the handset accepts the write and does not keep it: the object may be locked"};
    }
}

std::string E2pAccess::imei() {
    const TextResult answer = handset_.SpecificInfo(number(Info::Imei), number(Access::Read), "");
    const auto lines = linesOf(answer.text.value_or(""), "ATD*#06#");
    return answer.code == Code::Success && !lines.empty() ? printable(lines.front()) : std::string();
}

std::vector<std::string> differencesOf(const std::string& firstName, const std::string& first,
                                       const std::string& secondName, const std::string& second) {
    constexpr std::size_t kMostTold = 8;
    constexpr std::size_t kMostDigits = 32;
    const auto shown = [](const std::string& hex) {
        return hex.size() > kMostDigits ? hex.substr(0, kMostDigits) + "..." : hex;
    };
    std::vector<std::string> told;
    std::size_t stretches = 0;
    const std::size_t common = std::min(first.size(), second.size()) / 2;
    const auto same = [&](std::size_t byte) { return first.compare(2 * byte, 2, second, 2 * byte, 2) == 0; };
    for (std::size_t byte = 0; byte < common; ++byte) {
        if (same(byte)) continue;
        std::size_t end = byte + 1;
        while (end < common && !same(end)) ++end;
        if (++stretches <= kMostTold) {
            const std::string where =
                end == byte + 1 ? format("byte %zu", byte) : format("bytes %zu-%zu", byte, end - 1);
            const auto stretch = [&](const std::string& name, const std::string& hex) {
                return name + " " + shown(hex.substr(2 * byte, 2 * (end - byte)));
            };
            told.push_back(where + ": " + stretch(firstName, first) + ", " + stretch(secondName, second));
        }
        byte = end;
    }
    if (stretches > kMostTold) told.push_back("and " + std::to_string(stretches - kMostTold) + " more stretches");
    if (first.size() != second.size()) {
        told.push_back(firstName + " has " + counted(first.size() / 2, "byte") + ", " + secondName + " " +
                       std::to_string(second.size() / 2));
    }
    return told;
}

}  // namespace mova::cli
