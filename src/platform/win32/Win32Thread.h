// A started thread. It holds a reference to the module and gives it back as its very last step, after its function and
// everything that the function owned are destroyed.
#pragma once
#include <functional>
#include <memory>

#include "platform/Sync.h"
#include "platform/win32/OwnedHandle.h"

namespace mova {

class Win32Thread final : public Thread {
public:
    // Null when the system has no thread to give.
    static std::unique_ptr<Win32Thread> start(std::function<void()> run);

    std::uint32_t id() const override { return id_; }
    void setLowestPriority() override;
    bool join(std::uint32_t milliseconds) override;  // false at once on the thread itself
    // What the thread owned stays behind, and what it held locked stays locked. A thread that has left its function
    // is not touched. Not for the calling thread itself.
    void terminate() override;

private:
    class ModuleShare;
    struct Work;
    static DWORD WINAPI main(void* work) noexcept;
    explicit Win32Thread(std::shared_ptr<ModuleShare> module) : module_(std::move(module)) {}

    const std::shared_ptr<ModuleShare> module_;
    OwnedHandle handle_;
    DWORD id_ = 0;
};

}  // namespace mova
