#include "trace/Page.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>
#include <string_view>

#include "base/CodeTexts.h"
#include "base/Printable.h"
#include "trace/PageParts.h"
#include "trace/Report.h"
#include "trace/Verdict.h"

namespace mova::trace {

namespace {

using nlohmann::json;

// Inside a script element "<" could end it.
void writeJson(std::ostream& out, const json& value) {
    for (const char c : value.dump()) {
        if (c == '<') {
            out << "\\u003c";
        } else {
            out << c;
        }
    }
}

template <class Items, class ToJson>
void writeArray(std::ostream& out, const char* name, const Items& items, ToJson toJson) {
    out << ",\n\"" << name << "\":[";
    const char* between = "\n";
    for (const auto& item : items) {
        out << between;
        writeJson(out, toJson(item));
        between = ",\n";
    }
    out << "]";
}

// Positions in a frame's text count bytes, so each byte must stay one character.
std::string frameText(std::string_view text) {
    std::string out;
    for (const char c : text) out += asUtf8(std::string_view(&c, 1));
    return out;
}

json layoutsJson() {
    json layouts = json::object();
    for (std::size_t kind = 0; kind < kRecordKinds; ++kind) {
        const auto& fields = layoutOf(static_cast<RecordKind>(kind));
        if (fields.empty()) continue;
        json row = json::array();
        for (const FieldLayout& field : fields) row.push_back({field.name, field.form == FieldForm::Byte ? 2 : 4});
        layouts[std::to_string(kind)] = std::move(row);
    }
    return layouts;
}

template <class Enum>
json names(std::size_t count) {
    json all = json::array();
    for (std::size_t i = 0; i < count; ++i) all.push_back(nameOf(static_cast<Enum>(i)));
    return all;
}

template <class Value>
json orNull(const std::optional<Value>& value) {
    return value ? json(*value) : json(nullptr);
}

}  // namespace

Listeners Page::listeners() {
    Listeners l;
    l.record = [this](const Record& record, const Decoded& decoded) { take(record, decoded); };
    l.exchange = [this](const Exchange& exchange) { take(exchange); };
    l.stray = [this](const Stray& stray) {
        if (stray.record < most_) strays_.push_back(stray);
    };
    return l;
}

void Page::take(const Record& record, const Decoded& decoded) {
    if (records_.size() < most_) {
        records_.push_back({record, decoded});
    } else {
        ++left_;
    }
}

void Page::take(const Exchange& exchange) {
    if (exchange.parts.front().record >= most_) return;
    exchanges_.push_back(exchange);
    std::erase_if(exchanges_.back().parts, [&](const Part& part) { return part.record >= most_; });
}

void Page::writeData(std::ostream& out, const Summary& summary, const std::string& name) const {
    json meanings = json::object();
    for (const Exchange& exchange : exchanges_) {
        if (exchange.code != Code::Success) meanings[std::to_string(number(exchange.code))] = meaningOf(exchange.code);
    }
    out << "{\"summary\":";
    writeJson(out, reportJson(summary, name));
    const auto entry = [&](const char* key, const json& value) {
        out << ",\n\"" << key << "\":";
        writeJson(out, value);
    };
    entry("left_out", left_);
    entry("kinds", names<RecordKind>(kRecordKinds));
    entry("families", names<Family>(kFamilies));
    entry("roles", names<Role>(kRoles));
    entry("outcomes", names<Outcome>(kOutcomes));
    entry("layouts", layoutsJson());
    entry("meanings", meanings);
    writeArray(out, "records", records_, [](const Kept& kept) {
        const auto& [record, decoded] = kept;
        const bool frame = !layoutOf(decoded.kind).empty();
        return json::array({record.line, record.time, static_cast<int>(decoded.kind),
                            frame ? frameText(record.text) : asUtf8(record.text), decoded.fields, decoded.dataFrom,
                            decoded.dataTo, decoded.problem, record.printed});
    });
    writeArray(out, "exchanges", exchanges_, [](const Exchange& e) {
        json parts = json::array();
        for (const Part& part : e.parts) {
            parts.push_back(part.record);
            parts.push_back(static_cast<int>(part.role));
        }
        return json::array({static_cast<int>(e.family), e.name, asUtf8(e.title), static_cast<int>(e.outcome), e.code,
                            asUtf8(e.finding), e.retry ? 1 : 0, e.sent, orNull(e.acknowledged), orNull(e.answered),
                            orNull(e.done), e.bytesSent, e.bytesReceived, std::move(parts), e.line});
    });
    writeArray(out, "strays", strays_, [](const Stray& s) {
        return json::array({s.record, static_cast<int>(s.role), s.error ? 1 : 0, asUtf8(s.text)});
    });
    out << "}";
}

void Page::write(std::ostream& out, const Summary& summary, const std::string& name) const {
    std::string_view rest = pageparts::kHtml;
    // "@NAME@" in the page is where that part goes.
    while (!rest.empty()) {
        const auto open = rest.find('@');
        const auto close = open == rest.npos ? rest.npos : rest.find('@', open + 1);
        if (close == rest.npos) break;
        out << rest.substr(0, open);
        const std::string_view part = rest.substr(open + 1, close - open - 1);
        if (part == "STYLE") out << pageparts::kStyle;
        if (part == "SCRIPT") out << pageparts::kScript;
        if (part == "DATA") writeData(out, summary, name);
        rest.remove_prefix(close + 1);
    }
    out << rest;
}

}  // namespace mova::trace
