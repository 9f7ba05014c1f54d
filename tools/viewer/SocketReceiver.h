// The channel on Linux: a datagram socket in the private folder, where the component looks for it.
#pragma once
#include <memory>
#include <string>

#include "viewer/Receiver.h"

namespace mova::viewer {

std::unique_ptr<Receiver> listenIn(const std::string& folder);

}  // namespace mova::viewer
