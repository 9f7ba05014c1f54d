// A shortage of memory when it is wanted. The test program allocates through operators of its own, or stands between a
// DLL and the system: while a shortage is on, allocations of code that is watched fail, the nth of them once or all of
// them from the nth on. Watched is what runs inside a Watch, on any thread; a Rest inside it is not (the scripted
// platform, the tests themselves).
#pragma once
#include <functional>

namespace mova::memory {

void failOnce(unsigned nth);  // 1 is the next watched allocation
void failFrom(unsigned nth);
void relieve();       // no shortage any more
unsigned failures();  // handed out since the shortage began
bool reached();       // at least one

// Asked once for each allocation: whether it is one that fails.
bool fails();
// A place at which the system would allocate for its caller: throws std::bad_alloc as an allocation would.
void allocationPoint();

// Of the calling thread; a rest may lie within a watch, not the other way round.
void watch(bool on);
void pause();
void resume();

class Watch {
public:
    Watch() { watch(true); }
    ~Watch() { watch(false); }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
};

class Rest {
public:
    Rest() { pause(); }
    ~Rest() { resume(); }
    Rest(const Rest&) = delete;
    Rest& operator=(const Rest&) = delete;
};

}  // namespace mova::memory
