// A trace file's text, read whole.
#pragma once
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "trace/TraceReader.h"

namespace mova::trace {

struct Reading {
    std::vector<Record> records;
    std::vector<std::pair<std::uint64_t, std::string>> remarks;

    std::vector<std::string> texts() const {
        std::vector<std::string> all;
        for (const Record& record : records) all.push_back(record.text);
        return all;
    }
    std::vector<std::int64_t> times() const {
        std::vector<std::int64_t> all;
        for (const Record& record : records) all.push_back(record.time);
        return all;
    }
    std::vector<std::uint64_t> lines() const {
        std::vector<std::uint64_t> all;
        for (const Record& record : records) all.push_back(record.line);
        return all;
    }
};

inline Reading readFile(const std::string& file) {
    std::istringstream in(file);
    TraceReader reader(in, "t.log");
    Reading reading;
    while (auto record = reader.next()) reading.records.push_back(std::move(*record));
    for (const Remark& remark : reader.takeRemarks()) reading.remarks.emplace_back(remark.line, remark.text);
    return reading;
}

inline std::string errorOf(const std::string& file) {
    try {
        readFile(file);
    } catch (const TraceError& error) {
        return error.what();
    }
    return "no error";
}

inline std::string stamped(const std::string& text, const std::string& time) {
    return text + "\t\t\t\t[T:" + time + "]\n";
}

}  // namespace mova::trace
