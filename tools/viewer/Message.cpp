#include "viewer/Message.h"

#include <array>
#include <ctime>
#include <nlohmann/json.hpp>

#include "base/Printable.h"
#include "base/Text.h"

namespace mova::viewer {

namespace {

constexpr std::string_view kComponent = "MovaCmdSvr:";
// What the line sends may hold line ends, and behind one what looks like a message: a later line is never taken for one.
constexpr std::string_view kLaterLine = "| ";

bool isLineEnd(char c) { return c == '\r' || c == '\n'; }

std::string timeText(Time time, const char* pattern, std::tm* (*split)(const std::time_t*)) {
    using std::chrono::duration_cast, std::chrono::milliseconds, std::chrono::seconds;
    const auto whole = std::chrono::floor<seconds>(time);
    const std::time_t clock = std::chrono::system_clock::to_time_t(whole);
    std::array<char, 32> text{};
    std::strftime(text.data(), text.size(), pattern, split(&clock));
    return text.data() + format(".%03d", static_cast<int>(duration_cast<milliseconds>(time - whole).count()));
}

std::string shown(std::string_view text) { return printable(asUtf8(text), Tabs::Escaped); }

}  // namespace

std::vector<std::string_view> Message::lines() const {
    std::vector<std::string_view> all;
    std::string_view rest = text;
    for (;;) {
        const auto end = rest.find('\n');
        std::string_view line = rest.substr(0, end);
        while (line.ends_with('\r')) line.remove_suffix(1);
        all.push_back(line);
        if (end == rest.npos) return all;
        rest.remove_prefix(end + 1);
    }
}

Message parseMessage(std::string_view bytes, Time time) {
    Message message{time, {}, {}, {}};
    std::string_view rest = bytes;
    if (rest.starts_with(kComponent)) {
        rest.remove_prefix(kComponent.size());
        const auto close = rest.starts_with('(') ? rest.find(')') : rest.npos;
        if (close != rest.npos) {
            message.object = rest.substr(1, close - 1);
            rest.remove_prefix(close + 1);
        }
        if (rest.starts_with(' ')) rest.remove_prefix(1);
        message.prefix = bytes.substr(0, bytes.size() - rest.size());
    }
    while (!rest.empty() && (isLineEnd(rest.back()) || rest.back() == '\0')) rest.remove_suffix(1);
    message.text = rest;
    return message;
}

std::string asText(const Message& message) {
    const std::string head = timeText(message.time, "%Y-%m-%d %H:%M:%S", std::localtime) + " " + shown(message.prefix);
    std::string all;
    for (const std::string_view line : message.lines()) {
        all += head;
        if (line.data() != message.text.data()) all += kLaterLine;
        all.append(shown(line)).append("\n");
    }
    return all;
}

std::string asJson(const Message& message) {
    const nlohmann::ordered_json object{{"time", timeText(message.time, "%Y-%m-%dT%H:%M:%S", std::gmtime) + "Z"},
                                        {"object", asUtf8(message.object)},
                                        {"prefix", asUtf8(message.prefix)},
                                        {"text", asUtf8(message.text)}};
    return printableJson(object.dump()) + "\n";
}

}  // namespace mova::viewer
