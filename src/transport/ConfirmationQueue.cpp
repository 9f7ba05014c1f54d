#include "transport/ConfirmationQueue.h"

#include <algorithm>
#include <iterator>
#include <numeric>
#include <string>
#include <utility>

#include "base/HeldText.h"

namespace mova {

namespace {

std::size_t sizeOf(const MovaRetCmdTag& record) {
    return record.responseText.size() + record.terminatorText.size() + record.hexData.size() + record.byteData.size();
}

}  // namespace

bool ConfirmationQueue::append(MovaRetCmdTag record) {
    Records node;
    node.push_back(std::move(record));  // made before the lock is taken: running out of memory changes nothing
    const LockGuard guard(*lock_);
    const std::size_t held =
        std::accumulate(records_.begin(), records_.end(), sizeOf(node.front()),
                        [](std::size_t sum, const MovaRetCmdTag& queued) { return sum + sizeOf(queued); });
    const bool tooLong = held > kMostHeldText && !records_.empty();
    if (tooLong || records_.size() > kMostBeforeAppend) records_.clear();
    records_.splice(records_.end(), node);
    return tooLong;
}

ConfirmationQueue::Fetched ConfirmationQueue::fetch(std::optional<LineClass> kind, Take take) {
    Fetched fetched;
    const LockGuard guard(*lock_);
    const auto found = kind ? std::find_if(records_.begin(), records_.end(),
                                           [&](const MovaRetCmdTag& record) { return record.kind == *kind; })
                            : records_.begin();
    if (found != records_.end()) {
        fetched.found = true;
        if (take == Take::Remove) {
            fetched.record = std::move(*found);
        } else {
            fetched.record = *found;
        }
        const auto behind = take == Take::Remove ? records_.erase(found) : std::next(found);
        // Deliberate: only a peek of any kind starts directly behind the fetched record; every other fetch leaves
        // that one record alone and starts one further on.
        const bool startsBehind = !kind && take == Take::Peek;
        if (fetched.record.kind == LineClass::AtText && behind != records_.end()) {
            joinAtTexts(fetched.record, startsBehind ? behind : std::next(behind), take);
        }
    }
    fetched.remaining = records_.size();
    return fetched;
}

void ConfirmationQueue::joinAtTexts(MovaRetCmdTag& record, Records::iterator next, Take take) {
    while (next != records_.end() && next->kind == LineClass::AtText) {
        record.responseText += next->responseText;
        next = take == Take::Remove ? records_.erase(next) : std::next(next);
    }
}

void ConfirmationQueue::clear(Trace& trace, PendingText* purge) {
    const LockGuard guard(*lock_);
    if (purge) {
        if (!purge->empty()) trace.record(TraceKind::Purged, purge->text());
        purge->clear();
    }
    for (const MovaRetCmdTag& record : records_) {
        trace.record(TraceKind::Purged, record.hexData + record.responseText + record.terminatorText);
    }
    records_.clear();
}

}  // namespace mova
