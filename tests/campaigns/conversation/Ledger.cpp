#include "campaigns/conversation/Ledger.h"

#include <algorithm>

namespace mova::conversation {

void Ledger::came(std::string_view bytes) {
    constexpr std::string_view kPrefix = "*MOVA=";
    constexpr std::size_t kLength = 4;
    constexpr std::size_t kChecksum = 2;
    for (const char c : bytes) {
        line_ += c;
        if (!line_.ends_with("\r\n")) continue;
        // Before it may stand what was thrown away with the pending text; of lines run into one, the first counts.
        for (auto at = line_.find(kPrefix); at != line_.npos; at = line_.find(kPrefix, at + 1)) {
            const std::string body = line_.substr(at + kPrefix.size(), line_.size() - 2 - at - kPrefix.size());
            if (body.size() > kLength + kChecksum) {
                entries_.push_back({body.substr(kLength, body.size() - kLength - kChecksum)});
            }
        }
        line_.clear();
    }
}

bool Ledger::settle(const std::string& hex, std::size_t& upTo) {
    return settleFrom(upTo, hex, upTo) || (late_ && settleFrom(0, hex, upTo));
}

bool Ledger::settleFrom(std::size_t first, const std::string& hex, std::size_t& upTo) {
    for (std::size_t i = first; i < entries_.size(); ++i) {
        if (entries_[i].given || entries_[i].hex != hex) continue;
        entries_[i].given = true;
        upTo = std::max(upTo, i + 1);
        ++delivered_;
        return true;
    }
    return false;
}

}  // namespace mova::conversation
