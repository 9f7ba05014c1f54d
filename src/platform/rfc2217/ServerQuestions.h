// ServerQuestions are what a server of RFC 2217 is asked to set and has not answered yet. One question is asked at a
// time; beside it there may be tries, whose answer nobody waits for and which some servers leave without one.
//
// The library gives a reply to the first request that is open and has the same command or no room for the reply's value,
// so that an unanswered try would take the answer to the question. That is put right here: what a request cannot mean
// is the answer to the question that is asked.
#pragma once
#include <gensio/sergensio.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <list>
#include <memory>
#include <mutex>

namespace mova {

// A setting of the port. The values of several stand in one command, this one's from `base` to `last`; the library takes
// and gives them less the base.
struct RemoteSetting {
    int (*set)(sergensio*, unsigned, sergensio_done, void*);
    unsigned base = 0;
    unsigned last = 0x7FFFFFFF;
};

struct Question {
    RemoteSetting setting{};
    unsigned wanted = 0;  // 0 only asks
    unsigned value = 0;
    int error = 0;
    bool answered = false;
};

class ServerQuestions {
public:
    // Any thread may wait for an answer. ETIMEDOUT: there was none in this time.
    int await(const Question& question, std::chrono::milliseconds limit);

    // These are for the thread that serves the connection.
    void begin(sergensio* serial) { serial_ = serial; }
    void ask(const std::shared_ptr<Question>& question);
    void tryTo(const RemoteSetting& setting, unsigned wanted);
    void expectPurged(const std::shared_ptr<Question>& purge) { purges_.push_back(purge); }
    void forgetPurge(const std::shared_ptr<Question>& purge) { std::erase(purges_, purge); }
    void purged();
    void finish(Question& question, int error = 0, unsigned value = 0);
    void refuseAll();  // from now on: EIO

private:
    // A request that the library holds; its address is what the library gives back.
    struct Request {
        ServerQuestions* owner;
        std::shared_ptr<Question> question;  // null of a try
        RemoteSetting setting;
    };

    int send(const std::shared_ptr<Question>& question, const RemoteSetting& setting, unsigned wanted);
    void askNext();
    void replied(const Request& request, int error, unsigned value);
    void answer(int error, unsigned value);
    static void onReply(sergensio* serial, int error, unsigned value, void* data);

    std::mutex mutex_;  // guards what questions have come to
    std::condition_variable changed_;

    sergensio* serial_ = nullptr;  // null: everything is refused
    std::deque<std::shared_ptr<Question>> questions_;
    std::shared_ptr<Question> current_;
    std::deque<std::shared_ptr<Question>> purges_;
    std::list<Request> requests_;
};

int errnoOfGensio(int error);

}  // namespace mova
