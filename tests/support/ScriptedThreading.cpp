#include "support/ScriptedThreading.h"

#include <algorithm>

namespace mova {

// --- event

ScriptedEvent::ScriptedEvent(ScriptedCore& core, unsigned number, bool refused)
    : core_(core), signal_(core.scheduler, "event " + std::to_string(number)), refused_(refused) {}

void ScriptedEvent::set() {
    core_.scheduler.countCall(true);
    if (!refused_) signal_.set();
}

void ScriptedEvent::reset() {
    core_.scheduler.countCall(true);
    signal_.reset();
}

WaitResult ScriptedEvent::wait(std::uint32_t milliseconds) {
    const auto failure = core_.enter(Op::EventWait, signal_.what());
    if (failure || refused_) return WaitResult::Failed;
    return core_.scheduler.wait(&signal_, nullptr, milliseconds) == WaitOutcome::First ? WaitResult::Signalled
                                                                                       : WaitResult::TimedOut;
}

// --- lock

VirtualLock::~VirtualLock() {
    if (!queue_.empty()) core_.complain(name_ + " destroyed while a thread waits for it");
}

void VirtualLock::lock() {
    core_.scheduler.countCall(true);
    VirtualThread& self = core_.scheduler.current();
    if (!owner_ || owner_ == &self) {
        owner_ = &self;
        ++depth_;
        return;
    }
    Signal turn(core_.scheduler, name_ + " held by thread " + std::to_string(owner_->id));
    queue_.push_back({&self, &turn});
    core_.scheduler.wait(&turn, nullptr, VirtualScheduler::kNoLimit);
}

void VirtualLock::unlock() {
    core_.scheduler.countCall(true);
    if (owner_ != &core_.scheduler.current()) {
        core_.complain(name_ + " released by a thread that does not hold it");
        return;
    }
    if (--depth_ == 0) handOn();
}

void VirtualLock::takenBy(VirtualThread& thread) {
    if (owner_) core_.complain(name_ + " is not free");
    owner_ = &thread;
    depth_ = 1;
}

void VirtualLock::ownerEnded(VirtualThread& thread) {
    std::erase_if(queue_, [&](const Waiter& waiter) { return waiter.thread == &thread; });
    if (owner_ == &thread) handOn();
}

void VirtualLock::handOn() {
    owner_ = nullptr;
    depth_ = 0;
    if (queue_.empty()) return;
    const Waiter waiter = queue_.front();
    queue_.pop_front();
    owner_ = waiter.thread;
    depth_ = 1;
    for (const Waiter& other : queue_) other.turn->rename(name_ + " held by thread " + std::to_string(owner_->id));
    waiter.turn->set();
}

// --- mutexes and threads

class ScriptedMutex : public RecursiveMutex {
public:
    ScriptedMutex(ScriptedCore& core, ScriptedThreading& home, unsigned number)
        : core_(core), home_(home), lock_(core, "mutex " + std::to_string(number)) {
        home_.unnamed_.push_back(&lock_);
    }
    ~ScriptedMutex() override {
        if (lock_.owner()) core_.complain("a mutex is destroyed while held");
        std::erase(home_.unnamed_, &lock_);
    }
    void lock() override { lock_.lock(); }
    void unlock() override { lock_.unlock(); }

private:
    ScriptedCore& core_;
    ScriptedThreading& home_;
    VirtualLock lock_;
};

namespace {

class ScriptedNamedMutex : public NamedMutex {
public:
    ScriptedNamedMutex(ScriptedCore& core, VirtualLock& lock, std::string name)
        : core_(core), lock_(lock), name_(std::move(name)) {}

    bool acquire() override {
        if (core_.enter(Op::AcquireNamedMutex, name_)) return false;
        lock_.lock();
        return true;
    }
    void release() override { lock_.unlock(); }

private:
    ScriptedCore& core_;
    VirtualLock& lock_;  // the system's; it outlives this
    std::string name_;
};

}  // namespace

class ScriptedThread : public Thread {
public:
    ScriptedThread(ScriptedCore& core, ScriptedThreading& home, std::shared_ptr<VirtualThread> thread)
        : core_(core), home_(home), thread_(std::move(thread)) {}

    std::uint32_t id() const override { return thread_->id; }

    void setLowestPriority() override { thread_->lowestPriority = true; }

    bool join(std::uint32_t milliseconds) override {
        const auto failure = core_.enter(Op::Join);
        core_.note(Op::Join, {}, core_.call("join thread %u", thread_->id), ScriptedCore::outcomeOf(failure));
        if (failure) {
            if (milliseconds != kInfinite) core_.scheduler.wait(nullptr, nullptr, milliseconds);
            return false;
        }
        return core_.scheduler.wait(thread_->ended.get(), nullptr, milliseconds) == WaitOutcome::First;
    }

    void terminate() override {
        core_.enter(Op::Terminate);
        core_.note(Op::Terminate, {}, core_.call("terminate thread %u", thread_->id));
        if (thread_->isAlive()) ++home_.terminated_;
        core_.scheduler.terminate(*thread_);
    }

private:
    ScriptedCore& core_;
    ScriptedThreading& home_;
    std::shared_ptr<VirtualThread> thread_;
};

ScriptedThreading::ScriptedThreading(ScriptedCore& core) : core_(core) {
    core_.scheduler.setOnEnd([this](VirtualThread& thread) {
        for (VirtualLock* lock : std::vector(unnamed_)) lock->ownerEnded(thread);
        for (auto& [name, lock] : named_) lock->ownerEnded(thread);
    });
}

ScriptedThreading::~ScriptedThreading() { core_.scheduler.setOnEnd(nullptr); }

std::unique_ptr<Event> ScriptedThreading::makeEvent() {
    const bool refused = core_.enter(Op::MakeEvent).has_value();
    return std::make_unique<ScriptedEvent>(core_, ++events_, refused);
}

std::unique_ptr<RecursiveMutex> ScriptedThreading::makeRecursiveMutex() {
    core_.enter(Op::MakeRecursiveMutex);
    return std::make_unique<ScriptedMutex>(core_, *this, ++mutexes_);
}

std::unique_ptr<NamedMutex> ScriptedThreading::makeNamedMutex(const std::string& name) {
    core_.enter(Op::MakeNamedMutex, name);
    return std::make_unique<ScriptedNamedMutex>(core_, named(name), name);
}

std::unique_ptr<Thread> ScriptedThreading::start(std::function<void()> run) {
    const auto failure = core_.enter(Op::StartThread);
    core_.note(Op::StartThread, {}, "startThread", ScriptedCore::outcomeOf(failure));
    if (failure) return nullptr;
    ++started_;
    return std::make_unique<ScriptedThread>(core_, *this, core_.scheduler.start(std::move(run)));
}

std::uint32_t ScriptedThreading::currentThreadId() { return core_.scheduler.current().id; }

VirtualLock& ScriptedThreading::named(const std::string& name) {
    auto& lock = named_[name];
    if (!lock) lock = std::make_unique<VirtualLock>(core_, "the mutex \"" + name + "\"");
    return *lock;
}

void ScriptedThreading::takeElsewhere(const std::string& name) { named(name).takenBy(elsewhere_); }

void ScriptedThreading::releaseElsewhere(const std::string& name) { named(name).ownerEnded(elsewhere_); }

bool ScriptedThreading::isHeld(const std::string& name) const {
    const auto found = named_.find(name);
    return found != named_.end() && found->second->owner() != nullptr;
}

unsigned ScriptedThreading::alive() const {
    unsigned count = 0;
    for (const auto& thread : core_.scheduler.threads()) count += thread->isAlive() ? 1U : 0U;
    return count - 1;
}

unsigned ScriptedThreading::loweredPriorities() const {
    unsigned count = 0;
    for (const auto& thread : core_.scheduler.threads()) count += thread->isAlive() && thread->lowestPriority ? 1U : 0U;
    return count;
}

}  // namespace mova
