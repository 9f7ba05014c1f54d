// Writes the seeds of all targets into a folder, one folder a target: what the component and the simulated handset say
// to each other, taken apart as each target wants it.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "atchannel/AtCommands.h"
#include "atchannel/AtProperties.h"
#include "atchannel/DeviceInfo.h"
#include "base/Text.h"
#include "campaigns/fuzz/LineBench.h"
#include "campaigns/fuzz/Require.h"
#include "handset/Frames.h"
#include "handset/Handset.h"
#include "services/E2pRequests.h"
#include "services/HciWifiActions.h"
#include "services/RfRequests.h"

namespace mova::fuzz {
namespace {

// An input as Input takes it apart: the text, behind it the numbers from the last to the first.
class Seed {
public:
    explicit Seed(std::string text) : text_(std::move(text)) {}
    Seed& byte(std::size_t value) {
        numbers_.insert(numbers_.begin(), static_cast<char>(value));
        return *this;
    }
    Seed& word(std::size_t value) { return byte(value & 0xFF).byte(value >> 8 & 0xFF); }
    Seed& number(std::size_t value) { return word(value & 0xFFFF).word(value >> 16 & 0xFFFF); }
    std::string bytes() const { return text_ + numbers_; }

private:
    std::string text_;
    std::string numbers_;
};

std::string numbered(const std::string& name, std::size_t number, int digits = 2) {
    return name + printed("%0*zu", digits, number);
}

class Corpus {
public:
    explicit Corpus(std::filesystem::path folder) : folder_(std::move(folder)) {}

    // Of a conversation: numbered in the order in which it was overheard.
    void add(const std::string& target, const Seed& seed) {
        constexpr std::size_t kLargest = 4000;
        const std::string bytes = seed.bytes();
        if (bytes.size() > kLargest || !seen_[target].insert(bytes).second) return;
        write(folder_ / target / "handset", numbered("", seen_[target].size(), 3), bytes);
    }

    // Of the layouts' limits: named by what it shows.
    void addEdge(const std::string& target, const std::string& name, const Seed& seed) {
        write(folder_ / target / "edges", name, seed.bytes());
    }

private:
    static void write(const std::filesystem::path& folder, const std::string& name, const std::string& bytes) {
        std::filesystem::create_directories(folder);
        require(!std::filesystem::exists(folder / name), "a seed's name is its own");
        std::ofstream file(folder / name, std::ios::binary);
        file << bytes;
        file.close();
        require(file.good(), "the seed is written");
    }

    std::filesystem::path folder_;
    std::map<std::string, std::set<std::string>> seen_;
};

// The handset with an ear on the line.
class Overheard : public PeerDevice {
public:
    void receive(std::string_view bytes, std::uint64_t now) override {
        sent += bytes;
        handset.receive(bytes, now);
    }
    std::string due(std::uint64_t now) override {
        const std::string bytes = handset.due(now);
        came += bytes;
        return bytes;
    }
    std::optional<std::uint64_t> nextDue() override { return handset.nextDue(); }

    handset::Handset handset;
    std::string sent;
    std::string came;
};

std::vector<std::string> linesOf(const std::string& text, const std::string& lineEnd) {
    std::vector<std::string> lines;
    std::size_t from = 0;
    for (auto end = text.find(lineEnd); end != text.npos; end = text.find(lineEnd, from)) {
        lines.push_back(text.substr(from, end - from));
        from = end + lineEnd.size();
    }
    return lines;
}

std::string lowerCase(std::string text) {
    for (char& c : text) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return text;
}

class Station {
public:
    explicit Station(const std::filesystem::path& folder) : corpus_(folder) {
        bench_.comm.attach(peer_);
        bench_.log.setPath("station.log");
        bench_.session.answerTerminator = "OK";
    }
    ~Station() { bench_.comm.detach(); }

    void talk() {
        at();
        identities();
        rf();
        e2p();
        actions();
        peer_.handset.setEcho(false);
        at();
        e2p();
        peer_.handset.protocol().setSegmentSize(7);
        e2p();
        actions();
        faults();
        traceAndLog();
        edges();
    }

private:
    // --- what is said

    void at() {
        for (const char* command :
             {"AT", "ATI", "AT+CGMI", "AT+CGSN", "AT%V", "AT+CSQ", "AT+COPS?", "AT%CNF=2,5", "ATX"}) {
            at_.sendPassThrough(command);
            bench_.platform.advance(100);
            at_.answers().wait(50, AtCommands::kFinalResults);
            overhear(2);
            corpus_.add("AtTexts", Seed(command).byte(0).byte(0).number(0));
        }
        corpus_.add("AtTexts", Seed("").byte(0).byte(0).number(0));
        for (const std::size_t id : {1u, 2u, 10u, 101u, 102u, 110u, 111u, 113u, 50u}) {
            properties_.set(static_cast<std::uint32_t>(id), 1);
            overhear(4);
            corpus_.add("AtTexts", Seed("").byte(2).byte(id).number(1));
        }
    }

    void identities() {
        constexpr std::size_t kOptions[] = {1, 3, 4, 5, 6, 7, 8};
        for (std::size_t i = 0; i < std::size(kOptions); ++i) {
            for (const std::string value :
                 {"", "AB12", "490154203237518", "12,345,6789", "a value that is far too long"}) {
                const auto option = static_cast<std::int32_t>(kOptions[i]);
                const IdentityField& field = *findIdentityField(option);
                info_.ask(option, 1, value);
                overhear(1);
                const auto read = e2p_.readRange(field.object, field.record, field.read.start, field.read.width);
                corpus_.add("IdentityFields", Seed(value + read.data).byte(i).byte(value.size()));
                corpus_.add("AtTexts", Seed(value).byte(3).byte(kOptions[i]).number(1));
            }
        }
        corpus_.add("IdentityFields", Seed("FF").byte(1).byte(0));
        const std::vector<std::pair<int, const char*>> steps{{0, "0"}, {1, "0"}, {1, "2,7,1A2B"}, {1, "2,8,FF"},
                                                             {1, "1"}, {1, "3"}, {0, "1"},        {0, "2"}};
        for (const auto& [access, parameter] : steps) {
            info_.ask(9, access, parameter);
            overhear(1);
            corpus_.add("AtTexts", Seed(parameter).byte(3).byte(9).number(static_cast<std::size_t>(access)));
            flashStatus(info_.ask(9, 0, "0").text);
        }
        corpus_.add("FlashStatus", Seed(std::string(136, '0')).byte(0).byte(0));
        corpus_.add("FlashStatus", Seed(std::string(134, '0') + "01").byte(0).byte(0));
        for (const std::size_t option : {0u, 2u, 10u, 11u}) {
            info_.ask(static_cast<std::int32_t>(option), 0, "");
            overhear(2);
            corpus_.add("AtTexts", Seed("").byte(3).byte(option).number(0));
        }
    }

    // The record as read, and its bytes with counters at their ends, each with steps behind it.
    void flashStatus(const std::string& text) {
        corpus_.add("FlashStatus", Seed(text).byte(0).byte(7));
        std::string bytes = handset::fromHex(text).value_or("");
        bytes.pop_back();
        for (const char* counters : {"\x01\x01\x05\x01", "\x01\x01\xFD\xFD", "\x00\x01\xFE\xFC", "\x01\x01\xFF\x09"}) {
            bytes.replace(0, 4, counters, 4);
            bytes[4] = '\0';
            corpus_.add("FlashStatus", Seed(bytes).byte(1).byte(5).byte(0).byte(3).byte(1).byte(2).byte(9).number(77));
        }
    }

    void rf() {
        const std::vector<std::pair<int, std::string>> requests{
            {0, "300"},           {1, "2,3,43981"},
            {2, "1,2,3,0A0B0C"},  {3, "5"},
            {4, "1,2,-1"},        {2, "1,2,250," + std::string(500, '7')},
            {1, " +7, 65536 ,x"}, {9, ""}};
        for (const auto& [kind, parameter] : requests) {
            rf_.byText(kind, 7, parameter);
            overhear(1);
            corpus_.add("VbRfVarReq", Seed(parameter).byte(static_cast<std::size_t>(kind % 6)).byte(7));
        }
    }

    void request(std::size_t command, std::size_t object, std::size_t record, const std::string& data) {
        peer_.came.clear();
        e2p_.request(static_cast<E2pCommand>(0x80 + command), static_cast<std::int32_t>(object),
                     static_cast<std::int32_t>(record), handset::toHex(data));
        replies([&](const std::string& text, std::size_t raw, std::size_t segment) {
            Seed seed(data + text);
            seed.byte(0).byte(raw).byte(segment - 1).byte(command).byte(0).word(object).word(record).byte(data.size());
            return seed;
        });
    }

    void e2p() {
        request(0, 0x1234, 2, "");
        request(1, 0x1234, 2, "\xAA\xBB");
        request(0, 0x1234, 2, "");
        request(0, 0x2000, 1, "");
        request(0, 0x7777, 1, "");
        request(0, 0x1234, 9, "");
        for (std::size_t command = 2; command < 8; ++command) {
            const bool carries = command == 2 || command == 4 || command == 5;
            request(command, 0x1234, 1, carries ? "secret" : "");
        }
        for (const std::size_t status : {1u, 2u, 12u, 13u, 15u, 20u, 255u}) {
            peer_.handset.protocol().setE2pStatus(static_cast<std::uint8_t>(status));
            request(0, 0x1234, 2, "");
        }
        peer_.handset.protocol().setE2pStatus(0);
    }

    void actions() {
        constexpr std::int32_t kHciOptions[] = {0, 1, 2, 3, 4, 5, 16};
        for (std::uint8_t status = 0; status < 3; ++status) {
            peer_.handset.protocol().setHciStatus(status);
            peer_.handset.protocol().setWifiStatus(status);
            for (std::size_t i = 0; i < std::size(kHciOptions); ++i) {
                peer_.came.clear();
                actions_.hci(kHciOptions[i], "01030C00");
                replies([&](std::string text, std::size_t raw, std::size_t segment) {
                    return Seed(std::move(text)).byte(1).byte(raw).byte(segment - 1).byte(0).byte(i).word(0).word(0);
                });
            }
            peer_.came.clear();
            actions_.wifi(0x21, "AABB");
            replies([&](std::string text, std::size_t raw, std::size_t segment) {
                return Seed(std::move(text)).byte(2).byte(raw).byte(segment - 1).byte(0).byte(0x21).word(0).word(0);
            });
        }
        peer_.handset.protocol().setHciStatus(0);
        peer_.handset.protocol().setWifiStatus(0);
    }

    void faults() {
        using handset::Fault;
        for (const Fault fault : {Fault::WrongChecksum, Fault::WrongEcho, Fault::WrongRecord, Fault::WrongData,
                                  Fault::DuplicateSegment, Fault::SkippedSegment, Fault::TwoFamilies}) {
            peer_.handset.faults().set(fault);
            request(1, 0x1234, 2, "\xAA\xBB");
        }
        peer_.handset.faults().clear();
        peer_.handset.faults().noisePerMille = 20;
        peer_.handset.faults().droppedPerMille = 20;
        bench_.session.setTimeout(4, 100);
        e2p_.request(E2pCommand::Read, 0x2000, 1);
        overhear(1);
    }

    // --- what becomes of it

    // What came since the last time, as lines and as a whole under the list of that number.
    void overhear(std::size_t list) {
        const std::string came = peer_.came;
        peer_.came.clear();
        if (came.empty()) return;
        engine(came, list);
        for (const std::string& line : linesOf(came, "\r\n")) line_(line);
        for (const std::string& line : linesOf(peer_.sent, "\r")) line_(line);
        peer_.sent.clear();
        corpus_.add("AtTexts", Seed(came).byte(1).byte(list).number(0));
        corpus_.add("HexText", Seed(came.substr(0, came.size() / 3)));
    }

    void engine(const std::string& bytes, std::size_t list) {
        for (const std::size_t piece : {6u, 254u}) {
            corpus_.add("ReceiveEngine",
                        Seed(bytes).byte(list).byte(piece).byte(0).byte(30).byte(1).byte(9).byte(piece));
        }
        everything_ += bytes;
        if (everything_.size() > 3000) {
            for (const std::size_t any : {0u, 1u, 2u, 3u}) {
                corpus_.add("ReceiveEngine",
                            Seed(everything_).byte(any).byte(77).byte(3).byte(255).byte(0).byte(9).byte(41));
            }
            everything_.clear();
        }
    }

    void line_(const std::string& line) {
        if (line.empty()) return;
        corpus_.add("LineClass", Seed(line).byte(1));
        if (line.starts_with("*MOVA=")) {
            corpus_.add("FrameCodec", Seed(line));
            corpus_.add("LineClass", Seed(line).byte(3));
            corpus_.add("HexText", Seed(line.substr(6)));
            corpus_.add("HexText", Seed(lowerCase(line.substr(6))));
        }
        if (line.starts_with("AT*MOVA=")) {
            corpus_.add("FrameCodec", Seed(line.substr(2)));
            const handset::Request request = handset::readRequest(line.substr(8));
            corpus_.add("FrameCodec", Seed(request.payload));
            corpus_.add("FrameCodec", Seed(handset::toHex(request.payload)));
        }
    }

    // The reply's lines as they came, and its bytes for frames of several sizes.
    void replies(const auto& seed) {
        const std::string came = peer_.came;
        std::string lines;
        std::string reply;
        for (const std::string& line : linesOf(came, "\r\n")) {
            if (!line.starts_with("*MOVA=") || line.starts_with("*MOVA=ACK")) continue;
            lines += (lines.empty() ? "" : "\r\n") + line;
            const handset::Request frame = handset::readRequest(line.substr(6));
            if (frame.payload.size() > 3) reply += frame.payload.substr(3);
        }
        corpus_.add("Replies", seed(lines, 1, 1));
        for (const std::size_t segment : {256u, 5u}) corpus_.add("Replies", seed(reply, 0, segment));
        overhear(1);
    }

    void traceAndLog() {
        std::map<int, std::size_t> ofKind;
        for (const auto& [kind, text] : bench_.trace.records()) {
            constexpr std::size_t kEnough = 3;
            const auto number = static_cast<int>(kind);
            if (++ofKind[number] > kEnough) continue;
            const std::size_t start = ofKind[number] == 1 ? 99000 : 200000;
            corpus_.add("TraceText", Seed(text).byte(static_cast<std::size_t>(number)).number(start));
        }
        for (std::size_t kind = 0; kind < 25; ++kind) {
            corpus_.add("TraceText", Seed("001A0102000300040005ABCD").byte(kind).number(0));
            corpus_.add("TraceText", Seed(std::string(266, 'A')).byte(kind).number(0));
        }
        std::size_t type = 0;
        for (const std::string& line : linesOf(bench_.platform.files().content("station.log"), "\r\n")) {
            const auto tag = line.find(": ");
            if (tag == line.npos) continue;
            const std::string message = line.substr(tag + 2) + (type % 2 ? "\n" : "");
            if (type < 60) corpus_.add("LogText", Seed(message).byte(type % 16).byte(type % 2));
            ++type;
        }
        for (const char* text : {"a\r\n\r\n~b~\r\n", "%s%n", ""}) {
            for (std::size_t tag = 0; tag < 16; ++tag) corpus_.add("LogText", Seed(text).byte(tag).byte(tag % 2));
        }
    }

    // Where the layouts have their limits: what coverage does not tell apart.
    void edges() {
        lineEdges();
        replyEdges();
        parameterEdges();
        textEdges();
    }

    void lineEdges() {
        const std::vector<std::pair<std::string, std::string>> lines{
            {"length-alone", "*MOVA=0500"},
            {"half-a-first-byte", "*MOVA=05008"},
            {"first-byte-of-e2p", "*MOVA=050080"},
            {"first-byte-of-hci-in-lower-case", "*MOVA=0500a0"},
            {"first-byte-of-wifi", "*MOVA=0500B0"},
            {"acknowledgement-cut-short", "*MOVA=AC"},
            {"acknowledgement", "*MOVA=ACK"},
            {"acknowledgement-and-more", "*MOVA=ACKx"},
            {"acknowledgement-in-lower-case", "*mova=ACK"},
            {"acknowledgement-behind-a-space", " *MOVA=ACK"},
            {"echo-cut-short", "AT*MOVA"},
            {"echo-alone", "AT*MOVA="},
            {"final-result", "OK"}};
        for (const auto& [name, line] : lines) {
            corpus_.addEdge("LineClass", name, Seed(line).byte(0));
            corpus_.addEdge("LineClass", name + "-beside-a-longer-acknowledgement", Seed(line).byte(4));
            corpus_.addEdge("FrameCodec", name, Seed(line));
            corpus_.addEdge("FrameCodec", name + "-and-a-digit", Seed(line + "1"));
        }
    }

    void replyEdges() {
        for (std::size_t status = 0; status < 23; ++status) {
            std::string reply("\x06\x00\x80\x00\x34\x12\x02\x00", 8);
            reply[3] = static_cast<char>(status);
            corpus_.addEdge("Replies", numbered("e2p-status-", status),
                            Seed(reply).byte(0).byte(0).byte(255).byte(0).byte(0).word(0x1234).word(2).byte(0));
        }
        const std::vector<std::pair<const char*, const char*>> replies{{"hci-nothing", ""},
                                                                       {"hci-length-alone", "0000"},
                                                                       {"hci-without-status", "000001"},
                                                                       {"hci-stray-byte", "5A"},
                                                                       {"hci-good-status", "01000100"},
                                                                       {"hci-bad-status", "01000101"},
                                                                       {"hci-data-behind-its-status", "010001001122"}};
        for (const auto& [name, text] : replies) {
            const std::string line =
                handset::confirmationLine(std::string("\xA0\x00\x01", 3) + handset::fromHex(text).value());
            corpus_.addEdge("Replies", name, Seed(line).byte(1).byte(1).byte(0).byte(0).byte(1).word(0).word(0));
        }
    }

    void parameterEdges() {
        const std::vector<std::pair<std::string, const char*>> parameters{
            {"half-a-byte-at-the-end", "1,2,9,0A0"},
            {"half-a-byte", "1,2,9,0"},
            {"more-data-than-its-size", "1,2,1,0A0B"},
            {"data-of-size-0", "1,2,0,0A0B"},
            {"above-64-bit-maximum", "9223372036854775808,1,1"},
            {"at-64-bit-minimum", "-9223372036854775808,1,1"},
            {"signs", "+-5,-1,+3"},
            {"spaces", " 1 , 2 , 3 "},
            {"other-notations", "0x10,1e3,7a"},
            {"commas-alone", ",,,,"}};
        for (const auto& [name, parameter] : parameters) {
            for (std::size_t kind = 0; kind < 5; ++kind) {
                corpus_.addEdge("VbRfVarReq", numbered(name + "-for-kind-", kind, 1),
                                Seed(parameter).byte(kind).byte(9));
            }
        }
    }

    void textEdges() {
        for (std::size_t kind = 0; kind < 25; ++kind) {
            for (const std::size_t length : {6u, 108u, 116u}) {
                corpus_.addEdge("TraceText", numbered(numbered("kind-", kind) + "-of-length-", length, 3),
                                Seed(std::string(length, 'A')).byte(kind).number(100000));
            }
        }
        for (const std::size_t type : {0u, 1u, 2u, 3u, 4u, 13u}) {
            corpus_.addEdge("LogText", numbered("white-space-of-type-", type),
                            Seed(" \t a b \r\n ").byte(type).byte(1));
        }
    }

    Corpus corpus_;
    Overheard peer_;
    std::string everything_;
    LineBench bench_;
    RequestSender sender_{bench_.port, bench_.answers, bench_.session, bench_.log, bench_.debug, bench_.trace};
    RfRequests rf_{sender_};
    E2pRequests e2p_{sender_, bench_.answers, bench_.log};
    HciWifiActions actions_{sender_, bench_.answers, bench_.session, bench_.log};
    AtCommands at_{bench_.port, bench_.answers, bench_.session, bench_.log, bench_.debug, bench_.trace};
    AtProperties properties_{bench_.platform, bench_.port, at_, bench_.session, bench_.trace};
    DeviceInfo info_{bench_.platform, at_, e2p_};
};

}  // namespace
}  // namespace mova::fuzz

int main(int count, char** arguments) {
    if (count != 2) {
        std::fprintf(stderr, "usage: fuzz-make-seeds FOLDER\n");
        return 2;
    }
    mova::fuzz::Station(arguments[1]).talk();
    return 0;
}
