// The handset's request protocol behind "AT*MOVA=": takes frames apart, joins segments, serves the four families and
// tells the lines to answer with.
#pragma once
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "handset/E2pStore.h"
#include "handset/Faults.h"

namespace mova::handset {

// What a service answers to certain requests instead of giving back what it got. A request is known by how it begins:
// RF: service, access and index; HCI: option, command; WiFi: command, parameter.
struct ServiceAnswer {
    enum class Service { Rf, Hci, Wifi };
    Service service = Service::Rf;
    std::string request;
    std::uint8_t status = 0;
    std::string data;
};

class RequestProtocol {
public:
    explicit RequestProtocol(Faults& faults) : faults_(faults), store_(E2pStore::erased()) {}

    E2pStore& store() { return store_; }
    void setSegmentSize(std::size_t bytes) { segmentSize_ = bytes; }  // of text-family confirmations
    void setHciStatus(std::uint8_t status) { hciStatus_ = status; }
    void setWifiStatus(std::uint8_t status) { wifiStatus_ = status; }
    // Every E2P request gets this status while it is not 0.
    void setE2pStatus(std::uint8_t status) { e2pStatus_ = status; }

    void addAnswer(ServiceAnswer answer) { answers_.push_back(std::move(answer)); }  // the first that fits is given

    // The lines, in order, each without its line end. A bad frame is answered with "ERROR".
    std::vector<std::string> answer(std::string_view body);

    // An unsolicited general confirmation with its running number.
    std::string unsolicited();
    std::uint16_t nextUnsolicited() const { return unsolicited_; }  // its number

private:
    using Lines = std::vector<std::string>;

    struct Assembly {
        std::uint8_t count = 0;
        std::uint8_t last = 0;
        std::string bytes;
    };

    const ServiceAnswer* ownAnswer(ServiceAnswer::Service service, std::string_view request) const;
    Lines answerRf(std::string_view payload);
    Lines answerText(std::string_view payload);
    std::string serve(std::uint8_t family, const std::string& message);
    std::string serveE2p(const std::string& message);
    std::string serveHci(const std::string& message);
    std::string serveWifi(const std::string& message);
    std::uint8_t performE2p(std::uint8_t command, std::uint16_t object, std::uint16_t record, std::string& data);
    std::string segment(std::uint8_t family, std::uint8_t number, std::string_view data);
    void addConfirmation(Lines& lines, std::uint8_t family, const std::string& reply);

    Faults& faults_;
    E2pStore store_;
    std::size_t segmentSize_ = 120;
    std::uint8_t hciStatus_ = 0;
    std::uint8_t wifiStatus_ = 0;
    std::uint8_t e2pStatus_ = 0;
    std::uint16_t unsolicited_ = 0;
    std::vector<ServiceAnswer> answers_;
    std::map<std::uint8_t, Assembly> assemblies_;  // by family byte, or RF service
};

}  // namespace mova::handset
