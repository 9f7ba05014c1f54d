// The far end of a datagram channel. It takes nothing by itself: until it is asked for its messages, they wait.
#pragma once
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

namespace mova {

class DatagramListener {
public:
    explicit DatagramListener(const std::string& path)
        : socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        EXPECT_EQ(bind(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    }
    ~DatagramListener() { close(socket_); }
    DatagramListener(const DatagramListener&) = delete;
    DatagramListener& operator=(const DatagramListener&) = delete;

    std::vector<std::string> messages() const {
        std::vector<std::string> all;
        char buffer[4096];
        for (;;) {
            const auto got = recv(socket_, buffer, sizeof buffer, 0);
            if (got < 0) return all;
            all.emplace_back(buffer, static_cast<std::size_t>(got));
        }
    }

private:
    int socket_;
};

}  // namespace mova
