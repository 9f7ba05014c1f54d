// Who got which confirmation. Every confirmation of a conversation carries a number of its own; the ledger reads what
// the engine took from the port, line by line, and is told what the caller was given: nothing that did not come,
// nothing more often than it came, nothing before its turn. It knows no rules of queues.
// Noise can put a line out of its turn: behind a stray CR it is no confirmation to the block that it stands in, is put
// back in front of what is pending, and is one there.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace mova::conversation {

class Ledger {
public:
    void came(std::string_view bytes);
    void allowLate() { late_ = true; }
    // What a caller fetched, or an event told; false when it cannot be.
    bool fetched(const std::string& hex) { return settle(hex, fetchedUpTo_); }
    bool told(const std::string& hex) { return settle(hex, toldUpTo_); }

    std::uint64_t arrived() const { return entries_.size(); }
    std::uint64_t delivered() const { return delivered_; }

private:
    struct Entry {
        std::string hex;
        bool given = false;
    };
    bool settle(const std::string& hex, std::size_t& upTo);
    bool settleFrom(std::size_t first, const std::string& hex, std::size_t& upTo);

    bool late_ = false;
    std::string line_;
    std::vector<Entry> entries_;
    std::size_t fetchedUpTo_ = 0;
    std::size_t toldUpTo_ = 0;
    std::uint64_t delivered_ = 0;
};

}  // namespace mova::conversation
