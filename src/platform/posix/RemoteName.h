// A port on another machine is named by the machine and the TCP port behind which its serial port is: "lab1:4001",
// "192.0.2.7:4001", "[2001:db8::7]:4001".
#pragma once
#include <optional>
#include <string>
#include <string_view>

namespace mova {

struct RemoteName {
    std::string host;  // without the brackets
    std::string port;
};

// None for what is no such name. A path with a "/" never is one, so that a file "lab1:4001" is reached as "./lab1:4001".
std::optional<RemoteName> remoteNameOf(std::string_view name);

}  // namespace mova
