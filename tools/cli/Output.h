// Where a command's results go: lines for people, or one JSON object a line for machines; colours only where they
// are seen. A script's runner captures the lines instead.
#pragma once
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace mova::cli {

using Json = nlohmann::ordered_json;

enum class Style { Good, Bad, Strong, Faint };

// A line with styles in it, which show where the line goes to a terminal.
class StyledText {
public:
    struct Part {
        std::string text;
        std::optional<Style> style;
    };

    explicit StyledText(std::string_view text) : parts_{{std::string(text), std::nullopt}} {}
    StyledText(Style style, std::string_view text) : parts_{{std::string(text), style}} {}

    const std::vector<Part>& parts() const { return parts_; }

    friend StyledText operator+(StyledText first, const StyledText& second) {
        first.parts_.insert(first.parts_.end(), second.parts_.begin(), second.parts_.end());
        return first;
    }
    friend StyledText operator+(StyledText first, std::string_view second) {
        return std::move(first) + StyledText(second);
    }
    friend StyledText operator+(std::string_view first, const StyledText& second) { return StyledText(first) + second; }

private:
    std::vector<Part> parts_;
};

class Output {
public:
    void useJson(bool json) { json_ = json; }
    bool isJson() const { return json_; }
    // mode: auto, always, never. NO_COLOR, when set, holds against auto.
    void chooseColours(const std::string& mode);

    // Whatever the texts hold, control characters go out as escapes, and each text is one line.
    // Results throw Failure when they cannot be written.
    void line(std::string_view text) { line(StyledText(text)); }  // nothing in JSON mode
    void line(const StyledText& text);
    void object(const Json& object);  // nothing for people
    // To the standard output as it stands, and not a line: for what has been made harmless, or is not to be.
    void fragment(std::string_view shown);
    void remark(std::string_view text);    // to the error output: what goes on, what to do; nothing in JSON mode
    void announce(std::string_view text);  // to the error output, also in JSON mode and where lines are captured
    void trouble(std::string_view text) { trouble(StyledText(text)); }  // to the error output
    void trouble(const StyledText& text);

    // From here on lines are kept instead of written.
    void startCapture();
    std::vector<std::string> endCapture();
    bool isCapturing() const { return capturing_; }
    bool isLost() const { return lost_; }  // a result could not be written

private:
    void writeResult(std::string_view text);
    [[noreturn]] void failLost();

    bool json_ = false;
    bool coloursOut_ = false;
    bool coloursError_ = false;
    bool capturing_ = false;
    bool lost_ = false;
    std::vector<std::string> captured_;
};

}  // namespace mova::cli
