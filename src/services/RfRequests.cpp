#include "services/RfRequests.h"

#include <algorithm>
#include <array>
#include <string>

#include "base/Fields.h"
#include "base/HexText.h"
#include "mova/Options.h"

namespace mova {

namespace {
constexpr std::size_t kSegment = 100;
}  // namespace

Code RfRequests::generalTest(std::uint8_t service, std::uint16_t index) { return send(service, 0, index, {}); }

Code RfRequests::changeParameter(std::uint8_t request, std::uint8_t access, std::uint16_t index, std::uint16_t value) {
    const std::array<std::uint8_t, 2> data{static_cast<std::uint8_t>(value & 0xFF),
                                           static_cast<std::uint8_t>(value >> 8)};
    return send(request, access, index, data);
}

Code RfRequests::changeTable(std::uint8_t request, std::uint8_t access, std::uint16_t index, std::uint16_t length,
                             std::optional<Bytes> table) {
    if (!table) return Code::WrongArrayType;
    return send(request, access, index, table->first(std::min({std::size_t{length}, kMostData, table->size()})));
}

Code RfRequests::testCase(std::uint8_t request, std::uint8_t access) { return send(request, access, 0, {}); }

Code RfRequests::byText(std::int32_t kind, std::uint8_t request, std::string_view parameter) {
    const Fields fields(parameter);
    const auto access = fields.number<std::uint8_t>(0);
    const auto index = fields.number<std::uint16_t>(1);
    switch (static_cast<RfRequest>(kind)) {
        case RfRequest::ChangeParameter:
        case RfRequest::Statistics:  // one behaviour under two names: the handset tells them apart by the request byte
            return changeParameter(request, access, index, fields.number<std::uint16_t>(2));
        case RfRequest::ChangeTable: {
            const std::string_view hex = fields.text(3);
            const std::string bytes = decodeHex(hex.substr(0, hex.size() / 2 * 2));
            return changeTable(request, access, index, fields.number<std::uint16_t>(2),
                               Bytes(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()));
        }
        case RfRequest::TestCase: return testCase(request, access);
    }
    return generalTest(request, fields.number<std::uint16_t>(0));
}

Code RfRequests::send(std::uint8_t service, std::uint8_t access, std::uint16_t index, Bytes data) {
    const std::size_t segments = std::max<std::size_t>(1, (data.size() + kSegment - 1) / kSegment);
    return sender_.send(delivery::Rf, segments, [&](std::size_t number) {
        const Bytes rest = data.subspan(kSegment * (number - 1));
        const Bytes part = rest.first(std::min(rest.size(), kSegment));
        std::string payload;
        appendHexByte(payload, service);
        appendHexByte(payload, access);
        appendHexWord(payload, index);
        appendHexWord(payload, static_cast<std::uint16_t>(part.size()));
        appendHexByte(payload, static_cast<std::uint8_t>(segments > 1 ? number : 0));
        appendHexByte(payload, static_cast<std::uint8_t>(segments > 1 ? segments : 0));
        return payload.append(encodeHex(part));
    });
}

}  // namespace mova
