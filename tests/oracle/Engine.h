// The receive engine told a second time, as plainly as can be: everything is split anew on every pass.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mova::oracle {

struct Record {
    unsigned kind = 0;  // of Frames.h
    unsigned primitive = 0;
    std::string response;
    std::string terminator;
    std::string hexData;
    std::string byteData;
    std::uint32_t error = 0;
    unsigned valid = 0;
    std::string handedBack;           // lines of another kind than the record's: they are pending again
    std::vector<std::string> traced;  // what the trace says of it, in order
};
// What a record is, as one readable text: everything but what is handed back and traced.
std::string describe(const Record& record);

class Engine {
public:
    // One pass over what is pending and these new bytes. The terminators are separated by "|"; without any, whatever
    // whole lines there are make a record.
    std::optional<Record> pass(const std::string& terminators, std::string_view bytes);
    const std::string& pending() const { return pending_; }
    void discard() { pending_.clear(); }

private:
    std::string pending_;
};

}  // namespace mova::oracle
