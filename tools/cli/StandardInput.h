// The standard input, byte by byte as it comes, be it a terminal, a pipe or a file.
#pragma once
#include <cstdint>
#include <memory>
#include <string>

namespace mova::cli {

class StandardInput {
public:
    // Keys: a terminal gives every key as it is pressed, Ctrl-C as well, and shows none. It is as it was before when this
    // object goes, and when a signal ends the program.
    enum class Mode { AsItIs, Keys };
    explicit StandardInput(Mode mode);
    ~StandardInput();
    StandardInput(const StandardInput&) = delete;
    StandardInput& operator=(const StandardInput&) = delete;

    enum class Outcome { Bytes, Nothing, Ended };
    // Waits so long at most for something, which is put behind what the text holds.
    Outcome read(std::string& bytes, std::uint32_t milliseconds);

private:
    struct State;
    std::unique_ptr<State> state_;
};

// What StandardInput has changed; also from a signal's handler.
void restoreTerminal() noexcept;

}  // namespace mova::cli
