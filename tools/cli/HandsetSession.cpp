#include "cli/HandsetSession.h"

#include <utility>

#include "cli/FileAccess.h"
#include "cli/KeptForGood.h"
#include "cli/PortChoice.h"

namespace mova::cli {

void ConfirmationInbox::OnCpGetMovaCnf(std::int32_t, std::int32_t, const std::string& text) {
    if (text.empty()) return;  // a look at the port that found nothing whole
    const std::lock_guard guard(mutex_);
    texts_.push_back(text);
}

std::vector<std::string> ConfirmationInbox::take() {
    const std::lock_guard guard(mutex_);
    return std::exchange(texts_, {});
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

std::string HandsetSession::chosenPort() {
    const PortChoice choice = choosePort(listPorts());
    out_.announce("mova: " + choice.told);
    return choice.port;
}

void HandsetSession::open() {
    auto target = std::make_unique<PortTarget>(options_.port.empty() ? chosenPort() : options_.port);
    system_ = &keepForGood(std::make_unique<SessionPlatform>(target->platform()));
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
