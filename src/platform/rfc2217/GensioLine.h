// A GensioLine speaks RFC 2217 with the library gensio: it turns what is asked of a line into what the server is asked.
#pragma once
#include <memory>

#include "platform/rfc2217/GensioConnection.h"

namespace mova {

class GensioLine final : public RemoteLine {
public:
    explicit GensioLine(RemoteLineUser& user) : connection_(std::make_shared<GensioConnection>(user)) {}
    ~GensioLine() override { connection_->close(); }

    int open(const char* host, const char* port, LineSettings& settings) override;
    int apply(const LineSettings& wanted, LineSettings& actual) override;
    int control(LineControl function) override;
    void tryControl(LineControl function) override;
    int purge(std::uint32_t what) override;
    void outputWaits() override { connection_->outputWaits(); }
    void beginClose() override { connection_->beginClose(); }

private:
    int askSettings(const LineSettings& wanted, LineSettings& actual);

    const std::shared_ptr<GensioConnection> connection_;
};

}  // namespace mova
