#include "platform/rfc2217/ServerQuestions.h"

#include <gensio/gensio_err.h>

#include <algorithm>
#include <cerrno>

namespace mova {

namespace {

struct ErrorRow {
    int theirs;
    int ours;
};
constexpr ErrorRow kErrors[] = {
    {GE_NOMEM, ENOMEM},
    {GE_NOTSUP, EPROTONOSUPPORT},
    {GE_TIMEDOUT, ETIMEDOUT},
    {GE_REMCLOSE, ECONNRESET},
    {GE_HOSTDOWN, EHOSTUNREACH},
    {GE_CONNREFUSE, ECONNREFUSED},
    {GE_PERM, EACCES},
    {GE_NOTFOUND, ENONET},
    {GE_UNKNOWN_NAME_ERROR, ENONET},
    {GE_NAME_ERROR, ENONET},
    {GE_NAME_SERVER_FAILURE, ENONET},
    {GE_NAME_INVALID, ENONET},
    {GE_NAME_NET_NOT_UP, ENONET},
};

}  // namespace

int errnoOfGensio(int error) {
    if (error == 0) return 0;
    for (const ErrorRow& row : kErrors) {
        if (row.theirs == error) return row.ours;
    }
    return EIO;
}

int ServerQuestions::await(const Question& question, std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, limit, [&] { return question.answered; })) return ETIMEDOUT;
    return question.error;
}

void ServerQuestions::ask(const std::shared_ptr<Question>& question) {
    questions_.push_back(question);
    askNext();
}

void ServerQuestions::tryTo(const RemoteSetting& setting, unsigned wanted) {
    if (serial_ != nullptr) send(nullptr, setting, wanted);
}

int ServerQuestions::send(const std::shared_ptr<Question>& question, const RemoteSetting& setting, unsigned wanted) {
    Request& request = requests_.emplace_back(Request{this, question, setting});
    const int error = setting.set(serial_, wanted, onReply, &request);
    if (error != 0) requests_.pop_back();
    return errnoOfGensio(error);
}

void ServerQuestions::askNext() {
    while (!current_ && !questions_.empty()) {
        current_ = questions_.front();
        questions_.pop_front();
        const int error = serial_ != nullptr ? send(current_, current_->setting, current_->wanted) : EIO;
        if (error != 0) answer(error, 0);
    }
}

void ServerQuestions::onReply(sergensio*, int error, unsigned value, void* data) {
    auto* const request = static_cast<Request*>(data);
    ServerQuestions& owner = *request->owner;
    const auto held =
        std::find_if(owner.requests_.begin(), owner.requests_.end(), [&](const Request& r) { return &r == request; });
    const Request taken = std::move(*held);
    owner.requests_.erase(held);
    owner.replied(taken, errnoOfGensio(error), value);
    owner.askNext();
}

void ServerQuestions::replied(const Request& request, int error, unsigned value) {
    const unsigned sent = value + request.setting.base;  // as the server sent it
    const bool couldMean = sent >= request.setting.base && sent <= request.setting.last;
    if (current_ && request.question == current_) {
        answer(error != 0 || couldMean ? error : EPROTO, value);
    } else if (current_ && error == 0 && (request.question || !couldMean)) {
        answer(0, sent - current_->setting.base);
    }
}

void ServerQuestions::answer(int error, unsigned value) {
    finish(*current_, error, value);
    current_.reset();
}

void ServerQuestions::finish(Question& question, int error, unsigned value) {
    const std::lock_guard guard(mutex_);
    question.error = error;
    question.value = value;
    question.answered = true;
    changed_.notify_all();
}

void ServerQuestions::purged() {
    if (purges_.empty()) return;
    finish(*purges_.front());
    purges_.pop_front();
}

void ServerQuestions::refuseAll() {
    serial_ = nullptr;
    if (current_) answer(EIO, 0);
    for (const auto& purge : purges_) finish(*purge, EIO);
    purges_.clear();
    askNext();
}

}  // namespace mova
