// E2P objects one by one, with a second try where the line, not the handset, was at fault.
#pragma once
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "cli/Context.h"
#include "cli/E2pFile.h"

namespace mova::cli {

// A reply that is not whole, or not of this request, is no success, whatever the component made of it.
struct E2pReply : TextResult {
    Finding finding;  // what the line showed against it
};
inline Failure failureOf(const E2pReply& reply, const std::string& message) {
    return failureOf(reply.code, reply.finding, message);
}
inline void check(const E2pReply& reply, const std::string& message) { check(reply.code, reply.finding, message); }

class E2pAccess {
public:
    // Told: each further try, with its reason, as a remark. Where a progress bar is drawn it is not.
    enum class Tries { Told, Untold };
    explicit E2pAccess(Context& context, std::uint32_t retries = 2, Tries tries = Tries::Untold)
        : session_(context.session),
          handset_(context.session.handset()),
          out_(context.out),
          retries_(retries),
          tries_(tries) {}

    E2pReply read(const E2pKey& key);
    E2pReply write(const E2pKey& key, const std::string& hex);
    // One request, without a second try.
    E2pReply once(const std::function<TextResult(CVeCmdManager&)>& request);
    // Reads again and compares; throws Failure.
    void verify(const E2pKey& key, const std::string& hex);
    std::string imei();  // empty when the handset does not tell

private:
    E2pReply repeat(const E2pKey& key, const std::function<TextResult(CVeCmdManager&)>& request);
    void tellTry(const E2pKey& key, const E2pReply& last, std::uint32_t number);

    HandsetSession& session_;
    CVeCmdManager& handset_;
    Output& out_;
    std::uint32_t retries_;
    Tries tries_;
};

// Where two data differ: "bytes 2-3: file AABB, handset CCDD", one text a stretch, at most a few.
std::vector<std::string> differencesOf(const std::string& firstName, const std::string& first,
                                       const std::string& secondName, const std::string& second);

}  // namespace mova::cli
