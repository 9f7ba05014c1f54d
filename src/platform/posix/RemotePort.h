// A RemotePort is one open port on another machine. It keeps what has come in and what is to go out; a RemoteLine moves
// both, on a thread of its own. A lost connection is a hang-up.
#pragma once
#include <functional>
#include <memory>
#include <string>

#include "platform/posix/PosixPort.h"
#include "platform/posix/RemoteLine.h"
#include "platform/posix/RemoteName.h"

namespace mova {

class RemotePort final : public PosixPort, private RemoteLineUser {
public:
    using MakeLine = std::function<std::unique_ptr<RemoteLine>(RemoteLineUser&)>;
    // When the result is null, error says why: ELIBACC when what speaks RFC 2217 is not there, or one of the line's.
    static std::shared_ptr<PosixPort> open(const RemoteName& name, int& error);
    static std::shared_ptr<PosixPort> open(const RemoteName& name, const MakeLine& makeLine, int& error);

    int descriptor() const override { return inputReady_.descriptor(); }
    void beginClose() override;
    int lineSettings(LineSettings& out) const override;
    // EINVAL when the other side comes up with something else; the settings before are then in force again.
    int setLineSettings(const LineSettings& settings) override;
    int clearErrors(std::uint32_t& errorBits, PortStatus* status) override;
    int purge(std::uint32_t what) override;
    int control(LineControl function) override;
    int modemStatus(std::uint32_t& out) const override;
    int readQueued(void* buffer, std::uint32_t capacity, std::uint32_t& bytes) override;
    int writeSome(const void* data, std::uint32_t length, std::uint32_t& bytes) override;

private:
    RemotePort() = default;
    int presence() const override;
    pollfd readiness(short events) const override;
    int sinceHangUp(int error) const;  // EIO, whatever a call says that the hang-up came across

    void received(const char* bytes, std::size_t count) override;
    std::size_t takeOutput(char* to, std::size_t capacity) override;
    void modemLines(std::uint32_t status) override;
    void lineErrors(std::uint32_t errors) override;
    void lost() override;

    PosixEvent inputReady_;     // set while there is input, and by a hang-up
    PosixEvent roomForOutput_;  // set while there is room, and by a hang-up
    std::string input_ MOVA_GUARDED_BY(mutex_);
    std::string output_ MOVA_GUARDED_BY(mutex_);
    std::uint32_t errors_ MOVA_GUARDED_BY(mutex_) = 0;
    std::uint32_t modemLines_ MOVA_GUARDED_BY(mutex_) = 0;
    unsigned purges_ MOVA_GUARDED_BY(mutex_) = 0;  // under way: what comes in is dropped
    bool lost_ MOVA_GUARDED_BY(mutex_) = false;
    std::unique_ptr<RemoteLine> line_;  // goes first: its thread uses all of the above
};

}  // namespace mova
