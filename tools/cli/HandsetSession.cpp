#include "cli/HandsetSession.h"

#include <optional>
#include <utility>

#include "base/HeldText.h"
#include "cli/FileAccess.h"
#include "cli/KeptForGood.h"
#include "cli/PortChoice.h"

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

void requireWritableFor(const char* option, const std::string& path) {
    if (!path.empty()) requireWritable(path, std::string(option) + " " + path);
}

}  // namespace

HandsetSession::~HandsetSession() { close(); }

void HandsetSession::close() {
    handset_.reset();  // closes the port
    target_.reset();
    lost_ = false;
}

void HandsetSession::closeAtEnd() {
    if (system_ != nullptr) system_->clock.skipPauses();
    close();
}

CVeCmdManager& HandsetSession::handset() {
    if (lost_ && comesBack_) comesBack_();
    if (!handset_) open();
    return *handset_;
}

void HandsetSession::lose() {
    handset_.reset();
    lost_ = true;
}

bool HandsetSession::reopen() {
    if (!target_->isThere()) return false;
    const std::optional<bool> dtr = system_->line.chosen(LineControl::SetDtr);
    const std::optional<bool> rts = system_->line.chosen(LineControl::SetRts);
    if (openTarget() != Code::Success) return false;
    // That they could be set is known; where they no longer can, a command that needs them says so.
    if (dtr) static_cast<void>(handset_->SetCommSignal(number(OutputSignal::Dtr), *dtr ? 1 : 0));
    if (rts) static_cast<void>(handset_->SetCommSignal(number(OutputSignal::Rts), *rts ? 1 : 0));
    lost_ = false;
    return true;
}

std::function<void()> HandsetSession::whenLost(std::function<void()> comesBack) {
    return std::exchange(comesBack_, std::move(comesBack));
}

Clock& HandsetSession::clock() { return nativePlatform().clock; }

const std::string& HandsetSession::portName() {
    if (!lost_) handset();
    return target_->name();
}

void HandsetSession::requireRecorded() {
    const std::string lost = system_ == nullptr ? std::string() : system_->files.takeLost();
    if (!lost.empty()) {
        failFile(lost + " could not be written, and does not hold all that was sent and received",
                 "is the disk full? is another program holding it?");
    }
    const std::string unkept = target_ ? target_->keepObjects() : std::string();
    if (!unkept.empty()) failFile("the simulated handset's objects could not be written to " + unkept);
}

void HandsetSession::applyTimeouts() {
    struct Row {
        Timeout which;
        std::int32_t usual;
    };
    constexpr Row kAnswers[] = {{Timeout::RfAcknowledgement, 1000}, {Timeout::Acknowledgement, 4000}};
    for (const Row& row : kAnswers) handset_->AssignTimeoutConstant(number(row.which), timeout(row.usual));
}

std::string HandsetSession::chosenPort() {
    const PortChoice choice = choosePort(listPorts());
    out_.announce("mova: " + choice.told);
    return choice.port;
}

void HandsetSession::open() {
    if (!lost_) {
        target_ = std::make_unique<PortTarget>(options_.port.empty() ? chosenPort() : options_.port);
        system_ = &keepForGood(std::make_unique<SessionPlatform>(target_->platform()));
    }
    const Code opened = openTarget();
    if (opened != Code::Success) throw target_->whyNotOpened(opened);
    lost_ = false;
}

Code HandsetSession::openTarget() {
    auto handset = std::make_unique<CVeCmdManager>(system_->platform, inbox_);
    requireWritableFor("--trace", options_.traceFile);
    requireWritableFor("--log", options_.logFile);
    if (!options_.traceFile.empty()) {
        check(handset->ActivateMovaLogging(options_.traceFile, 0, kStartTrace),
              "the trace file " + options_.traceFile + " could not be opened");
    }
    if (!options_.logFile.empty()) handset->Set_Log_File_Path(options_.logFile);
    handset->put_CommPortId(target_->number());
    handset->put_BaudRate(options_.baudRate);
    const Code opened = handset->InitCmdManager(0);
    if (opened != Code::Success) return opened;
    handset_ = std::move(handset);
    applyTimeouts();
    return opened;
}

}  // namespace mova::cli
