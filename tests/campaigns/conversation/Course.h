// The course of one conversation: its caller, its handset, its line and its judges.
#pragma once
#include <array>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "campaigns/conversation/Conversation.h"
#include "campaigns/conversation/Ledger.h"
#include "campaigns/conversation/Recorder.h"
#include "campaigns/conversation/RoughLine.h"
#include "handset/Handset.h"
#include "mova/CVeCmdManager.h"
#include "oracle/PlainModel.h"
#include "support/ScriptedPlatform.h"

namespace mova::conversation {

using oracle::Mismatch;
using oracle::PlainModel;
using oracle::resultText;

template <class... More>
std::string resultText(Code code, const More&... more) {
    return oracle::resultText(number(code), more...);
}

enum class Manner { Calm, Late, Noisy, Unplugged, Failing, Everything };

struct Object {
    unsigned id;
    unsigned record;
    int bytes;
};
inline constexpr std::array kObjects{Object{4097, 1, 64},   Object{4099, 1, 64},   Object{4256, 1, 16},
                                     Object{36895, 1, 512}, Object{0x1234, 1, 16}, Object{0x1234, 2, 2},
                                     Object{0x2000, 1, 256}};
inline constexpr Object kLargeObject{0x2000, 2, 5100};

class Course {
public:
    Course(std::uint64_t seed, const Settings& settings);
    Outcome run();

private:
    using Act = std::function<std::string(CVeCmdManager&)>;
    using Expect = std::function<std::string(PlainModel&)>;

    // --- the telling

    void tell(const std::string& text);
    static std::string shortened(const std::string& text);
    std::string call(const std::string& name, const Act& act, const Expect& expect);
    void settle();
    void tellTape() const;
    void truth(bool holds, const std::string& what) const;
    bool isCalm() const { return manner_ == Manner::Calm || ending_; }
    bool isNoisy() const { return manner_ == Manner::Noisy || manner_ == Manner::Everything; }

    // --- the beginning, the end

    void begin();
    void compare();
    std::vector<std::string> seenByAll();
    void shortenWaits();
    void startTicksAt(std::uint32_t ticks);
    void end();
    void release();
    void waitUntilReaderEnded();
    void rest();
    void letPass(std::uint32_t milliseconds);
    void setSegmentSize(int bytes);
    // An answer is joined from at most 255 segments.
    bool fits(const Object& o) const { return o.bytes + 8 <= 255 * segmentSize_; }

    std::uint64_t now() const { return static_cast<std::uint64_t>(platform_.now().count()); }

    // --- disturbances

    void disturb();
    void sendUnsolicited();
    void disturbHandset();
    void roughen();
    void handleCable();
    void unplug();
    void failSomething();

    // --- actions

    std::string init();
    std::string close();
    std::string open();
    std::string switchMode(std::uint32_t option);
    void setTimeout(int option, int milliseconds);
    std::string property(std::uint32_t id, std::uint32_t parameter);
    std::string sendAt(const std::string& command);
    std::string getAt(int option);
    std::string clear();
    std::string fetch(bool asText);
    std::string rf(int size);
    std::string unique(int bytes);

    static std::string shown(const TextResult& r) { return resultText(r.code, r.text); }
    static std::string shown(const RangeResult& r);
    std::string stored(const Object& o);
    bool isReady() const;
    void busyFor(std::uint64_t milliseconds) { busyUntil_ = std::max(busyUntil_, now() + milliseconds * 1000); }

    void readObject(const Object& o);
    void writeObject(const Object& o);
    void readRange(const Object& o);
    void writeRange(const Object& o);
    void provision();
    void hci();
    void wifi();
    void info();
    void at();
    void chooseProperty();
    void direct();
    void act();
    void listen();

    const Settings settings_;
    Random random_;
    const Manner manner_;
    const bool usb_;
    ScriptedPlatform platform_;
    Recorder recorder_;
    TapedPlatform taped_;
    ScriptedPort& comm_;
    handset::Handset handset_;
    RoughLine line_;
    RoughLine& peer_;
    PlainModel model_;
    Ledger ledger_;
    std::shared_ptr<ConfirmationEvents> listener_;
    std::unique_ptr<CVeCmdManager> manager_;
    int step_ = 0;
    int segmentSize_ = 120;
    bool ending_ = false;
    std::uint64_t busyUntil_ = 0;
    unsigned serial_ = 0;
    std::uint64_t hash_ = 14695981039346656037ull;
    Outcome outcome_;
};

}  // namespace mova::conversation
