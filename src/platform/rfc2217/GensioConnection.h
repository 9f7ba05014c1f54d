// A GensioConnection is one connection to a server of RFC 2217, and the thread that serves it. The library is used from
// that thread alone, with a selector of its own: it then needs no signal to wake its threads, and a host name that takes
// long to be looked up keeps no other port waiting. Whoever asks something of the server posts it to the thread and waits.
#pragma once
#include <gensio/gensio.h>
#include <gensio/sergensio.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/posix/FileDescriptor.h"
#include "platform/posix/RemoteLine.h"
#include "platform/rfc2217/ServerQuestions.h"

struct selector_s;  // the library's

namespace mova {

// The owner keeps it by a shared pointer, and so does the thread, which may be left to itself.
class GensioConnection : public std::enable_shared_from_this<GensioConnection> {
public:
    explicit GensioConnection(RemoteLineUser& user) : user_(&user) {}
    ~GensioConnection();

    // These are the caller's, and give errno.
    int open(const std::string& host, const std::string& port);
    int ask(const RemoteSetting& setting, unsigned wanted, unsigned& value);
    void tryTo(const RemoteSetting& setting, unsigned wanted);
    int tell(std::function<void(sergensio*)> send);  // what has no reply
    void outputWaits();
    int purge(unsigned queues);
    void beginClose();
    void close();  // and waits, within kCloseLimit

private:
    using Clock = std::chrono::steady_clock;
    enum class State { Opening, Open, Lost, Ended };

    int settle();
    bool post(std::function<void()> work);
    bool startThread();

    // The thread's own.
    void run();
    bool connect();
    void serve();
    void shutDown();
    void freeAll();
    bool serveUntil(Clock::time_point deadline);
    void work();
    void sendOutput();
    void setState(State state, int error = 0);
    void lose();
    template <class Call>
    void toUser(Call call);

    int handle(int event, int error, const unsigned char* bytes, gensiods count);
    static int onEvent(gensio* io, void* data, int event, int error, unsigned char* bytes, gensiods* count,
                       const char* const* auxiliary);

    std::mutex mutex_;  // guards what follows
    std::condition_variable changed_;
    State state_ = State::Opening;
    int openError_ = 0;
    bool closing_ = false;
    bool purgesSilently_ = false;
    std::vector<std::function<void()>> posted_;
    FileDescriptor wake_;

    ServerQuestions questions_;

    std::mutex userMutex_;  // held while the user is called
    RemoteLineUser* user_;  // null from the end of close()

    // The thread's own.
    std::string host_;
    std::string target_;
    selector_s* selector_ = nullptr;
    gensio_os_funcs* system_ = nullptr;
    gensio_iod* wakeIod_ = nullptr;
    gensio* io_ = nullptr;
    sergensio* serial_ = nullptr;
    bool wakeCleared_ = false;
    bool ioClosed_ = false;
    std::string unsent_;
};

}  // namespace mova
