// The log and trace files as the component writes them, with an eye on what is lost: it reports none of it.
#pragma once
#include <map>
#include <mutex>
#include <string>
#include <utility>

#include "platform/Platform.h"

namespace mova::cli {

class WatchedFiles final : public Files {
public:
    explicit WatchedFiles(Files& files) : files_(files) {}

    Handle open(const std::string& path, FileMode mode) override;
    bool write(Handle file, std::string_view text) override;
    void close(Handle file) override;

    // The first file that has lost something since the last time; empty when none has.
    std::string takeLost();

private:
    void noteLost(const std::string& path);

    Files& files_;
    std::mutex mutex_;
    std::map<Handle, std::string> open_;
    std::string lost_;
};

}  // namespace mova::cli
