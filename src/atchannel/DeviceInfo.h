// Questions about the handset that need more than one step: software version, IMEI, one-time-programmable status, the
// identity fields and the flash status. Callers hold the port's lock.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>

#include "atchannel/AtCommands.h"
#include "atchannel/IdentityFields.h"
#include "base/Fields.h"
#include "services/E2pRequests.h"

namespace mova {

class DeviceInfo {
public:
    struct Reply {
        Code code = Code::Success;
        std::string text;
    };

    DeviceInfo(Platform& platform, AtCommands& commands, E2pRequests& e2p)
        : platform_(platform), commands_(commands), e2p_(e2p) {}

    Reply ask(std::int32_t option, std::int32_t access, std::string_view parameter) MOVA_REQUIRES(portLockRole);

private:
    Reply version() MOVA_REQUIRES(portLockRole);
    Reply imei() MOVA_REQUIRES(portLockRole);
    Reply otpStatus() MOVA_REQUIRES(portLockRole);
    Reply readField(const IdentityField& field) MOVA_REQUIRES(portLockRole);
    Reply writeField(const IdentityField& field, const Fields& parameters) MOVA_REQUIRES(portLockRole);
    Reply flashStatus(std::int32_t access, const Fields& parameters) MOVA_REQUIRES(portLockRole);

    Platform& platform_;
    AtCommands& commands_;
    E2pRequests& e2p_;
};

}  // namespace mova
