// The cable of a session that goes on when it is pulled: says that the port is gone, waits for it, opens it again when
// it is back and says so. A command that was under way has failed by then; nothing is sent again.
#pragma once
#include <cstdint>
#include <functional>

#include "cli/Context.h"

namespace mova::cli {

// --no-reconnect of a command.
void addNoReconnect(CLI::App& command, bool& value);

class Cable {
public:
    enum class Pulled { EndsIt, IsMended };

    // While it lives, a command that needs a lost port waits for it.
    Cable(Context& context, Pulled pulled);
    ~Cable();
    Cable(const Cable&) = delete;
    Cable& operator=(const Cable&) = delete;

    // What is told of it: "… is gone; waiting for it", "… is back after 3.2 s". At first a remark.
    using Tell = std::function<void(bool gone, const std::string& text)>;
    void tellBy(Tell tell) { tell_ = std::move(tell); }

    // Looks at the port that no command is using, several times a second at most, and opens a lost one when it is back.
    // Returns whether something was told. Throws Failure where a pulled cable ends it.
    bool look();
    bool lookAtOnce();
    // The same, and the port is open again when it returns, if it was open before. givesUp: ends the waiting.
    void await(const std::function<bool()>& givesUp = {});
    // Of the open port, by somebody who has seen it fail.
    void lose();

    std::uint32_t losses() const { return losses_; }
    double secondsWithout() const { return secondsWithout_; }  // those that are over

private:
    Context& context_;
    const Pulled pulled_;
    Tell tell_;
    std::function<void()> before_;
    std::uint32_t lastLook_ = 0;
    std::uint32_t lostAt_ = 0;
    std::uint32_t losses_ = 0;
    double secondsWithout_ = 0;
};

}  // namespace mova::cli
