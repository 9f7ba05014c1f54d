// Finished answers in the order of their arrival, until a caller fetches them. Owns its records and its lock, which
// it holds for the whole of each operation and in which nothing else is taken but the logger's.
#pragma once
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <optional>

#include "logging/Trace.h"
#include "platform/Threading.h"
#include "transport/MovaRetCmdTag.h"
#include "transport/PendingText.h"

namespace mova {

class ConfirmationQueue {
public:
    static constexpr std::size_t kMostBeforeAppend = 100;

    explicit ConfirmationQueue(Threading& threading) : lock_(threading.makeRecursiveMutex()) {}

    // Deliberate: a queue of more than 100 records is emptied whole first. So is one that would hold more than
    // kMostHeldText with this record; the result is true then.
    bool append(MovaRetCmdTag record);

    enum class Take { Remove, Peek };
    struct Fetched {
        MovaRetCmdTag record;  // empty (valid 0) when nothing matched
        bool found = false;
        std::size_t remaining = 0;
    };
    // The first record of a kind, or of any kind. Plain AT texts that follow are joined to an AT text.
    Fetched fetch(std::optional<LineClass> kind, Take take);

    // Traces and drops all records; purge, when given, is traced and emptied with them.
    void clear(Trace& trace, PendingText* purge);

private:
    using Records = std::list<MovaRetCmdTag>;
    void joinAtTexts(MovaRetCmdTag& record, Records::iterator next, Take take) MOVA_REQUIRES(*lock_);

    std::unique_ptr<RecursiveMutex> lock_;
    Records records_ MOVA_GUARDED_BY(*lock_);
};

}  // namespace mova
