// The system and the module file as the test wants them. It starts as system version 6.2 and the module
// C:\Station\MovaCmdSvr.dll of 2024-02-29 12:30:00.
#pragma once
#include <map>
#include <string>

#include "platform/Host.h"
#include "support/ScriptedCore.h"

namespace mova {

class ScriptedHost : public Host {
public:
    explicit ScriptedHost(ScriptedCore& core) : core_(core) {}

    void setVersion(std::uint32_t major, std::uint32_t minor, std::uint32_t platformId = 2) {
        version_ = {platformId, major, minor};
    }
    void setModulePath(std::string path) { modulePath_ = std::move(path); }
    void setFileTime(const std::string& path, std::int64_t secondsSinceEpoch) { fileTimes_[path] = secondsSinceEpoch; }
    void removeFileTime(const std::string& path) { fileTimes_.erase(path); }

    SystemVersion systemVersion() override {
        core_.enter(Op::SystemVersion);
        return version_;
    }
    std::string modulePath() override { return core_.enter(Op::ModulePath) ? std::string() : modulePath_; }
    std::string fallbackTraceFile() override { return "c:\\TempMova.Log"; }
    std::optional<std::int64_t> fileTime(const std::string& path) override {
        if (core_.enter(Op::FileTime, path)) return std::nullopt;
        const auto found = fileTimes_.find(path);
        return found == fileTimes_.end() ? std::nullopt : std::optional(found->second);
    }

private:
    ScriptedCore& core_;
    SystemVersion version_{2, 6, 2};
    std::string modulePath_ = "C:\\Station\\MovaCmdSvr.dll";
    std::map<std::string, std::int64_t> fileTimes_{{"C:\\Station\\MovaCmdSvr.dll", 1709209800}};
};

}  // namespace mova
