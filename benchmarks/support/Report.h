// What a benchmark program hands to report.py: one JSON object a line on the standard output.
#pragma once
#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace mova::bench {

class Row {
public:
    Row(const std::string& group, const std::string& name, const std::string& who) {
        text("group", group);
        text("name", name);
        text("who", who);
    }
    Row& number(const std::string& key, double value) {
        char buffer[64];
        std::snprintf(buffer, sizeof buffer, "%.6g", value);
        return add(key, buffer);
    }
    Row& text(const std::string& key, const std::string& value) { return add(key, "\"" + value + "\""); }
    void print() const {
        std::printf("{%s}\n", fields_.c_str());
        std::fflush(stdout);
    }

private:
    Row& add(const std::string& key, const std::string& value) {
        if (!fields_.empty()) fields_ += ", ";
        fields_ += "\"" + key + "\": " + value;
        return *this;
    }
    std::string fields_;
};

// The value below which the share of the samples lies.
inline double quantile(std::vector<double> samples, double share) {
    if (samples.empty()) return 0;
    std::sort(samples.begin(), samples.end());
    const auto at = static_cast<std::size_t>(share * static_cast<double>(samples.size()));
    return samples[std::min(at, samples.size() - 1)];
}

}  // namespace mova::bench
