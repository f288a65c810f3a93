#ifndef TKGEN_TESTS_CONSOLESTORY_H
#define TKGEN_TESTS_CONSOLESTORY_H

#include "support/story.h"

#include <algorithm>
#include <map>
#include <memory>
#include <thread>

/// Stories that are told of each console's engine. A `Console` has Control and Listener; STATE, by
/// which it connects, and two more parameters; SILENT, a command that nothing answers, and whether
/// it can be waited for; GET and SET a parameter; frames that set and tell a digit; and what
/// differs in what is told.
template <class Console>
class ConsoleStory : public Story<Driven<typename Console::Control>, typename Console::Listener> {
  protected:
    static constexpr int STATE = Console::STATE, FIRST = Console::FIRST, SECOND = Console::SECOND;

    static std::string asks(int key) { return Console::sets(key, '?' - '0'); }
    int value(int key) { return (this->engine.*Console::GET)(key); }

    int connectBy(int state) { return (this->engine.*Console::SET)(STATE, state); }

    /// What went out without the bytes that only acknowledge.
    Frames sent(int cycles = 1) {
        this->engine.cycle(cycles);
        Frames frames = this->link.written();
        frames.erase(std::remove(frames.begin(), frames.end(), "\x06"), frames.end());
        return frames;
    }

    /// Tells what it is set, and 1 to a question.
    static std::string answer(const std::string &written) {
        for (const int key : {STATE, FIRST, SECOND}) {
            for (int digit = 0; digit < 10; ++digit) {
                if (written == Console::sets(key, digit)) {
                    return Console::tells(key, digit);
                }
            }
            if (written == asks(key)) {
                return Console::tells(key, 1);
            }
        }
        return "";
    }
};

TYPED_TEST_SUITE_P(ConsoleStory);

TYPED_TEST_P(ConsoleStory, AQueryIsAnsweredAndToldOnce) {
    this->engine.changeCommDevice(nullptr);
    this->send(this->FIRST, 5);
    this->engine.cycle();
    this->engine.changeCommDevice(&this->link);
    this->send(this->FIRST, Tk::REQUEST_QUERY);
    this->send(this->SECOND, 2);
    EXPECT_EQ(this->sent(3), Frames{this->asks(this->FIRST)}) << "no link empties the queue";
    this->receive(TypeParam::tells(this->FIRST, 1));
    EXPECT_EQ(this->told(), Told{TypeParam::FIRST_CHANGED});
    EXPECT_EQ(this->sent(3), Frames{TypeParam::sets(this->SECOND, 2)});
    this->receive(TypeParam::tells(this->FIRST, 1));
    this->engine.enableDispatcher(false);
    this->receive(TypeParam::tells(this->FIRST, 3));
    EXPECT_EQ(this->told(), Told{}) << "nothing new, and nothing to be told";
    EXPECT_EQ(this->value(this->FIRST), 3);
}

TYPED_TEST_P(ConsoleStory, ALostLinkIsForgottenAndWithoutPollingNotSearched) {
    this->receive(TypeParam::tells(this->STATE, 1) + TypeParam::tells(this->SECOND, 2));
    EXPECT_EQ(this->told().back(), "CommsReEstablished");
    this->send(this->FIRST, 5);
    this->send(this->SECOND, 5);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(this->sent(3), Frames{TypeParam::sets(this->FIRST, 5)});
        this->clock.advance(749);
        EXPECT_EQ(this->sent(3), Frames{});
        EXPECT_TRUE(this->told().empty() && this->engine.connected());
        this->clock.advance(1);
        this->engine.cycle();
    }
    EXPECT_EQ(this->told(), Told{"lostComms"});
    EXPECT_FALSE(this->engine.connected());
    EXPECT_EQ(this->value(this->STATE), -999);
    EXPECT_EQ(this->value(this->SECOND), TypeParam::FORGETS_ALL ? -999 : 2);
    EXPECT_EQ(this->sent(3), Frames{}) << "the queue is gone, and nothing probes";
    this->receive(TypeParam::tells(this->FIRST, 7));
    EXPECT_EQ(this->value(this->FIRST), 7) << "the next frame counts";
    EXPECT_EQ(this->connectBy(1), 1);
    EXPECT_EQ(this->sent(), Frames{});
    EXPECT_EQ(this->told(), (Told{TypeParam::FIRST_CHANGED, "CommsReEstablished"}));
}

TYPED_TEST_P(ConsoleStory, WithPollingALostLinkIsProbedAndComesBack) {
    this->send(this->FIRST, 5);
    EXPECT_EQ(this->sent().size(), 1u); // before the first tick of polling
    this->engine.enableRefresh(true, false);
    for (int round = 0; round < 2; ++round) {
        this->timeOut();
        this->timeOut();
        this->link.written();
        this->timeOut();
        EXPECT_EQ(this->told(), Told{"lostComms"});
        EXPECT_EQ(this->sent(), Frames{this->asks(this->STATE)}) << "the probe";
    }
    this->send(this->SECOND, 5);
    this->receive(TypeParam::tells(this->STATE, 1));
    EXPECT_EQ(this->link.written(), Frames{}) << "not acknowledged";
    EXPECT_EQ(this->value(this->STATE), -999) << "nor taken";
    EXPECT_EQ(this->engine.queued(), 0u) << "and what waited is gone";
    this->answers = this->answer;
    for (int i = 0; i < 4; ++i) {
        this->clock.advance(500);
        this->engine.cycle(3);
    }
    const Told events = this->told();
    EXPECT_EQ(std::count(events.begin(), events.end(), "CommsReEstablished"), 1);
    EXPECT_EQ(std::count(events.begin(), events.end(), "lostComms"), 0);
}

TYPED_TEST_P(ConsoleStory, DroppingTheConnection) {
    this->receive(TypeParam::tells(this->STATE, 1));
    this->send(this->FIRST, 5);
    const std::string reply = TypeParam::tells(this->FIRST, 5);
    this->receive(reply.substr(0, reply.size() - 1));
    this->told();
    this->engine.enableRefresh(false, false);
    EXPECT_TRUE(this->engine.connected());
    this->engine.enableRefresh(false, true);
    EXPECT_EQ(this->told(), Told{"lostComms"}) << "at once";
    this->send(this->SECOND, 6);
    this->receive(TypeParam::tells(this->SECOND, 6));
    EXPECT_EQ(this->value(this->FIRST), -999) << "the half frame is gone";
    this->receive(reply);
    EXPECT_EQ(this->sent().back(), TypeParam::sets(this->SECOND, 6)) << "the queue isn't";
    EXPECT_FALSE(this->engine.connected() || this->engine.refreshEnabled());
}

TYPED_TEST_P(ConsoleStory, PollingWaitsForWhatItHasAsked) {
    for (int i = 0; i < 5; ++i) {
        this->send(this->FIRST, i);
    }
    this->engine.enableRefresh(true, false);
    for (int i = 0; i < 4; ++i) {
        this->clock.advance(500);
        this->receive(TypeParam::tells(this->FIRST, i));
    }
    EXPECT_EQ(this->engine.queued(), 2u) << "one of each";
    EXPECT_EQ((this->engine.*TypeParam::SET)(1, 1), 0) << "there is no such key";
}

TYPED_TEST_P(ConsoleStory, WaitsEndAtTheirLimit) {
    for (const unsigned long limit : {3000, 2000}) {
        std::atomic<bool> ended{false};
        std::thread waiting([&] {
            EXPECT_FALSE(this->engine.transmitMsg(this->FIRST, 5, true));
            ended = true;
        });
        unsigned long passed = 0;
        EXPECT_TRUE(eventually([&] {
            this->clock.advance(10);
            passed += 10;
            return ended.load();
        }));
        waiting.join();
        EXPECT_GE(passed, limit);
        this->engine.changeCommDevice(nullptr);
    }
    EXPECT_FALSE(this->engine.transmitMsg(1, 0, true)) << "no command, no wait";
}

TYPED_TEST_P(ConsoleStory, WhatIsLeftOfAnOverlongFrameIsNone) {
    // As many bytes as are kept, and the first and the last ones look like a whole frame.
    const std::string frame = TypeParam::tells(this->FIRST, 5);
    this->link.arrive(frame.substr(0, 1) + std::string(65538, 'x') + frame.substr(1));
    this->engine.cycle(3);
    EXPECT_EQ(this->value(this->FIRST), -999);
    EXPECT_EQ(this->link.written(), Frames{});
    this->receive(frame);
    EXPECT_EQ(this->value(this->FIRST), 5);
}

/// Frames of several threads, and of callbacks, which also wait in vain: whole, and in order.
TYPED_TEST_P(ConsoleStory, ThreadsAndCallbacksThatTransmit) {
    constexpr int FRAMES = 2000;
    typename TypeParam::Control worker(&this->link);
    std::atomic<int> events{0};
    std::atomic<int> waited{0};
    std::atomic<int> through{0};
    this->answers = this->answer;
    this->onEvent = [&](const std::string &event) {
        if (event != "CommsReEstablished") {
            ++events;
            waited += worker.transmitMsg(TypeParam::SILENT, 1, true) ? 1 : 0;
        }
    };
    worker.setSleepTime(0);
    worker.startControl();
    const int keys[] = {this->STATE, this->FIRST, this->SECOND};
    std::vector<std::thread> senders;
    for (const int key : keys) {
        senders.emplace_back([&worker, &through, key] {
            for (int i = 0; i < FRAMES; ++i) {
                EXPECT_TRUE(worker.transmitMsg(key, i % 10, i % 500 == 499));
            }
            ++through;
        });
    }
    EXPECT_TRUE(eventually([&] {
        this->clock.advance(1); // so that a wait has its limit
        return through == 3;
    }));
    for (std::thread &sender : senders) {
        sender.join();
    }
    std::map<int, int> count; // of the frames of each key that follow each other
    const std::string silent = TypeParam::sets(TypeParam::SILENT, 1);
    EXPECT_TRUE(eventually([&] {
        for (const std::string &frame : this->link.written()) {
            for (const int key : keys) {
                count[key] += frame == TypeParam::sets(key, count[key] % 10) ? 1 : 0;
            }
            count[TypeParam::SILENT] += frame == silent ? 1 : 0;
        }
        const auto all = [&](int key) { return count[key] == FRAMES; };
        return std::all_of(std::begin(keys), std::end(keys), all) && events == 3 * FRAMES &&
               count[TypeParam::SILENT] == events;
    })) << count[keys[0]]
        << ' ' << count[keys[1]] << ' ' << count[keys[2]] << ' ' << events;
    EXPECT_EQ(waited, TypeParam::SILENT_WAITS ? 0 : events.load()) << "nobody could answer";
}

TYPED_TEST_P(ConsoleStory, IsDestroyedInTheMiddle) {
    Gate gate;
    std::atomic<bool> left{false};
    this->onEvent = [&](const std::string &) {
        gate.pass();
        left = true;
    };
    auto worker = std::make_unique<typename TypeParam::Control>(&this->link);
    worker->startControl();
    worker->enableRefresh(true, false);
    this->link.arrive(TypeParam::tells(this->FIRST, 5));
    EXPECT_TRUE(eventually([&] { return gate.inside(); }));
    worker->transmitMsg(this->SECOND, 5, false);
    gate.open();
    worker.reset();
    EXPECT_TRUE(left) << "it waits for its callback's end";
    this->link.arrive(TypeParam::tells(this->FIRST, 6));
    EXPECT_FALSE(this->link.drained()) << "and nobody reads any more";
}

REGISTER_TYPED_TEST_SUITE_P(ConsoleStory, AQueryIsAnsweredAndToldOnce,
                            ALostLinkIsForgottenAndWithoutPollingNotSearched,
                            WithPollingALostLinkIsProbedAndComesBack, DroppingTheConnection,
                            PollingWaitsForWhatItHasAsked, WaitsEndAtTheirLimit,
                            WhatIsLeftOfAnOverlongFrameIsNone, ThreadsAndCallbacksThatTransmit,
                            IsDestroyedInTheMiddle);

#endif
