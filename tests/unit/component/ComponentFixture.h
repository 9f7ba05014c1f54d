// A command manager on the scripted platform: the port COM7 on USB, a viewer of the debug channel, a listener that
// keeps what it is told and can do things while it is told.
#pragma once
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "mova/CVeCmdManager.h"
#include "support/ScriptedPlatform.h"

namespace mova {

class Listener : public ConfirmationEvents {
public:
    struct Event {
        std::int32_t type;
        std::int32_t length;
        std::string text;
        std::uint32_t thread;
    };

    explicit Listener(Threading& threading) : threading_(threading) {}

    void OnCpGetMovaCnf(std::int32_t lType, std::int32_t lParam, const std::string& text) override {
        events.push_back({lType, lParam, text, threading_.currentThreadId()});
        if (onEvent) onEvent(text);
    }
    void readerStarted() override {
        started.push_back(threading_.currentThreadId());
        if (onStarted) onStarted();
    }
    void readerEnded() override {
        ended.push_back(threading_.currentThreadId());
        if (onEnded) onEnded();
    }
    void letCallsIn() override {
        if (onLetCallsIn) onLetCallsIn();
    }

    std::vector<std::string> texts() const {
        std::vector<std::string> all;
        for (const Event& event : events) all.push_back(event.text);
        return all;
    }

    std::vector<Event> events;
    std::vector<std::uint32_t> started;  // threads
    std::vector<std::uint32_t> ended;
    std::function<void(const std::string&)> onEvent;
    std::function<void()> onStarted;
    std::function<void()> onEnded;
    std::function<void()> onLetCallsIn;

private:
    Threading& threading_;
};

class ComponentTest : public ::testing::Test {
protected:
    ComponentTest() {
        platform.withDebugViewer();
        manager = std::make_unique<CVeCmdManager>(platform, listener);
        platform.datagrams().clear();
    }
    ~ComponentTest() override {
        comm.forgetConversation();
        manager.reset();
        platform.settle();
    }

    void open() {
        manager->put_CommPortId(7);
        EXPECT_EQ(manager->InitCmdManager(0), 0u);
        platform.datagrams().clear();
    }

    // What the debug channel got since it was last cleared, behind the prefix.
    std::vector<std::string> debugTexts(const std::string& prefix = "MovaCmdSvr:(COM7) ") const {
        std::vector<std::string> texts;
        for (const std::string& text : platform.datagrams().texts()) {
            EXPECT_EQ(text.substr(0, prefix.size()), prefix) << text;
            texts.push_back(text.substr(std::min(prefix.size(), text.size())));
        }
        return texts;
    }
    long count(const std::string& wanted) const {
        const auto texts = debugTexts();
        return std::count(texts.begin(), texts.end(), wanted);
    }
    unsigned readers() const { return platform.threading().alive(); }

    // A general confirmation with the payload 01 <number>; its data text is number(n).
    static std::string confirmation(unsigned n) { return printed("*MOVA=030001%02X%02X\r\n", n, n ^ 2); }
    static std::string number(unsigned n) { return printed("01%02X", n); }

    // Everything that waits in the queue for a caller.
    std::vector<std::string> fetchAll() {
        std::vector<std::string> all;
        for (;;) {
            const QueuedItem item = manager->FetchQueuedCnfTextItem();
            if (item.data.empty()) return all;
            all.push_back(item.data);
        }
    }
    // The numbers in records that were dropped with the queue, by their traces.
    std::vector<std::string> purged() const {
        std::vector<std::string> all;
        for (const std::string& text : debugTexts()) {
            if (text.starts_with("AT-Purge 01")) all.push_back(text.substr(9, 4));
        }
        return all;
    }

    mutable ScriptedPlatform platform;
    ScriptedPort& comm = platform.withPort(7, "USB Serial Port (COM7)");
    std::shared_ptr<Listener> listener = std::make_shared<Listener>(platform.threading());
    std::unique_ptr<CVeCmdManager> manager;
};

}  // namespace mova
