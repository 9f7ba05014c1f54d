// The receive engine on any bytes in any pieces: pass by pass it does what the plain reference does, with terminators
// the pieces make no difference, and behind whatever came the next good answer is delivered.
#include "transport/ReceiveEngine.h"

#include <array>
#include <optional>

#include "campaigns/fuzz/Input.h"
#include "campaigns/fuzz/LineBench.h"
#include "campaigns/fuzz/Require.h"
#include "oracle/Engine.h"
#include "oracle/Frames.h"

using namespace mova;
using namespace mova::fuzz;

namespace {

constexpr std::string_view kLists[] = {"",   "OK", "OK|ERROR", "*MOVA=ACK",       ">j|OK",
                                       ">k", "|",  "||OK",     "ERROR|OK|CONNECT"};
constexpr int kShortEnoughForSingleBytes = 100;
constexpr int kMostPieces = 40;  // the rest comes whole: the reference splits everything anew each time

Landmark kinds[] = {{"ReceiveEngine", "an AT answer"},
                    {"ReceiveEngine", "a general confirmation"},
                    {"ReceiveEngine", "an echo"},
                    {"ReceiveEngine", "an E2P confirmation"},
                    {"ReceiveEngine", "an acknowledgement"},
                    {"ReceiveEngine", "an HCI confirmation"},
                    {"ReceiveEngine", "a WiFi confirmation"}};
Landmark invalid("ReceiveEngine", "an invalid record");
Landmark handsBack("ReceiveEngine", "lines handed back");
Landmark joins("ReceiveEngine", "data of more than one segment");
Landmark unfinished("ReceiveEngine", "an unfinished line at the end");

std::string describe(const MovaRetCmdTag& record) {
    oracle::Record same;
    same.kind = static_cast<unsigned>(record.kind);
    same.primitive = record.primitive;
    same.response = record.responseText;
    same.terminator = record.terminatorText;
    same.hexData = record.hexData;
    same.byteData = record.byteData;
    same.error = number(record.error);
    same.valid = record.valid;
    return oracle::describe(same);
}

class Run {
public:
    explicit Run(std::string_view list) : list_(list) {}

    // One piece arrives; passes until nothing more comes of it.
    void take(std::string_view piece) {
        bench_.comm.feed(piece);
        for (;;) {
            const std::string_view bytes = piece.substr(0, ReceiveEngine::kReadSize);
            piece.remove_prefix(bytes.size());
            const bool found = pass(bytes);
            if (!found && piece.empty()) return;
        }
    }

    // A line end and a terminator, as often as lines are handed back.
    void finishWhatIsPending(std::string_view terminator) {
        for (int i = 0; i < 6 && !bench_.pending().empty(); ++i) take("\r\n" + std::string(terminator) + "\r\n");
        requireEqual(bench_.pending(), "", "pending behind enough terminators");
    }

    MovaRetCmdTag answerTo(const std::string& line) {
        const std::size_t before = bench_.answers.records.size();
        take(line);
        requireEqual(bench_.answers.records.size(), before + 1, "records of one good answer");
        requireEqual(bench_.pending(), "", "pending behind a good answer");
        return bench_.answers.records.back();
    }

    void startAfresh() { bench_.answers.startAfresh(); }

    const std::string& story() const { return story_; }
    std::string pending() { return bench_.pending(); }

private:
    bool pass(std::string_view bytes) {
        const std::size_t before = bench_.answers.records.size();
        const Code result = bench_.engine().run(0, list_);
        const auto expected = referencePass(bytes);
        requireEqual(result, list_.empty() || expected ? Code::Success : Code::NoAnswer, "result of a pass");
        requireEqual(bench_.answers.records.size(), before + (expected ? 1 : 0), "records of a pass");
        requireEqual(bench_.pending(), reference_.pending(), "pending behind a pass");
        if (!expected) return false;
        const std::string text = describe(bench_.answers.records.back());
        requireEqual(text, oracle::describe(*expected), "record");
        story_ += text + "\n";
        note(*expected);
        // A single pass over an unfinished line makes an empty record each time.
        return !list_.empty() || !expected->response.empty();
    }

    // Without new bytes or any pending there is no pass.
    std::optional<oracle::Record> referencePass(std::string_view bytes) {
        if (bytes.empty() && reference_.pending().empty()) return std::nullopt;
        return reference_.pass(list_, bytes);
    }

    static void note(const oracle::Record& record) {
        kinds[record.kind].reach();
        if (record.valid == 0) invalid.reach();
        if (!record.handedBack.empty()) handsBack.reach();
        if (record.kind == oracle::kE2p && record.hexData.size() > 240) joins.reach();
    }

    LineBench bench_;
    std::string list_;
    oracle::Engine reference_;
    std::string story_;
};

void feed(Run& run, std::string_view text, int pieces, const auto& nextSize) {
    while (!text.empty()) {
        const std::string_view piece = text.substr(0, pieces-- > 0 ? nextSize() : text.size());
        text.remove_prefix(piece.size());
        run.take(piece);
    }
}

void expectGoodAnswers(Run& run, const std::string& terminator) {
    MovaRetCmdTag record = run.answerTo("+CSQ: 21,99\r\n\r\n" + terminator + "\r\n");
    requireEqual(record.responseText, "+CSQ: 21,99\r\n\r\n", "a good AT answer");
    requireEqual(record.terminatorText, terminator, "its terminator");
    requireEqual(record.valid, 1, "its validity");
    if (terminator.starts_with("*MOVA=ACK")) return;  // turns every line into an acknowledgement

    record = run.answerTo("*MOVA=05000500020103\r\n" + terminator + "\r\n");
    requireEqual(record.hexData, "05000201", "a good confirmation");
    requireEqual(record.byteData, std::string_view("\x05\x00\x02\x01", 4), "its bytes");
    requireEqual(record.valid, 1, "its validity");

    record = run.answerTo("*MOVA=0600800001AABB96\r\n*MOVA=06008000021234A2\r\n" + terminator + "\r\n");
    requireEqual(static_cast<unsigned>(record.kind), oracle::kE2p, "kind of a good E2P answer");
    requireEqual(record.hexData, "AABB1234", "its data");
    requireEqual(record.valid, 1, "its validity");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const std::string_view list = input.of(kLists);
    std::array<std::size_t, 6> sizes{};
    for (std::size_t& piece : sizes) piece = 1 + input.byte();
    const std::string_view text = input.text();

    std::size_t turn = 0;
    Run pieces(list);
    feed(pieces, text, kMostPieces, [&] { return sizes[turn++ % sizes.size()]; });
    if (!pieces.pending().empty() && !pieces.pending().ends_with("\r\n")) unfinished.reach();
    if (!list.empty()) {
        Run whole(list);
        whole.take(text);
        requireEqual(whole.story(), pieces.story(), "records of the whole and of pieces");
        requireEqual(whole.pending(), pieces.pending(), "pending of the whole and of pieces");
        if (text.size() <= std::size_t{kShortEnoughForSingleBytes}) {
            Run bytes(list);
            feed(bytes, text, kShortEnoughForSingleBytes, [] { return std::size_t{1}; });
            requireEqual(bytes.story(), whole.story(), "records of the whole and of single bytes");
            requireEqual(bytes.pending(), whole.pending(), "pending of the whole and of single bytes");
        }
        // What a caller does before a request takes all of it away.
        Run afresh(list);
        afresh.take(text.substr(0, text.size() / 2));
        afresh.startAfresh();
        requireEqual(afresh.pending(), "", "pending behind a fresh start");
    }
    if (list == "|") return 0;  // accepts nothing
    if (list.empty()) {
        for (int i = 0; i < 8 && !pieces.pending().empty(); ++i) pieces.take("\r\n");
        requireEqual(pieces.pending(), "", "pending behind single passes");
        return 0;
    }
    const auto first = list.find_first_not_of('|');
    const std::string terminator(list.substr(first, list.find('|', first) - first));
    pieces.finishWhatIsPending(terminator);
    expectGoodAnswers(pieces, terminator);
    return 0;
}
