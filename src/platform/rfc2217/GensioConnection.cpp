#include "platform/rfc2217/GensioConnection.h"

#include <gensio/gensio_unix.h>
#include <gensio/selector.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <csignal>
#include <cstring>
#include <system_error>
#include <thread>

#include "platform/rfc2217/HostName.h"

namespace mova {

namespace {

using std::chrono::seconds;

// A host that is switched off says nothing: in this time the system has tried three times (after 0, 1 and 3 seconds)
// and a server that does not know RFC 2217 has been waited for (4 seconds).
constexpr seconds kOpenLimit{10};
// The library waits 5 seconds for a reply; questions of other threads may be before this one.
constexpr seconds kReplyLimit{12};
// A server purges at once; the network is what takes time. Only one that does not say so is waited for in vain, once.
constexpr seconds kPurgeLimit{1};
// What is still to be sent when a port is closed, over a slow network.
constexpr seconds kCloseLimit{2};
// A network that has come apart tells nobody: with these a connection counts as lost 20 seconds later.
constexpr int kSilenceBeforeProbes = 10;  // seconds
constexpr int kPauseBetweenProbes = 5;    // seconds
constexpr int kProbes = 2;
constexpr unsigned kUnacknowledgedLimit = 20000;  // milliseconds

// The library's own way to open a socket, which this one uses.
int (*openSocket)(gensio_os_funcs*, const gensio_addr*, int, gensio_iod**) = nullptr;

int openWatchedSocket(gensio_os_funcs* system, const gensio_addr* address, int protocol, gensio_iod** iod) {
    const int error = openSocket(system, address, protocol, iod);
    if (error != 0) return error;
    const int socket = system->iod_get_fd(*iod);
    setsockopt(socket, IPPROTO_TCP, TCP_KEEPIDLE, &kSilenceBeforeProbes, sizeof kSilenceBeforeProbes);
    setsockopt(socket, IPPROTO_TCP, TCP_KEEPINTVL, &kPauseBetweenProbes, sizeof kPauseBetweenProbes);
    setsockopt(socket, IPPROTO_TCP, TCP_KEEPCNT, &kProbes, sizeof kProbes);
    setsockopt(socket, IPPROTO_TCP, TCP_USER_TIMEOUT, &kUnacknowledgedLimit, sizeof kUnacknowledgedLimit);
    return 0;
}

gensio_os_funcs* makeSystem(selector_s*& selector) {
    if (sel_alloc_selector_nothread(&selector) != 0) return nullptr;
    gensio_os_funcs* system = nullptr;
    const int noSignal = 0;
    if (gensio_unix_funcs_alloc(selector, noSignal, &system) == 0) return system;
    sel_free_selector(selector);
    return nullptr;
}

// What the library loads and registers the first time, it does here once, before threads of several ports do.
void prepareLibrary() {
    static std::once_flag once;
    std::call_once(once, [] {
        selector_s* selector = nullptr;
        gensio_os_funcs* const system = makeSystem(selector);  // both are kept: what is registered is made with them
        if (system == nullptr) return;
        openSocket = system->socket_open;
        gensio* io = nullptr;
        if (str_to_gensio("telnet(rfc2217),tcp,127.0.0.1,1", system, nullptr, nullptr, &io) == 0) gensio_free(io);
    });
}

gensio_time timeUntil(std::chrono::steady_clock::time_point deadline) {
    using namespace std::chrono;
    const auto left = std::max(deadline - steady_clock::now(), steady_clock::duration::zero());
    const auto whole = duration_cast<seconds>(left);
    gensio_time time{};
    time.secs = whole.count();
    time.nsecs = static_cast<int>(duration_cast<nanoseconds>(left - whole).count());
    return time;
}

}  // namespace

GensioConnection::~GensioConnection() = default;

// --- the caller's side

bool GensioConnection::startThread() {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);  // the program's signals are the program's threads'
    bool started = true;
    try {
        std::thread([self = shared_from_this()] { self->run(); }).detach();
    } catch (const std::system_error&) {
        started = false;
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return started;
}

int GensioConnection::open(const std::string& host, const std::string& port) {
    wake_.reset(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
    if (!wake_) return errno;
    host_ = host;
    target_ = "telnet(rfc2217),tcp(nodelay)," + host + "," + port;
    prepareLibrary();
    if (!startThread()) return EAGAIN;
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, kOpenLimit, [&] { return state_ != State::Opening; })) return ETIMEDOUT;
    return state_ == State::Open ? 0 : openError_ != 0 ? openError_ : ECONNRESET;
}

bool GensioConnection::post(std::function<void()> work) {
    const std::lock_guard guard(mutex_);
    if (state_ != State::Open || closing_) return false;
    posted_.push_back(std::move(work));
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(wake_.get(), &one, sizeof one);
    return true;
}

int GensioConnection::ask(const RemoteSetting& setting, unsigned wanted, unsigned& value) {
    const auto question = std::make_shared<Question>();
    question->setting = setting;
    question->wanted = wanted;
    if (!post([this, question] { questions_.ask(question); })) return EIO;
    const int error = questions_.await(*question, kReplyLimit);
    value = question->value;
    return error;
}

void GensioConnection::tryTo(const RemoteSetting& setting, unsigned wanted) {
    post([this, setting, wanted] { questions_.tryTo(setting, wanted); });
}

// A server says when it has purged, behind what it had sent before. One that says nothing is asked something, which it
// answers in its turn.
int GensioConnection::purge(unsigned queues) {
    const auto purge = std::make_shared<Question>();
    const bool posted = post([this, queues, purge] {
        if ((queues & SERGENSIO_FLUSH_XMIT_BUFFER) != 0) unsent_.clear();
        sergensio_flush(serial_, queues);
        questions_.expectPurged(purge);
    });
    if (!posted) return EIO;
    bool silent = false;
    {
        const std::lock_guard guard(mutex_);
        silent = purgesSilently_;
    }
    int error = silent ? ETIMEDOUT : questions_.await(*purge, kPurgeLimit);
    if (error == ETIMEDOUT) {
        {
            const std::lock_guard guard(mutex_);
            purgesSilently_ = true;
        }
        post([this, purge] { questions_.forgetPurge(purge); });
        unsigned ignored = 0;
        error = ask({sergensio_datasize}, 0, ignored);
    }
    return error != 0 ? error : settle();
}

// The library tells an answer before it tells the bytes that came in the same packet. They have been told when the
// thread has come back to its loop.
int GensioConnection::settle() {
    const auto turn = std::make_shared<Question>();
    return post([this, turn] { questions_.finish(*turn); }) ? questions_.await(*turn, kReplyLimit) : EIO;
}

int GensioConnection::tell(std::function<void(sergensio*)> send) {
    return post([this, send = std::move(send)] { send(serial_); }) ? 0 : EIO;
}

void GensioConnection::outputWaits() {
    post([this] { sendOutput(); });
}

void GensioConnection::beginClose() {
    const std::lock_guard guard(mutex_);
    closing_ = true;
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(wake_.get(), &one, sizeof one);
}

void GensioConnection::close() {
    beginClose();
    {
        // A thread that is still looking a host's name up is left to itself.
        std::unique_lock lock(mutex_);
        if (state_ != State::Opening) changed_.wait_for(lock, 2 * kCloseLimit, [&] { return state_ == State::Ended; });
    }
    const std::lock_guard guard(userMutex_);
    user_ = nullptr;
}

// --- the thread's side

template <class Call>
void GensioConnection::toUser(Call call) {
    const std::lock_guard guard(userMutex_);
    if (user_ != nullptr) call(*user_);
}

void GensioConnection::setState(State state, int error) {
    const std::lock_guard guard(mutex_);
    state_ = state;
    if (openError_ == 0) openError_ = error;
    changed_.notify_all();
}

void GensioConnection::run() {
    if (connect()) serve();
    shutDown();
    freeAll();
    setState(State::Ended, EIO);
}

bool GensioConnection::connect() {
    system_ = makeSystem(selector_);
    if (system_ == nullptr || system_->add_iod(system_, GENSIO_IOD_PIPE, wake_.get(), &wakeIod_) != 0) {
        setState(State::Ended, ENOMEM);
        return false;
    }
    system_->socket_open = openWatchedSocket;
    const auto awake = [](gensio_iod*, void* data) { static_cast<GensioConnection*>(data)->work(); };
    const auto cleared = [](gensio_iod*, void* data) { static_cast<GensioConnection*>(data)->wakeCleared_ = true; };
    if (system_->set_fd_handlers(wakeIod_, this, awake, nullptr, nullptr, cleared) != 0) {
        system_->release_iod(wakeIod_);
        wakeIod_ = nullptr;
        setState(State::Ended, ENOMEM);
        return false;
    }
    system_->set_read_handler(wakeIod_, true);
    int error = str_to_gensio(target_.c_str(), system_, onEvent, this, &io_);  // looks the host up
    if (error != 0) {
        ioClosed_ = true;
        error = whyNotFound(host_, errnoOfGensio(error));
    } else {
        const auto opened = [](gensio*, int failed, void* data) {
            auto* const self = static_cast<GensioConnection*>(data);
            self->ioClosed_ = failed != 0;
            self->setState(failed != 0 ? State::Ended : State::Open, errnoOfGensio(failed));
        };
        error = errnoOfGensio(gensio_open(io_, opened, this));
        ioClosed_ = error != 0;
    }
    if (error != 0) {
        setState(State::Ended, error);
        return false;
    }
    serial_ = gensio_to_sergensio(io_);
    questions_.begin(serial_);
    return true;
}

void GensioConnection::serve() {
    bool greeted = false;
    for (;;) {
        {
            const std::lock_guard guard(mutex_);
            if (closing_ || state_ == State::Ended) return;
            if (state_ == State::Open && !greeted) {
                greeted = true;
                gensio_set_read_callback_enable(io_, true);
            }
        }
        system_->service(system_, nullptr);
    }
}

// The result is false when the time is over.
bool GensioConnection::serveUntil(Clock::time_point deadline) {
    if (Clock::now() >= deadline) return false;
    gensio_time left = timeUntil(deadline);
    system_->service(system_, &left);
    return true;
}

void GensioConnection::shutDown() {
    const auto deadline = Clock::now() + kCloseLimit;
    const auto isOpen = [this] {
        const std::lock_guard guard(mutex_);
        return state_ == State::Open;
    };
    if (isOpen()) sendOutput();
    while (isOpen() && !unsent_.empty() && serveUntil(deadline)) {
    }
    questions_.refuseAll();
    if (io_ == nullptr || ioClosed_) return;
    const auto closed = [](gensio*, void* data) { static_cast<GensioConnection*>(data)->ioClosed_ = true; };
    if (gensio_close(io_, closed, this) != 0) return;
    while (!ioClosed_ && serveUntil(deadline)) {
    }
}

void GensioConnection::freeAll() {
    if (system_ == nullptr) return;
    if (io_ != nullptr) gensio_free(io_);
    io_ = nullptr;
    if (wakeIod_ != nullptr) {
        system_->clear_fd_handlers(wakeIod_);
        const auto deadline = Clock::now() + kCloseLimit;
        while (!wakeCleared_ && serveUntil(deadline)) {
        }
        system_->release_iod(wakeIod_);
    }
    gensio_os_funcs_free(system_);
    system_ = nullptr;
    sel_free_selector(selector_);  // the functions do not own it
}

void GensioConnection::work() {
    std::uint64_t count = 0;
    [[maybe_unused]] const auto got = ::read(wake_.get(), &count, sizeof count);
    std::vector<std::function<void()>> works;
    {
        const std::lock_guard guard(mutex_);
        works.swap(posted_);
    }
    for (const auto& work : works) work();
}

void GensioConnection::sendOutput() {
    for (;;) {
        if (unsent_.empty()) {
            char block[1024];
            std::size_t count = 0;
            toUser([&](RemoteLineUser& user) { count = user.takeOutput(block, sizeof block); });
            unsent_.assign(block, count);
        }
        if (unsent_.empty()) break;
        gensiods sent = 0;
        if (gensio_write(io_, &sent, unsent_.data(), unsent_.size(), nullptr) != 0) {
            lose();
            return;
        }
        unsent_.erase(0, sent);
        if (!unsent_.empty()) break;  // until it can be written again
    }
    gensio_set_write_callback_enable(io_, !unsent_.empty());
}

void GensioConnection::lose() {
    {
        const std::lock_guard guard(mutex_);
        if (state_ != State::Open) return;
        state_ = State::Lost;
        changed_.notify_all();
    }
    gensio_set_read_callback_enable(io_, false);
    gensio_set_write_callback_enable(io_, false);
    unsent_.clear();
    toUser([](RemoteLineUser& user) { user.lost(); });
    questions_.refuseAll();
}

// NOLINTNEXTLINE(readability-non-const-parameter): the library's shape
int GensioConnection::onEvent(gensio*, void* data, int event, int error, unsigned char* bytes, gensiods* count,
                              const char* const*) {
    return static_cast<GensioConnection*>(data)->handle(event, error, bytes, count != nullptr ? *count : 0);
}

int GensioConnection::handle(int event, int error, const unsigned char* bytes, gensiods count) {
    const auto state = [&] {
        unsigned value = 0;
        std::memcpy(&value, bytes, sizeof value);
        return value;
    };
    constexpr unsigned kModemLines =
        SERGENSIO_MODEMSTATE_CTS | SERGENSIO_MODEMSTATE_DSR | SERGENSIO_MODEMSTATE_RI | SERGENSIO_MODEMSTATE_CD;
    switch (event) {
        case GENSIO_EVENT_READ:
            if (error != 0) {
                lose();
            } else {
                toUser([&](RemoteLineUser& user) { user.received(reinterpret_cast<const char*>(bytes), count); });
            }
            return 0;
        case GENSIO_EVENT_WRITE_READY: sendOutput(); return 0;
        case GENSIO_EVENT_SER_MODEMSTATE:
            toUser([&](RemoteLineUser& user) { user.modemLines(state() & kModemLines); });
            return 0;
        case GENSIO_EVENT_SER_LINESTATE: toUser([&](RemoteLineUser& user) { user.lineErrors(state()); }); return 0;
        case GENSIO_EVENT_SER_FLUSH: questions_.purged(); return 0;
        default: return GE_NOTSUP;
    }
}

}  // namespace mova
