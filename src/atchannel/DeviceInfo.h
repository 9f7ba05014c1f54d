// Questions about the handset that need more than one step: software version, IMEI, one-time-programmable status, the
// identity fields and the flash status. Callers hold the port's lock.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>

#include "atchannel/AtChannel.h"
#include "atchannel/IdentityFields.h"
#include "services/E2pRequests.h"
#include "base/Fields.h"

namespace mova {

class DeviceInfo {
public:
    struct Info {
        std::uint32_t code = 0;
        std::string text;
    };

    DeviceInfo(Platform& platform, AtChannel& channel, E2pRequests& e2p)
        : platform_(platform), channel_(channel), e2p_(e2p) {}

    Info ask(std::int32_t option, std::int32_t access, std::string_view parameter);

private:
    Info version();
    Info imei();
    Info otpStatus();
    Info readField(const IdentityField& field);
    Info writeField(const IdentityField& field, const Fields& parameters);
    Info flashStatus(std::int32_t access, const Fields& parameters);

    Platform& platform_;
    AtChannel& channel_;
    E2pRequests& e2p_;
};

}  // namespace mova
