// Runs conversations: every seed of a range, seeds that once failed, the same seed twice.
//
//     test-conversation                                         what ./test runs
//     test-conversation --seeds=1-200000                        a campaign
//     test-conversation --seed=4711 [--steps=12] [--trace]      one conversation again, step by step
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ostream>
#include <string>
#include <string_view>

#include "campaigns/conversation/Conversation.h"
#include "support/Effort.h"

namespace mova::conversation {

namespace {

// Kept for good, under the name of what it found: a mistake of the component, one that was planted, or one of the
// model.
struct KeptSeed {
    const char* found;
    std::uint64_t seed;
};
constexpr KeptSeed kKept[] = {
    {"LinesTooShortForAFrame", 113},
    {"TheCodeOfAStoppedWait", 125},
    {"TheLimitOfAPacedWrite", 161},
    {"TheWakeAttempts", 271},
    {"LinesThatArePutBackInFront", 550},
    {"AHandleThatWouldNotClose", 2875},
    {"AnAnswerLongerThanItsTimeOut", 51100},
    {"EventsThenALongQueueThenTheCable", 55153},  // named by what happens in it: its finding is not on record
    {"ALineOutOfTurnBehindAStrayCr", 293482},
};
void PrintTo(const KeptSeed& kept, std::ostream* out) { *out << kept.seed; }

std::uint64_t firstSeed = 1;
std::uint64_t lastSeed = 3000 / everyNthRun(12);
Settings settings;
volatile std::uint64_t runningSeed = 0;

std::string replay(std::uint64_t seed) {
    return "replay: build/linux/tests/test-conversation --seed=" + std::to_string(seed) +
           " --steps=" + std::to_string(settings.steps) + " --trace";
}

// The platform ends the process when nothing can move any more.
extern "C" void tellSeed(int) {
    std::fprintf(stderr, "seed %llu, --steps=%d\n", static_cast<unsigned long long>(runningSeed), settings.steps);
    std::signal(SIGABRT, SIG_DFL);
}

std::string printable(const std::string& text) {
    std::string out;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        constexpr std::string_view kDigits = "0123456789ABCDEF";
        if (c == '\n' || (byte >= 32 && byte < 127))
            out += c;
        else
            out.append("\\x").append(1, kDigits[byte / 16]).append(1, kDigits[byte % 16]);
    }
    return out;
}

Outcome run(std::uint64_t seed) {
    runningSeed = seed;
    Outcome outcome = converse(seed, settings);
    if (outcome.mismatch.empty() && !::testing::Test::HasFailure()) return outcome;
    constexpr std::size_t kTail = 30;
    std::string text = "seed " + std::to_string(seed) + "\n" + outcome.mismatch + "\nthe last of the conversation:\n";
    const auto& lines = outcome.transcript;
    for (std::size_t i = lines.size() > kTail ? lines.size() - kTail : 0; i < lines.size(); ++i)
        text += lines[i] + "\n";
    ADD_FAILURE() << printable(text) << replay(seed);
    return outcome;
}

TEST(Conversation, EveryAnswerIsWhatTheModelSays) {
    std::uint64_t exchanges = 0, records = 0, confirmations = 0, delivered = 0, milliseconds = 0, seeds = 0;
    for (std::uint64_t seed = firstSeed; seed <= lastSeed && !HasFailure(); ++seed, ++seeds) {
        const Outcome outcome = run(seed);
        exchanges += outcome.exchanges;
        records += outcome.records;
        confirmations += outcome.confirmations;
        delivered += outcome.delivered;
        milliseconds += outcome.virtualMilliseconds;
    }
    std::printf(
        "%llu seeds: %llu requests, %llu records, %llu confirmation lines, %llu delivered, %llu virtual seconds\n",
        static_cast<unsigned long long>(seeds), static_cast<unsigned long long>(exchanges),
        static_cast<unsigned long long>(records), static_cast<unsigned long long>(confirmations),
        static_cast<unsigned long long>(delivered), static_cast<unsigned long long>(milliseconds / 1000));
}

class KeptConversation : public ::testing::TestWithParam<KeptSeed> {};

TEST_P(KeptConversation, GoesAsTheModelSays) { run(GetParam().seed); }

INSTANTIATE_TEST_SUITE_P(Found, KeptConversation, ::testing::ValuesIn(kKept),
                         [](const auto& seed) { return std::string(seed.param.found); });

TEST(ConversationSeeds, TheSameSeedGivesTheSameConversation) {
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        const Outcome first = run(seed);
        const Outcome second = run(seed);
        EXPECT_EQ(first.hash, second.hash) << "seed " << seed;
        EXPECT_EQ(first.transcript, second.transcript) << "seed " << seed;
    }
    EXPECT_NE(run(1).hash, run(11).hash);
}

// How early a wait ends is nobody's business but the clock's. In the synchronous modes: what a reader thread finds
// beside an answer depends on when it last looked, early or not; its rhythm has tests of its own.
TEST(ConversationPauses, EndingThemEarlyChangesNothingThatIsSeen) {
    Settings early = settings, plain = settings;
    early.compared = plain.compared = plain.plainPauses = true;
    std::uint64_t milliseconds[2] = {};
    constexpr std::uint64_t kEvery = 3;
    for (std::uint64_t seed = firstSeed; seed <= lastSeed && !HasFailure(); seed += kEvery) {
        runningSeed = seed;
        const Outcome a = converse(seed, early);
        const Outcome b = converse(seed, plain);
        ASSERT_EQ(a.mismatch, "") << "seed " << seed;
        ASSERT_EQ(b.mismatch, "") << "seed " << seed << ", plain pauses";
        const auto [x, y] = std::mismatch(a.seen.begin(), a.seen.end(), b.seen.begin(), b.seen.end());
        const auto at = [](const auto& seen, auto where) { return where == seen.end() ? "(its end)" : *where; };
        if (x != a.seen.end() || y != b.seen.end()) {
            std::string before;
            for (auto line = x - std::min<std::ptrdiff_t>(12, x - a.seen.begin()); line != x; ++line)
                before += *line + "\n";
            ADD_FAILURE() << "seed " << seed << "\n"
                          << printable(before) << "--- ended early:\n"
                          << printable(at(a.seen, x)) << "\n--- plain:\n"
                          << printable(at(b.seen, y));
        }
        milliseconds[0] += a.virtualMilliseconds;
        milliseconds[1] += b.virtualMilliseconds;
    }
    EXPECT_LE(milliseconds[0], milliseconds[1]);
}

bool takes(const char* argument, const char* option, const char*& value) {
    const std::size_t length = std::strlen(option);
    if (std::strncmp(argument, option, length) != 0) return false;
    value = argument + length;
    return true;
}

// False when it is none of the conversation's own.
bool option(const char* argument) {
    const char* value = nullptr;
    char* end = nullptr;
    if (takes(argument, "--seeds=", value)) {
        firstSeed = std::strtoull(value, &end, 10);
        lastSeed = *end == '-' ? std::strtoull(end + 1, nullptr, 10) : firstSeed;
    } else if (takes(argument, "--seed=", value)) {
        firstSeed = lastSeed = std::strtoull(value, nullptr, 10);
    } else if (takes(argument, "--steps=", value)) {
        settings.steps = std::atoi(value);
        return true;
    } else {
        settings.trace = std::strcmp(argument, "--trace") == 0;
        return settings.trace;
    }
    ::testing::GTEST_FLAG(filter) = "Conversation.*:ConversationPauses.*";
    return true;
}

}  // namespace

}  // namespace mova::conversation

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    for (int i = 1; i < argc; ++i) {
        if (mova::conversation::option(argv[i])) continue;
        std::fprintf(stderr, "unknown option %s\n", argv[i]);
        return 2;
    }
    std::signal(SIGABRT, mova::conversation::tellSeed);
    return RUN_ALL_TESTS();
}
