#include <windows.h>

#include <atomic>

#include "logging/MyDebugMsg.h"
#include "viewer/Receiver.h"

namespace mova::viewer {

namespace {

std::atomic<bool> interruption{false};

BOOL WINAPI noteInterruption(DWORD) {
    interruption = true;
    return TRUE;
}

class MailslotReceiver final : public Receiver {
public:
    MailslotReceiver() : slot_(CreateMailslotA(MyDebugMsg::kMailslotName, 0, 0, nullptr)) {
        if (slot_ != INVALID_HANDLE_VALUE) return;
        const DWORD error = GetLastError();
        if (error == ERROR_ALREADY_EXISTS || error == ERROR_ACCESS_DENIED) {
            throw ChannelError("another viewer is already listening on " + channelName() + "; end it first");
        }
        throw ChannelError(channelName() + " cannot be listened on: error " + std::to_string(error));
    }
    ~MailslotReceiver() override { CloseHandle(slot_); }

    std::optional<std::string> next(int milliseconds) override {
        constexpr int kPause = 5;
        for (int waited = 0;; waited += kPause) {
            DWORD size = MAILSLOT_NO_MESSAGE;
            if (!GetMailslotInfo(slot_, nullptr, &size, nullptr, nullptr)) {
                throw ChannelError(channelName() + " is lost: error " + std::to_string(GetLastError()));
            }
            if (size != MAILSLOT_NO_MESSAGE) return read(size);
            if (waited >= milliseconds || interruption) return std::nullopt;
            Sleep(kPause);
        }
    }
    std::string channelName() const override { return MyDebugMsg::kMailslotName; }

private:
    std::optional<std::string> read(DWORD size) {
        std::string message(size + 1, '\0');  // an empty message is read as well
        DWORD count = 0;
        if (!ReadFile(slot_, message.data(), size + 1, &count, nullptr)) return std::nullopt;
        message.resize(count);
        return message;
    }

    HANDLE slot_;
};

}  // namespace

std::unique_ptr<Receiver> listenOnDebugChannel() { return std::make_unique<MailslotReceiver>(); }

void catchInterruption() { SetConsoleCtrlHandler(noteInterruption, TRUE); }

bool interrupted() { return interruption; }

bool isPipeWithoutReader(const std::string&) { return false; }  // such pipes are no files here

bool readerGone(std::FILE*) { return false; }  // shows at the next write

}  // namespace mova::viewer
