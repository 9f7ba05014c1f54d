#include "campaigns/allocation/Shortage.h"

#include <atomic>
#include <new>

namespace mova::memory {

namespace {

enum class Shortage { None, Once, From };

std::atomic<Shortage> shortage{Shortage::None};
std::atomic<unsigned> until{0};  // watched allocations before the first that fails
std::atomic<unsigned> failed{0};
thread_local bool watched = false;
thread_local int rests = 0;

void begin(Shortage kind, unsigned nth) {
    failed = 0;
    until = nth - 1;
    shortage = kind;
}

}  // namespace

void failOnce(unsigned nth) { begin(Shortage::Once, nth); }
void failFrom(unsigned nth) { begin(Shortage::From, nth); }
void relieve() { shortage = Shortage::None; }
unsigned failures() { return failed; }
bool reached() { return failed > 0; }

// One thread runs at a time; the others wait for the baton.
bool fails() {
    if (!watched || rests > 0 || shortage == Shortage::None) return false;
    if (until > 0) {
        --until;
        return false;
    }
    ++failed;
    if (shortage == Shortage::Once) shortage = Shortage::None;
    return true;
}

void allocationPoint() {
    if (fails()) throw std::bad_alloc();
}

void watch(bool on) { watched = on; }
void pause() { ++rests; }
void resume() { --rests; }

}  // namespace mova::memory
