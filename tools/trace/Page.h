// The trace as one page for a browser: everything is inside, nothing is fetched.
#pragma once
#include <cstdint>
#include <limits>
#include <ostream>
#include <string>
#include <vector>

#include "trace/Summary.h"

namespace mova::trace {

// Gathers what the page shows: the first so many records; what is left out is said on the page.
class Page {
public:
    static constexpr std::size_t kMostRecords = 200'000;

    explicit Page(std::size_t most = kMostRecords) : most_(most) {}
    Listeners listeners();  // hold references to the page

    void write(std::ostream& out, const Summary& summary, const std::string& name) const;
    bool leavesOut() const { return left_ > 0; }
    std::size_t kept() const { return records_.size(); }

private:
    struct Kept {
        Record record;
        Decoded decoded;
    };

    void take(const Record& record, const Decoded& decoded);
    void take(const Exchange& exchange);
    void writeData(std::ostream& out, const Summary& summary, const std::string& name) const;

    std::size_t most_;
    std::uint64_t left_ = 0;
    std::vector<Kept> records_;
    std::vector<Exchange> exchanges_;
    std::vector<Stray> strays_;
};

}  // namespace mova::trace
