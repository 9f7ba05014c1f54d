// What sits at the other end of a scripted port's cable, in virtual time. PeerAdapter makes one of any device that
// has the same three methods (the simulated handset), whatever integer and text types it uses:
//
//     handset::Handset handset;
//     PeerAdapter peer(handset);
//     port.attach(peer);
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace mova {

class PeerDevice {
public:
    virtual ~PeerDevice() = default;
    virtual void receive(std::string_view bytes, std::uint64_t nowMicroseconds) = 0;  // what the component wrote
    virtual std::string due(std::uint64_t nowMicroseconds) = 0;  // what has arrived at the component by now; once
    virtual std::optional<std::uint64_t> nextDue() = 0;          // when more arrives; empty when nothing is under way
};

template <class Device>
class PeerAdapter : public PeerDevice {
public:
    explicit PeerAdapter(Device& device) : device_(device) {}

    void receive(std::string_view bytes, std::uint64_t now) override { device_.receive(bytes, now); }
    std::string due(std::uint64_t now) override { return std::string(device_.due(now)); }
    std::optional<std::uint64_t> nextDue() override {
        const auto next = device_.nextDue();
        if constexpr (requires { next.has_value(); }) {
            return next ? std::optional<std::uint64_t>(*next) : std::nullopt;
        } else {
            using Number = decltype(device_.nextDue());
            return next == static_cast<Number>(-1) ? std::nullopt : std::optional<std::uint64_t>(next);
        }
    }

private:
    Device& device_;
};

}  // namespace mova
