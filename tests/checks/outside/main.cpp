// A program of somebody else, built against what is installed. Ends with 0 if the library keeps what its headers
// promise.
#include <mova/CVeCmdManager.h>
#include <mova/Codes.h>
#include <mova/mova.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>

namespace {

bool memoryIsShort = false;
constexpr const char* kLong = "a path that no small text holds in itself, so that the library needs memory for it";
int failures = 0;

void expect(bool holds, const char* what) {
    if (holds) return;
    std::printf("FAILED: %s\n", what);
    ++failures;
}

class Listener : public mova::ConfirmationEvents {
public:
    explicit Listener(int& ended) : ended_(ended) {}
    ~Listener() override { ++ended_; }
    void OnCpGetMovaCnf(std::int32_t, std::int32_t, const std::string&) override { ++events; }

    int events = 0;

private:
    int& ended_;
};

}  // namespace

// The library's allocations come here as well.
void* operator new(std::size_t size) {
    void* const memory = memoryIsShort ? nullptr : std::malloc(size);
    if (!memory) throw std::bad_alloc();
    return memory;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

int main() {
    int ended = 0;
    {
        const auto listener = std::make_shared<Listener>(ended);
        const std::shared_ptr<mova::ConfirmationEvents> events = listener;
        expect(dynamic_cast<Listener*>(events.get()) == listener.get(), "the listener is known by its type");
        mova::CVeCmdManager handset(events);
        std::printf("%s\n", handset.GetCmpVersion(0).c_str());
        expect(!handset.GetCmpVersion(0).empty(), "the version has a text");

        handset.put_CommPortId(7);
        const auto opened = handset.InitCmdManager(0);
        expect(opened == mova::Code::NotOpen && static_cast<std::uint32_t>(opened) == 0x4000,
               "a missing port is 0x4000");
        expect(handset.IsCommDeviceOpen() == 0, "it stays closed");

        const std::string command(100, 'A');
        bool thrown = false;
        memoryIsShort = true;
        try {
            handset.Set_Log_File_Path(command);
        } catch (const std::bad_alloc&) {
            thrown = true;
        }
        memoryIsShort = false;
        expect(thrown, "short memory is std::bad_alloc");

        handset.FinalRelease();
        expect(listener->events == 0, "nothing happened, so there was no event");
    }
    expect(ended == 1, "the listener has gone with the object");
    mova_handset* handle = nullptr;
    memoryIsShort = true;
    expect(mova_create("/dev/none", nullptr, &handle) == 0x8007000E && handle == nullptr,
           "short memory is a code of the C interface");
    memoryIsShort = false;
    expect(mova_create(nullptr, nullptr, &handle) == MOVA_SUCCESS, "there is a handle when there is memory");
    std::size_t length = 77;
    memoryIsShort = true;
    const mova_code shortCode = mova_set_log_file_path(handle, kLong, MOVA_TO_ZERO);
    const mova_code noText = mova_get_cmp_version(handle, 0, nullptr, 0, &length);
    memoryIsShort = false;
    expect(shortCode == MOVA_OUT_OF_MEMORY && noText == MOVA_OUT_OF_MEMORY && length == 77, "then nothing is written");
    mova_destroy(handle);
    mova::CVeCmdManager without;
    expect(without.IsCommDeviceOpen() == 0, "an object needs no listener");
    if (failures == 0) std::printf("all as promised\n");
    return failures == 0 ? 0 : 1;
}
