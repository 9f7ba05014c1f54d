#include "campaigns/conversation/Course.h"

// What befalls the handset, the line, the cable and the driver between the steps.

namespace mova::conversation {

void Course::disturb() {
    platform_.failures().clear();
    if (manner_ != Manner::Calm && random_.oneIn(4)) disturbHandset();
    if (random_.oneIn(8)) {
        const bool on = random_.oneIn(2);
        tell(on ? "    echo on" : "    echo off");
        handset_.setEcho(on);
    }
    if (random_.oneIn(6)) {
        const int count = random_.between(1, 5);
        tell(printed("    %d confirmations unasked", count));
        for (int i = 0; i < count; ++i) sendUnsolicited();
        busyFor(100);
    }
    const bool everything = manner_ == Manner::Everything;
    if (everything || manner_ == Manner::Late || manner_ == Manner::Noisy) roughen();
    if (everything || manner_ == Manner::Unplugged) handleCable();
    if ((everything || manner_ == Manner::Failing) && random_.oneIn(3)) failSomething();
}

void Course::sendUnsolicited() {
    handset_.sendUnsolicited(now());
    comm_.peerHasNews();
}

void Course::disturbHandset() {
    handset::Faults& faults = handset_.faults();
    const std::uint32_t what = random_.below(manner_ == Manner::Late ? 4 : 9);
    switch (what == 0 && settings_.compared ? 1 : what) {  // at intervals, one comes in the last pause of an exchange
        case 0:
            handset_.setUnsolicitedInterval(
                random_.oneIn(2) ? 0 : static_cast<std::uint64_t>(random_.between(30, 600)) * 1000, now());
            comm_.peerHasNews();
            tell("    confirmations at intervals");
            break;
        case 1:
            faults.delayMicroseconds = random_.oneIn(3) ? 0 : static_cast<std::uint64_t>(random_.below(2500)) * 1000;
            tell(printed("    answers delayed by %llu us", static_cast<unsigned long long>(faults.delayMicroseconds)));
            break;
        case 2: {
            const auto fault = random_.oneIn(2) ? handset::Fault::TwoFamilies : handset::Fault::DuplicateSegment;
            tell("    fault: " + std::string(handset::nameOf(fault)));
            faults.set(fault);
            break;
        }
        case 3: setSegmentSize(random_.between(1, 130)); break;
        case 4:
            handset_.protocol().setE2pStatus(static_cast<std::uint8_t>(random_.oneIn(2) ? 0 : random_.below(24)));
            break;
        case 5: handset_.protocol().setHciStatus(static_cast<std::uint8_t>(random_.below(2))); break;
        case 6: handset_.protocol().setWifiStatus(static_cast<std::uint8_t>(random_.below(4))); break;
        default: {
            constexpr int kAllButHangUp = static_cast<int>(handset::kFaults) - 1;
            const auto fault = static_cast<handset::Fault>(random_.below(kAllButHangUp));
            tell("    fault: " + std::string(handset::nameOf(fault)));
            faults.set(fault, random_.between(1, 2));
        }
    }
}

void Course::roughen() {
    if (!random_.oneIn(4)) return;
    Roughness& r = line_.roughness;
    r = {};
    if (random_.oneIn(4)) return;
    r.inPieces = random_.oneIn(2) && !settings_.compared;
    const std::array delays{5u, 60u, 400u, 2500u};
    r.late = random_.below(300);
    r.longestDelay = random_.oneOf(delays);
    if (manner_ != Manner::Late) {
        const auto some = [&] { return random_.oneIn(2) ? random_.below(150) : 0u; };
        r.lost = some();
        r.doubled = some();
        r.corrupted = some();
        r.noiseLines = some();
        r.noiseBytes = some();
        r.lostRequests = random_.oneIn(6) ? random_.below(30) : 0;
    }
    tell(printed("    line: late %u by %u ms, lost %u, doubled %u, corrupted %u, noise %u %u, lost requests %u%s",
                 r.late, r.longestDelay, r.lost, r.doubled, r.corrupted, r.noiseLines, r.noiseBytes, r.lostRequests,
                 r.inPieces ? ", in pieces" : ""));
}

void Course::handleCable() {
    if (comm_.isPlugged() && random_.oneIn(5)) {
        if (random_.oneIn(2)) {
            unplug();
        } else {
            const int delay = random_.between(0, 900);
            tell(printed("    the cable goes out in %d ms", delay));
            platform_.after(std::chrono::milliseconds(delay), [this] { unplug(); });
        }
    } else if (!comm_.isPlugged() && random_.oneIn(2)) {
        tell("    cable in");
        comm_.replug();
    }
    if (random_.oneIn(5)) {
        const int delay = random_.between(0, 2500);
        platform_.after(std::chrono::milliseconds(delay), [this] { comm_.replug(); });
    }
}

void Course::unplug() {
    if (ending_ || !comm_.isPlugged()) return;
    tell("    cable out");
    comm_.unplug();
    line_.lose();
}

void Course::failSomething() {
    constexpr std::array kOps{Op::Open,        Op::Close,           Op::SetQueueSizes,   Op::SetTimeouts,
                              Op::Properties,  Op::GetLineSettings, Op::SetLineSettings, Op::SetEventMask,
                              Op::ClearErrors, Op::Purge,           Op::BeginRead,       Op::BeginWrite,
                              Op::Await,       Op::Finish,          Op::StartThread,     Op::BeginRead,
                              Op::BeginWrite,  Op::Finish,          Op::ClearErrors};
    const Op op = random_.oneOf(kOps);
    std::vector<FailureKind> kinds = kindsOf(op);
    std::erase(kinds, FailureKind::Pending);  // for ever: there is nobody here to stop it
    const FailureKind kind = random_.oneOf(kinds);
    const auto nth = static_cast<unsigned>(random_.oneIn(2) ? random_.between(1, 4) : random_.between(1, 60));
    const auto times = static_cast<unsigned>(random_.oneIn(3) ? random_.between(2, 6) : 1);
    FailureRule& rule = platform_.failures().fail(op).onCall(nth).times(times).as(kind);
    if (kind == FailureKind::ShortCount && random_.oneIn(2)) rule.count(0);
    tell(printed("    %s fails (%s) at call %u, %u times", nameOf(op), nameOf(kind), nth, times));
}

}  // namespace mova::conversation
