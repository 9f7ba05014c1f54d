#include "cli/HandsetSession.h"

#include <utility>

#include "base/Environment.h"
#include "base/HeldText.h"
#include "cli/FileAccess.h"
#include "cli/PortList.h"

namespace mova::cli {

namespace {
std::size_t sizeOf(const std::string& text) { return sizeof(std::string) + text.size(); }
}  // namespace

void ConfirmationInbox::OnCpGetMovaCnf(std::int32_t, std::int32_t, const std::string& text) {
    if (text.empty()) return;  // a look at the port that found nothing whole
    const std::lock_guard guard(mutex_);
    texts_.push_back(text);
    held_ += sizeOf(texts_.back());
    for (; held_ > kMostHeldText && texts_.size() > 1; ++dropped_) {
        held_ -= sizeOf(texts_.front());
        texts_.pop_front();
    }
}

std::deque<std::string> ConfirmationInbox::take() {
    const std::lock_guard guard(mutex_);
    held_ = 0;
    return std::exchange(texts_, {});
}

std::uint64_t ConfirmationInbox::takeDropped() {
    const std::lock_guard guard(mutex_);
    return std::exchange(dropped_, 0);
}

namespace {

// Threads of the component that use it may outlive main.
SessionPlatform* keepForGood(std::unique_ptr<SessionPlatform> platform) {
    static auto& kept = *new std::vector<std::unique_ptr<SessionPlatform>>();
    return kept.emplace_back(std::move(platform)).get();
}

std::string onlyPort() {
    const std::vector<ListedPort> ports = listPorts();
    if (ports.empty()) failUsage("no port is named and none is there", noPortsHint());
    if (ports.size() > 1) {
        failUsage("there are several ports and none is named",
                  "\"mova ports\" lists them; choose with --port or " + std::string(variable::kPort));
    }
    return ports[0].number ? std::to_string(*ports[0].number) : ports[0].device;
}

void requireWritableFor(const char* option, const std::string& path) {
    if (!path.empty()) requireWritable(path, std::string(option) + " " + path);
}

}  // namespace

HandsetSession::~HandsetSession() { close(); }

void HandsetSession::close() {
    handset_.reset();  // closes the port
    target_.reset();
}

void HandsetSession::closeAtEnd() {
    if (system_ != nullptr) system_->clock.skipPauses();
    close();
}

CVeCmdManager& HandsetSession::handset() {
    if (!handset_) open();
    return *handset_;
}

Clock& HandsetSession::clock() { return nativePlatform().clock; }

const std::string& HandsetSession::portName() {
    handset();
    return target_->name();
}

void HandsetSession::requireRecorded() {
    const std::string lost = system_ == nullptr ? std::string() : system_->files.takeLost();
    if (!lost.empty()) {
        failFile(lost + " could not be written, and does not hold all that was sent and received",
                 "is the disk full? is another program holding it?");
    }
}

void HandsetSession::applyTimeouts() {
    struct Row {
        Timeout which;
        std::int32_t usual;
    };
    constexpr Row kAnswers[] = {{Timeout::RfAcknowledgement, 1000}, {Timeout::Acknowledgement, 4000}};
    for (const Row& row : kAnswers) handset_->AssignTimeoutConstant(number(row.which), timeout(row.usual));
}

void HandsetSession::open() {
    auto target = std::make_unique<PortTarget>(options_.port.empty() ? onlyPort() : options_.port);
    system_ = keepForGood(std::make_unique<SessionPlatform>(target->platform()));
    auto handset = std::make_unique<CVeCmdManager>(system_->platform, inbox_);
    requireWritableFor("--trace", options_.traceFile);
    requireWritableFor("--log", options_.logFile);
    if (!options_.traceFile.empty()) {
        check(handset->ActivateMovaLogging(options_.traceFile, 0, kStartTrace),
              "the trace file " + options_.traceFile + " could not be opened");
    }
    if (!options_.logFile.empty()) handset->Set_Log_File_Path(options_.logFile);
    handset->put_CommPortId(target->number());
    handset->put_BaudRate(options_.baudRate);
    const Code opened = handset->InitCmdManager(0);
    if (opened != Code::Success) throw target->whyNotOpened(opened);
    target_ = std::move(target);
    handset_ = std::move(handset);
    applyTimeouts();
}

}  // namespace mova::cli
