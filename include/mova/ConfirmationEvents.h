// What a program implements to be told of the handset's answers in operating mode 1 (Mode::Events).
#pragma once
#include <cstdint>
#include <string>

#include "mova/Export.h"

namespace mova {

// Every function is called with no lock of the object held: it may call the object, close its port, or end it. What it
// throws is dropped; nothing that the object does depends on it.
class MOVA_API ConfirmationEvents {
public:
    virtual ~ConfirmationEvents();

    // One finished answer, in the order in which answers were completed, right after the receive pass that completed
    // it; on the thread that ran the pass (the reader thread, or the caller of a method that waits). type is always 1.
    // length counts the characters of text: an AT answer on one line with "~" for each line end, or the hexadecimal
    // data of a confirmation; for an answer that failed its checks, its lines as they came.
    virtual void OnCpGetMovaCnf(std::int32_t type, std::int32_t length, const std::string& text) = 0;

    // Around the reader thread's life, on that thread.
    virtual void readerStarted() {}
    virtual void readerEnded() {}

    // On a thread that waits for the reader thread's end, every 20 ms: lets calls in that the reader may be waiting
    // for.
    virtual void letCallsIn() {}
};

}  // namespace mova
