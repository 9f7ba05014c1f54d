#include <CLI/CLI.hpp>

#include "base/HeldText.h"
#include "base/HexText.h"
#include "base/Printable.h"
#include "base/Text.h"
#include "cli/Commands.h"
#include "cli/Context.h"
#include "cli/ParseBytes.h"

namespace mova::cli {

namespace {

constexpr std::int32_t kUsualTimeout = 4000;
constexpr std::uint32_t kUsualSilence = 200;  // milliseconds after which an answer counts as whole

struct RawOptions {
    std::string hex;
    std::string text;
    std::uint32_t milliseconds = 1000;
    std::uint32_t bytes = 0;  // 0: as many as come
    bool showText = false;
    bool read = false;
};

void show(Context& context, const RawOptions& o, const std::string& hex) {
    const std::string bytes = decodeHex(hex);
    context.result["bytes"] = bytes.size();
    context.result["hex"] = hex;
    context.result["text"] = printable(bytes);
    if (!hex.empty()) context.out.line(o.showText ? printable(bytes) : hex);
}

// Until the count is reached, the time is over or, once something came, the line is silent. A line that is never silent
// brings no more than anything else here holds.
std::string collect(Context& context, const RawOptions& o) {
    constexpr std::int32_t kChunk = 2048;
    constexpr std::uint32_t kPause = 2;
    CVeCmdManager& handset = context.session.handset();
    Clock& clock = context.session.clock();
    std::string hex;
    const std::uint32_t begin = clock.tickCount();
    std::uint32_t last = begin;
    for (;;) {
        checkInterrupt();
        const auto wanted =
            o.bytes == 0 ? kChunk : static_cast<std::int32_t>(std::min<std::size_t>(o.bytes - hex.size() / 2, kChunk));
        const ReadResult got = handset.DirectReadHexData(wanted);
        check(got.code, "the port could not be read");
        if (got.count > 0) {
            hex += got.data.value_or("");
            last = clock.tickCount();
        }
        if (hex.size() / 2 >= (o.bytes > 0 ? o.bytes : kMostHeldText)) return hex;
        const std::uint32_t now = clock.tickCount();
        if (now - begin >= o.milliseconds || (o.bytes == 0 && !hex.empty() && now - last >= kUsualSilence)) return hex;
        if (got.count == 0) clock.sleep(kPause);
    }
}

void read(Context& context, const RawOptions& o) {
    const std::string hex = collect(context, o);
    show(context, o, hex);
    if (hex.empty() || hex.size() / 2 < o.bytes) {
        throw Failure{ExitStatus::NoAnswer,
                      hex.empty() ? "nothing arrived"
                                  : std::to_string(hex.size() / 2) + " of " + counted(o.bytes, "byte") + " arrived",
                      "a longer wait: --for; another rate: --baud"};
    }
}

std::string bytesToWrite(const RawOptions& o) {
    if (o.hex.empty() == o.text.empty())
        failUsage("give what is to be written, either as hexadecimal data or with --text");
    if (!o.hex.empty()) return o.hex;
    const auto bytes = parseEscapes(o.text);
    if (!bytes) failUsage("\"" + o.text + "\" has an escape that is none of \\r \\n \\t \\0 \\\\ \\xNN");
    return encodeHex(*bytes);
}

// The component gives a write half a second and 10 ms for each byte, so that a long one could stand for half an hour:
// it goes out in pieces that have no more than the time-out.
std::size_t pieceFor(std::int32_t timeout) {
    constexpr std::int32_t kOnce = 500;
    constexpr std::int32_t kEachByte = 10;
    return static_cast<std::size_t>(std::max((timeout - kOnce) / kEachByte, 1));
}

void write(Context& context, const RawOptions& o) {
    const std::string hex = bytesToWrite(o);
    const std::int32_t timeout = context.session.timeout(kUsualTimeout);
    const std::size_t piece = 2 * pieceFor(timeout);
    CVeCmdManager& handset = context.session.handset();
    std::size_t count = 0;
    for (std::size_t at = 0; at < hex.size(); at += piece) {
        checkInterrupt();
        const std::string part = hex.substr(at, piece);
        const CountResult written = handset.DirectWriteHexData(part, static_cast<std::int32_t>(part.size() / 2));
        count += static_cast<std::size_t>(std::max(written.count, 0));
        context.result["written"] = count;
        check(written.code, written.code == Code::ShortWrite
                                ? format("%zu of %s written, and the port took no more for %d ms", count,
                                         counted(hex.size() / 2, "byte").c_str(), timeout)
                                : "the bytes were not written");
    }
    if (o.read) return read(context, o);
    context.out.line(counted(count, "byte") + " written");
}

void addReading(CLI::App& command, RawOptions& o) {
    addNumber(command, "--for", o.milliseconds, 4'000'000, "how long to wait, in milliseconds (1000)");
    addNumber(command, "-n,--bytes", o.bytes, 100'000'000,
              "end after so many bytes; without it once the line is silent for 200 ms, or after 16 MiB");
    command.add_flag("--ascii", o.showText,
                     "show text, with escapes for what does not show, instead of hexadecimal data");
}

}  // namespace

void describeRaw(CLI::App& command, Context& context) {
    command.description("Writes and reads bytes as they are, past all protocol");
    auto w = std::make_shared<RawOptions>();
    CLI::App* const writing = command.add_subcommand("write", "Writes bytes, and with --read shows what comes back");
    addHex(*writing, "data", w->hex, "the bytes as hexadecimal data");
    writing->add_option("--text", w->text, "the bytes as text; \\r \\n \\t \\0 \\\\ \\xNN as one byte each")
        ->type_name("TEXT");
    writing->add_flag("-r,--read", w->read, "read afterwards");
    addReading(*writing, *w);
    writing->footer("A port that takes nothing for the --timeout (4000 ms) ends it.");
    whenRun(*writing, context, [&context, w] { write(context, *w); });
    auto r = std::make_shared<RawOptions>();
    CLI::App* const reading = command.add_subcommand("read", "Shows the bytes that arrive");
    addReading(*reading, *r);
    whenRun(*reading, context, [&context, r] { read(context, *r); });
    command.require_subcommand(1);
}

}  // namespace mova::cli
