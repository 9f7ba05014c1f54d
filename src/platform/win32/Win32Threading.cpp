#include "platform/win32/Win32Threading.h"

#include "platform/win32/Win32Event.h"
#include "platform/win32/Win32Mutex.h"
#include "platform/win32/Win32NamedMutex.h"
#include "platform/win32/Win32Thread.h"

namespace mova {

std::unique_ptr<Event> Win32Threading::makeEvent() { return std::make_unique<Win32Event>(); }

std::unique_ptr<Mutex> Win32Threading::makeMutex() { return std::make_unique<Win32Mutex>(); }

std::unique_ptr<NamedMutex> Win32Threading::makeNamedMutex(const std::string& name) {
    return std::make_unique<Win32NamedMutex>(name);
}

std::unique_ptr<Thread> Win32Threading::start(std::function<void()> run) { return Win32Thread::start(std::move(run)); }

std::uint32_t Win32Threading::currentThreadId() { return GetCurrentThreadId(); }

}  // namespace mova
