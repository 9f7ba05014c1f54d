#include "viewer/Viewer.h"

#include <cerrno>
#include <system_error>

#include "platform/Platform.h"

namespace mova::viewer {

namespace {

constexpr int kPatience = 100;  // milliseconds; how late an end is noticed

// Flushed each time: what has been shown is there, whatever happens next.
bool put(std::FILE* file, const std::string& text) {
    return std::fwrite(text.data(), 1, text.size(), file) == text.size() && std::fflush(file) == 0;
}

}  // namespace

Viewer::Viewer(ViewerOptions options, std::FILE* out)
    : options_(std::move(options)), filter_(options_.filter), out_(out) {
    if (options_.file.empty()) return;
    if (isPipeWithoutReader(options_.file)) {
        throw std::runtime_error(options_.file + " cannot be written: it is a pipe without a reader");
    }
    // Made as the component makes its own files: for the user alone.
    Files& files = nativePlatform().files;
    const Files::Handle made = files.open(options_.file, FileMode::TextAppend);
    if (made != Files::kInvalid) files.close(made);
    file_.reset(std::fopen(options_.file.c_str(), "a"));
    if (!file_)
        throw std::runtime_error(options_.file + " cannot be written: " + std::generic_category().message(errno));
}

std::uint64_t Viewer::run(Receiver& receiver, const std::function<bool()>& ended) {
    const auto begin = std::chrono::steady_clock::now();
    std::uint64_t shown = 0;
    while (!ended() && (options_.count == 0 || shown < options_.count)) {
        if (options_.time && std::chrono::steady_clock::now() - begin >= *options_.time) break;
        if (readerGone(out_)) throw std::runtime_error("nobody reads the standard output any more");
        const auto bytes = receiver.next(kPatience);
        if (!bytes) continue;
        const Message message = parseMessage(*bytes, std::chrono::system_clock::now());
        if (!filter_.passes(message)) continue;
        show(message);
        ++shown;
    }
    return shown;
}

void Viewer::show(const Message& message) {
    const std::string text = options_.json ? asJson(message) : asText(message);
    errno = 0;
    if (file_ && !put(file_.get(), text)) {
        throw std::runtime_error(options_.file +
                                 " cannot be written any more: " + std::generic_category().message(errno));
    }
    if (!put(out_, text)) throw std::runtime_error("the standard output cannot be written any more");
}

}  // namespace mova::viewer
