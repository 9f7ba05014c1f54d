// The device tree of a system with one port, which is a simulated handset's.
#pragma once
#include "platform/KeyTree.h"

namespace mova::simulation {

constexpr const char* kPortName = "sim";

// A key is its depth, counted from 1 at the tree's root: there is one way down.
class SimulatedKeyTree final : public KeyTree {
public:
    Key open(const std::string& path, KeyAccess access) override;
    bool subkey(Key key, std::uint32_t index, std::string& name) override;
    bool value(Key key, const std::string& name, void* buffer, std::size_t& size) override;
    void close(Key) override {}
};

}  // namespace mova::simulation
