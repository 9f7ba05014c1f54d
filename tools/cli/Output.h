// Where a command's results go: lines for people, or one JSON object a line for machines; colours only where they
// are seen. A script's runner captures the lines instead.
#pragma once
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace mova::cli {

using Json = nlohmann::ordered_json;

enum class Style { Good, Bad, Strong, Faint };

class Output {
public:
    void useJson(bool json) { json_ = json; }
    bool isJson() const { return json_; }
    // mode: auto, always, never. NO_COLOR, when set, holds against auto.
    void chooseColours(const std::string& mode);

    // Results throw Failure when they cannot be written.
    void line(std::string_view text);     // nothing in JSON mode
    void object(const Json& object);      // nothing for people
    void remark(std::string_view text);   // to the error output: what goes on, what to do; nothing in JSON mode
    void trouble(std::string_view text);  // to the error output
    std::string paint(Style style, std::string_view text) const;        // for the output
    std::string paintRemark(Style style, std::string_view text) const;  // for the error output

    // From here on lines are kept instead of written.
    void startCapture();
    std::vector<std::string> endCapture();
    bool isCapturing() const { return capturing_; }
    bool isLost() const { return lost_; }  // a result could not be written

private:
    void writeResult(std::string_view text);

    bool json_ = false;
    bool coloursOut_ = false;
    bool coloursError_ = false;
    bool capturing_ = false;
    bool lost_ = false;
    std::vector<std::string> captured_;
};

}  // namespace mova::cli
