// What a handset says, byte by byte, as a person is to see it on a terminal: no byte of it drives the terminal.
//
// A line feed ends a line, carriage returns before it belong to it, and carriage returns alone end a line too; every
// other control character is shown as an escape. In the hexadecimal view every byte is two digits, and a line has
// sixteen of them or ends behind a line feed.
#pragma once
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace mova::cli {

class TerminalView {
public:
    using Stamp = std::function<std::string()>;  // what a line begins with

    bool hexadecimal = false;
    bool stamps = false;
    bool transparent = false;  // all bytes go out as they are

    explicit TerminalView(Stamp stamp) : stamp_(std::move(stamp)) {}

    // What is to be written for these bytes. The last ones are held back while more may belong to them.
    std::string take(std::string_view bytes);
    std::string rest();     // what is held back, when nothing has followed for a while
    std::string endLine();  // what brings the terminal to the beginning of a line

private:
    std::string takeText(std::string_view text);
    std::string takeHexadecimal(std::string_view bytes);
    void show(std::string& out, std::string_view text);
    void breakLine(std::string& out);

    Stamp stamp_;
    std::string held_;
    std::size_t column_ = 0;  // 0: at the beginning of a line
};

}  // namespace mova::cli
