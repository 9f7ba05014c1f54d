// Lines at the end of the error output, a terminal, that are written over as things go on.
#pragma once
#include <cstddef>
#include <string>
#include <vector>

namespace mova::cli {

class LiveLines {
public:
    LiveLines() = default;
    ~LiveLines() { clear(); }
    LiveLines(const LiveLines&) = delete;
    LiveLines& operator=(const LiveLines&) = delete;

    // As many as the terminal has room for; each is cut to its width.
    void draw(const std::vector<std::string>& lines);
    void clear();

    static bool arePossible();  // somebody watches, on a terminal that can do this
    static std::size_t mostLines();

private:
    std::size_t drawn_ = 0;
};

int terminalHeight();  // of the error output; 24 when it is not known

}  // namespace mova::cli
