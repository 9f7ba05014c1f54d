// The answers of a test: what the engine delivers is kept in a list beside the queue.
#pragma once
#include <functional>
#include <optional>
#include <vector>

#include "transport/Answers.h"

namespace mova {

struct NoRecordEvents : RecordEvents {
    void completed(const MovaRetCmdTag&) override {}
    void passEnded() override {}
};

class FilingAnswers : private NoRecordEvents, public Answers {
public:
    FilingAnswers(Platform& platform, HandsetPort& port, const Session& session, FileLog& log, MyDebugMsg& debug,
                  Trace& trace)
        : Answers(platform, port, session, log, debug, trace, *this) {}

    std::vector<MovaRetCmdTag> records;
    std::optional<MovaRetCmdTag> instead;  // filed in place of what was delivered
    std::function<void()> onDeliver;
    bool toQueue = true;

private:
    void deliver(MovaRetCmdTag record) override {
        if (onDeliver) onDeliver();
        records.push_back(record);
        if (toQueue) queue().append(instead ? *instead : record);
    }
};

}  // namespace mova
