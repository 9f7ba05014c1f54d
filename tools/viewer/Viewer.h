// Shows what comes in: on the standard output, and in a file to which it is appended.
#pragma once
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "viewer/Filter.h"
#include "viewer/Receiver.h"

namespace mova::viewer {

struct ViewerOptions {
    FilterOptions filter;
    std::string file;  // empty: none
    bool json = false;
    std::uint64_t count = 0;                        // ends after so many messages; 0: not
    std::optional<std::chrono::milliseconds> time;  // ends after this time
};

class Viewer {
public:
    // Throws std::invalid_argument for a filter that is none, std::runtime_error when the file cannot be opened.
    Viewer(ViewerOptions options, std::FILE* out);

    // Until ended() or what the options say. The number of messages shown. Throws std::runtime_error when something
    // cannot be written any more.
    std::uint64_t run(Receiver& receiver, const std::function<bool()>& ended);

private:
    struct CloseFile {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    void show(const Message& message);

    ViewerOptions options_;
    Filter filter_;
    std::FILE* out_;
    std::unique_ptr<std::FILE, CloseFile> file_;
};

}  // namespace mova::viewer
