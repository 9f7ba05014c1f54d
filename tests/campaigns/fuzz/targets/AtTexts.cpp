// Texts and numbers that callers give to the AT channel: what leaves the port is the command and a carriage return or
// nothing; identity values written to the simulated handset read back.
#include "campaigns/fuzz/Input.h"
#include "campaigns/fuzz/LineBench.h"
#include "campaigns/fuzz/Require.h"
#include "handset/Handset.h"
#include "mova/CVeCmdManager.h"

using namespace mova;
using namespace mova::fuzz;

namespace {

Landmark sent("AtTexts", "a command that was sent");
Landmark refused("AtTexts", "a command that was refused");
Landmark answered("AtTexts", "an answer that was collected");
Landmark property("AtTexts", "a property");
Landmark unknown("AtTexts", "an unknown property");
Landmark value("AtTexts", "an identity value that reads back");
Landmark flash("AtTexts", "the flash status");

bool isKnownProperty(std::uint32_t id) { return (id >= 1 && id <= 14) || (id >= 101 && id <= 114); }

class Station {
public:
    Station() {
        platform.setCallCost(std::chrono::milliseconds(1));  // waits in vain take a few calls
        manager.put_CommPortId(7);
        requireEqual(manager.InitCmdManager(0), 0, "opening");
        comm.clearWritten();
    }

    // Sent as it is, whatever it holds.
    void send(const std::string& command) {
        const std::uint32_t is = number(manager.SendNormalAtCmd(0, command));
        if (command.empty() || command.size() > 4094) {
            requireEqual(is, 0x2007, "code of a command that cannot be sent");
            requireEqual(comm.written(), "", "nothing written");
            refused.reach();
        } else {
            requireEqual(is, 0, "code of a command");
            requireEqual(comm.written(), command + "\r", "bytes of a command");
            sent.reach();
        }
    }

    void collect(std::int32_t option, const std::string& answer) {
        comm.feed(answer);
        const AtResult result = manager.GetNormalAtResult(option);
        requireEqual(result.code, 0, "code of an answer");
        requireEqual(static_cast<std::uint64_t>(result.length), result.text.size(), "length of an answer");
        require(result.text.find("\r\n") == std::string::npos, "an answer on one line");
        require(result.text.find("~~") == std::string::npos, "one sign for many line ends");
        if (!result.text.empty()) answered.reach();
    }

    void set(std::uint32_t id, std::uint32_t parameter) {
        comm.attach(peer);
        const Code is = manager.SetAtCmdProperty(id, parameter);
        comm.detach();
        if (isKnownProperty(id)) {
            property.reach();
            require(is == 0 || is == 0x4004, "code of a property");
            require(!comm.written().empty(), "a property is written");
            return;
        }
        unknown.reach();
        requireEqual(is, 0x3001, "code of an unknown property");
        requireEqual(comm.written(), "", "nothing written");
    }

    void ask(std::int32_t option, std::int32_t access, const std::string& parameter) {
        comm.attach(peer);
        const TextResult first = manager.SpecificInfo(option, access, parameter);
        if (first.code != 0) requireEqual(first.text.value_or(""), "", "text of a failure");
        if (option == 9 && first.code == 0) flash.reach();
        const bool isPrefixed = option == 3 || option == 6 || option == 7;
        if (isPrefixed && access == 1 && first.code == 0) {
            const TextResult read = manager.SpecificInfo(option, 0, "");
            requireEqual(read.code, 0, "reading back");
            requireEqual(read.text.value_or("?"), first.text.value_or(""), "the value read back");
            value.reach();
        }
        comm.detach();
    }

    // Afterwards the line is as good as before.
    void expectGoodAnswer() {
        comm.onWrite([this](std::string_view) { comm.feed("\r\nACME\r\n\r\nOK\r\n"); });
        requireEqual(manager.SendNormalAtCmd(0, "AT+CGMI"), 0, "the next command");
        comm.onWrite({});
        requireEqual(manager.GetNormalAtResult(2).text, "ACME~OK~", "nothing but its answer");
    }

private:
    static handset::Profile atOnce() {
        handset::Profile profile;
        profile.baudRate = 0;
        return profile;
    }

    handset::Handset handset_{atOnce()};
    PeerAdapter<handset::Handset> peer{handset_};
    ScriptedPlatform platform;
    ScriptedPort& comm = quietPort(platform);
    CVeCmdManager manager{platform};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const std::size_t what = input.below(4);
    const std::uint8_t id = input.byte();
    const std::uint32_t parameter = input.number();
    const std::string text(input.text());
    Station station;
    switch (what) {
        case 0: station.send(text); break;
        case 1: station.collect(id % 4, text); break;
        case 2: station.set(id % 128, parameter); break;
        default: station.ask(id % 16, static_cast<std::int32_t>(parameter % 3), text); break;
    }
    station.expectGoodAnswer();
    return 0;
}
