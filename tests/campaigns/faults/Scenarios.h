// Every method of the command manager in the situations in which failures are tried on it: what is called, the codes
// that it may end with, and how long it may take.
//
//     Scenario("ReadE2PObject, byte by byte", 10100, [](CVeCmdManager& m, Station&) { return m.ReadE2PObject(1,
//     1).code; })
//         .good(0, 0, 0x4203)     // without a failure: synchronous, background, with events; 0 when not said
//         .orCodes(kE2p)          // with failures, beside them
//         .plainCard()            // written byte by byte
//         .closed()               // begins with a closed port
//         .before([](Station& s) { ... })
//         .then(Afterwards::Reopen)
#pragma once
#include <array>
#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

#include "campaigns/faults/Station.h"

namespace mova {

enum class Afterwards {
    GoOn,     // the next exchange goes without further ado
    Reopen,   // the port is closed, or in a state that only opening it anew ends
    SetMode,  // the mode is another one
    Remake,   // the object is gone
};

class Scenario {
public:
    enum class Start { Open, Closed, Made };  // Made: as it was created

    using Call = std::function<std::uint32_t(CVeCmdManager&, Station&)>;
    using Codes = std::vector<std::uint32_t>;

    // The name begins with that of the method. longest: milliseconds, with one failure.
    template <class AnyCall>
    Scenario(std::string_view name, std::uint32_t longest, AnyCall call)
        : name_(name), longest_(longest), call_([call](CVeCmdManager& manager, Station& station) {
              return static_cast<std::uint32_t>(call(manager, station));
          }) {}

    Scenario& good(std::uint32_t synchronous, std::uint32_t background, std::uint32_t events) {
        return good_ = {synchronous, background, events}, *this;
    }
    Scenario& good(std::uint32_t code) { return good(code, code, code); }
    Scenario& orCodes(Codes codes) { return codes_ = std::move(codes), *this; }
    Scenario& plainCard() { return card_ = Card::Plain, *this; }
    Scenario& closed() { return start_ = Start::Closed, then(Afterwards::Reopen); }
    Scenario& made() { return start_ = Start::Made, then(Afterwards::Reopen); }
    Scenario& then(Afterwards afterwards) { return afterwards_ = afterwards, *this; }
    Scenario& before(std::function<void(Station&)> prepare) { return prepare_ = std::move(prepare), *this; }

    std::string_view name() const { return name_; }
    std::string_view method() const { return name_.substr(0, name_.find_first_of(", ")); }
    std::uint32_t longest() const { return longest_; }
    Card card() const { return card_; }
    Afterwards afterwards() const { return afterwards_; }
    std::uint32_t goodIn(std::uint32_t mode) const {
        return good_[mode == Station::kEventMode ? 2U : Station::isBackground(mode) ? 1U : 0U];
    }
    bool allows(std::uint32_t code, std::uint32_t mode) const;
    void prepare(Station& station) const;
    std::uint32_t run(Station& station) const { return call_(*station.manager, station); }

private:
    std::string_view name_;
    std::uint32_t longest_;
    Call call_;
    std::array<std::uint32_t, 3> good_{};
    Codes codes_;
    Card card_ = Card::Usb;
    Start start_ = Start::Open;
    Afterwards afterwards_ = Afterwards::GoOn;
    std::function<void(Station&)> prepare_;
};

const std::vector<Scenario>& scenarios();

}  // namespace mova
