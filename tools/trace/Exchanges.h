// Puts records together to exchanges: a request with its segments, its acknowledgements and its answer. Works on a
// stream: what is over is handed on, and only what is under way is kept.
#pragma once
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>

#include "trace/Exchange.h"

namespace mova::trace {

class Exchanges {
public:
    std::function<void(const Exchange&)> onExchange;  // when it is over; not always in the order of the requests
    std::function<void(const Stray&)> onStray;

    void take(const Record& record, const Decoded& decoded);
    void finish();  // the trace ends

private:
    void begin(const Record& record, Open open);
    void takeFirst(const Record& record, const Decoded& decoded);
    void takeRf(const Record& record, const Decoded& decoded);
    void takeLater(const Record& record, const Decoded& decoded);
    void addSegment(const Record& record, const Decoded& decoded, std::uint32_t number);
    void complainOfFrame(const Record& record, const Decoded& decoded);
    void takeAcknowledgement(const Record& record);
    void takeOk(const Record& record);
    void takeReply(const Record& record, const Decoded& decoded);
    void takeRfReply(const Record& record, const Decoded& decoded);
    void takeErrorReply(const Record& record);
    void takeAtReply(const Record& record);
    void takePurge(const Record& record);
    void takeFreeText(const Record& record);
    void beginPort(const Record& record, std::string name);
    void endPort(bool good, const Record& record);

    void part(Exchange& exchange, Role role) const { exchange.parts.push_back({number_, role}); }
    void stray(const Record& record, Role role, bool error, std::string text);
    void settle();  // the current exchange is over
    void emit(Open& open, bool traceEnds);

    std::uint64_t number_ = 0;  // of the record that is being taken
    std::optional<Open> current_;
    std::deque<Open> waiting_;  // RF requests whose answer may still come, in the background modes
    std::optional<Open> port_;  // an open or close under way: it may fall into an exchange
    std::string failedKey_;     // of the request before, if it failed
    std::string failedPortKey_;
    std::string lastNote_;  // of the open or close under way
};

}  // namespace mova::trace
