// E2P objects one by one, with a second try where the line, not the handset, was at fault.
#pragma once
#include <cstdint>
#include <optional>
#include <string>

#include "cli/Context.h"
#include "cli/E2pFile.h"

namespace mova::cli {

class E2pAccess {
public:
    explicit E2pAccess(Context& context, std::uint32_t retries = 2)
        : handset_(context.session.handset()), retries_(retries) {}

    TextResult read(const E2pKey& key);
    TextResult write(const E2pKey& key, const std::string& hex);
    // Reads again and compares; throws Failure.
    void verify(const E2pKey& key, const std::string& hex);
    std::string imei();  // empty when the handset does not tell

private:
    template <class Request>
    TextResult repeat(Request request);

    CVeCmdManager& handset_;
    std::uint32_t retries_;
};

// Where two data differ: "bytes 2-3: file AABB, handset CCDD", one text a stretch, at most a few.
std::vector<std::string> differencesOf(const std::string& firstName, const std::string& first,
                                       const std::string& secondName, const std::string& second);

}  // namespace mova::cli
