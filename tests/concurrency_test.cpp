#include "support/clock.h"
#include "support/dispatcher.h"
#include "support/engine.h"
#include "support/link.h"
#include "support/pty.h"
#include "tkdispatchmanager.h"
#include "tkplatform.h"
#include "tkserial.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <stdexcept>

namespace {

using Frames = std::vector<std::string>;

/// An engine at work over a link in memory whose far end answers everything.
struct Running {
    explicit Running(MemoryLink::Answers answers = echo) : link(std::move(answers)), engine(&link) {
        engine.startControl();
    }
    MemoryLink link;
    TkGeneratorControl engine;
};

TEST(Waiting, AnAnswerEndsTheWait) {
    Running running;
    EXPECT_TRUE(running.engine.transmitMsg(Tk::KV, Tk::REQUEST_QUERY, true));
    EXPECT_EQ(running.engine.getGenParam(Tk::KV), 70);
    EXPECT_TRUE(running.engine.transmitMsg(Tk::KV, 75, true));
    EXPECT_EQ(running.engine.getGenParam(Tk::KV), 75);
    EXPECT_TRUE(running.engine.transmitMsg(Tk::ER, 12, true))
        << "an error's entry is known for a moment";
}

TEST(Waiting, EndsAtItsLimitWithTheFrameQueued) {
    SettableClock clock;
    MemoryLink link;
    DrivenGenerator engine(&link);
    const auto waitedFor = [&] {
        std::atomic<bool> ended{false};
        std::thread waiting([&] {
            EXPECT_FALSE(engine.transmitMsg(Tk::KV, 70, true));
            ended = true;
        });
        unsigned long passed = 0;
        EXPECT_TRUE(eventually([&] {
            clock.advance(10);
            passed += 10;
            return ended.load();
        }));
        waiting.join();
        return passed;
    };
    EXPECT_GE(waitedFor(), 3000u);
    engine.cycle();
    EXPECT_EQ(link.written(), Frames{frame("KV070")}) << "the frame stays queued";
    engine.changeCommDevice(nullptr);
    EXPECT_GE(waitedFor(), 2000u);
    EXPECT_EQ(engine.getGenParam(Tk::KV), -999);
}

TEST(Waiting, ManyThreadsSendEveryFrameWholeOnceAndInOrder) {
    constexpr int THREADS = 4;
    constexpr int FRAMES = 300;
    const Tk::TextCommands mine[THREADS] = {Tk::MA, Tk::MS, Tk::MX, Tk::AI};
    const char *const names[THREADS] = {"MA", "MS", "MX", "AI"};
    Running running;
    running.engine.setSleepTime(0);
    std::vector<std::thread> senders;
    for (int i = 0; i < THREADS; ++i) {
        senders.emplace_back([&, i] {
            for (int value = 0; value < FRAMES; ++value) {
                EXPECT_TRUE(running.engine.transmitMsg(mine[i], value, value % 50 == 49));
            }
        });
    }
    for (std::thread &sender : senders) {
        sender.join();
    }
    Frames written;
    EXPECT_TRUE(eventually([&] {
        const Frames more = running.link.written();
        written.insert(written.end(), more.begin(), more.end());
        return written.size() >= static_cast<std::size_t>(THREADS * FRAMES);
    }));
    std::map<std::string, int> next;
    for (const std::string &one : written) {
        const std::string name = one.substr(0, 2);
        const std::size_t digits = name == "AI" ? 4 : 5;
        EXPECT_EQ(one, frame(name + std::to_string(1000000 + next[name]++).substr(7 - digits)));
    }
    for (const char *name : names) {
        EXPECT_EQ(next[name], FRAMES);
    }
}

TEST(Callbacks, MayCallBackIntoTheEngine) {
    std::atomic<int> waited{-1};
    std::atomic<int> seen{0};
    TkGeneratorControl *engine = nullptr;
    Recorder other;
    Recorder recorder([&](const std::string &event) {
        if (event != "radiographic_Kv_Changed") {
            return;
        }
        seen = engine->getGenParam(Tk::KV);
        waited = engine->transmitMsg(Tk::MA, 100, true) ? 1 : 0;
        engine->enableRefresh(true, false);
        Tk::addDispatcher(&other);
        Tk::removeDispatcher(&other);
        throw std::runtime_error("an application's own");
    });
    const SettableClock clock; // stands still: a wait for its limit would never end
    Running running;
    engine = &running.engine;
    const Registered registered(recorder);
    EXPECT_TRUE(running.engine.transmitMsg(Tk::KV, 70, true));
    EXPECT_TRUE(eventually([&] { return running.engine.getGenParam(Tk::MA) == 100; }));
    EXPECT_EQ(seen, 70);
    EXPECT_EQ(waited, 0) << "the worker can't bring the answer while it waits for it";
}

TEST(Callbacks, HoldUpNobodyWhoReadsOrTransmits) {
    Gate gate;
    Recorder recorder([&](const std::string &) { gate.pass(); });
    const Registered registered(recorder);
    Running running;
    running.engine.bufferRawComms(true);
    running.link.arrive(frame("ER012"));
    ASSERT_TRUE(eventually([&] { return gate.inside(); }));
    EXPECT_TRUE(running.engine.transmitMsg(Tk::MA, 100, false));
    EXPECT_EQ(running.engine.getGenParam(Tk::MA), -999);
    EXPECT_TRUE(running.engine.setGenParam(Tk::MA, 5));
    EXPECT_EQ(running.engine.getError(true), 12);
    char buffer[10];
    EXPECT_EQ(running.engine.readRawComms(buffer, 9, 0), 7);
    running.engine.setSleepTime(2);
    gate.open();
}

TEST(Callbacks, StoppingTheWorkerThatWaitsForThisCallbacksTurn) {
    Running running;
    Recorder recorder([&](const std::string &event) {
        if (event == "lostComms") {
            running.link.arrive(frame("KV070"));
            EXPECT_TRUE(eventually([&] { return running.link.drained(); }));
            EXPECT_EQ(running.engine.stopControl(), 1);
        }
    });
    const Registered registered(recorder);
    running.engine.enableRefresh(false, true); // the application's thread has the engine's turn
    EXPECT_FALSE(running.engine.isThreadActive());
}

TEST(Callbacks, TwoEnginesThatTransmitOnEachOtherAndDropEachOther) {
    Running first;
    Running second;
    std::atomic<int> lost{0};
    Recorder recorder([&](const std::string &event) {
        lost += event == "lostComms" ? 1 : 0;
        if (event != "radiographic_Kv_Changed") {
            return;
        }
        for (Running *each : {&first, &second}) {
            each->engine.transmitMsg(Tk::MS, 10, false);
            each->engine.enableRefresh(false, true);
        }
    });
    const Registered registered(recorder);
    for (int value = 1; value < 100; ++value) {
        first.link.arrive(frame("KV" + std::to_string(1000 + value).substr(1)));
        second.link.arrive(frame("KV" + std::to_string(1000 + value).substr(1)));
        first.engine.enableRefresh(false, true);
    }
    EXPECT_TRUE(eventually([&] { return first.link.drained() && second.link.drained(); }));
    EXPECT_EQ(first.engine.stopControl() + second.engine.stopControl(), 2);
    EXPECT_GT(lost, 100);
}

TEST(Callbacks, DroppingAgainOnHearingOfTheLoss) {
    TkGeneratorControl *engine = nullptr;
    Recorder recorder([&](const std::string &) { engine->enableRefresh(false, true); });
    const Registered registered(recorder);
    Running running;
    engine = &running.engine;
    running.engine.enableRefresh(false, true);
    EXPECT_EQ(recorder.events(), Frames{"lostComms"});
    running.link.arrive(frame("KV070"));
    EXPECT_TRUE(eventually([&] { return running.link.drained(); }));
    running.engine.stopControl();
    EXPECT_EQ(recorder.events(), (Frames{"radiographic_Kv_Changed", "lostComms"}));
}

struct Producer : Tk {
    static void startTransfer() { m_DispatchManager.dispatchMsg(4, 0, nullptr); }
};

TEST(Callbacks, ALossAskedForWhileAnotherCallbackRunsFollowsIt) {
    Running running;
    Gate gate;
    Recorder slow([&](const std::string &event) {
        if (event != "lostComms") {
            gate.pass();
        }
    });
    TransferRecorder dropping([&](const std::string &) { // at once, though the turn is taken
        running.engine.enableRefresh(false, true);
    });
    const Registered first(slow);
    const Registered second(dropping);
    running.link.arrive(frame("KV070"));
    EXPECT_TRUE(eventually([&] { return gate.inside(); }));
    Producer::startTransfer();
    EXPECT_EQ(running.engine.getGenParam(Tk::KV), 70);
    gate.open();
    EXPECT_TRUE(eventually([&] { return running.engine.getGenParam(Tk::KV) == -999; }));
    running.engine.stopControl();
    EXPECT_EQ(slow.events(), (Frames{"radiographic_Kv_Changed", "lostComms"}));
}

/// A thread of the application's that does nothing but drop an engine's connection.
class Dropper : public TkThread {
  public:
    Dropper(TkGeneratorControl &engine, std::atomic<bool> &asked)
        : m_Engine(engine), m_Asked(asked) {}
    ~Dropper() override { endThread(); }

  protected:
    void threadCycle() override {
        m_Asked = true;
        m_Engine.enableRefresh(false, true);
    }

  private:
    TkGeneratorControl &m_Engine;
    std::atomic<bool> &m_Asked;
};

TEST(Callbacks, StoppingAndDestroyingAThreadThatWaitsForThisCallbacksTurn) {
    Running running;
    std::atomic<bool> asked{false};
    auto dropper = std::make_unique<Dropper>(running.engine, asked);
    std::atomic<bool> destroyed{false};
    Recorder recorder([&](const std::string &event) {
        if (event == "radiographic_Kv_Changed") {
            dropper->startControl();
            EXPECT_TRUE(eventually([&] { return asked.load(); }));
            dropper->stopControl();
            dropper.reset();
            destroyed = true;
        }
    });
    const Registered registered(recorder);
    running.link.arrive(frame("KV070"));
    EXPECT_TRUE(eventually([&] { return destroyed.load(); }));
}

TEST(Callbacks, AStoppedWorkerWaitsForNoFurtherTurn) {
    Running running;
    std::atomic<bool> stopped{false};
    std::thread stopping;
    Recorder recorder([&](const std::string &) {
        running.link.arrive(frame("KV070 MA00100 MS00010"));
        EXPECT_TRUE(eventually([&] { return running.link.drained(); }));
        stopping = std::thread([&] { stopped = running.engine.stopControl() == 1; });
        EXPECT_TRUE(eventually([&] { return stopped.load(); }));
    });
    const Registered registered(recorder);
    running.engine.enableRefresh(false, true);
    stopping.join();
}

/// The first engine's worker destroys the second, whose worker destroys the third, whose worker
/// stops the first: the stop gives way. A removal outside the circle must not.
TEST(Callbacks, ACircleOfDestructorsAndAStop) {
    MemoryLink links[3];
    std::unique_ptr<TkGeneratorControl> engines[3];
    std::atomic<int> met{0};
    std::atomic<int> through{0};
    std::atomic<bool> inFirst{false};
    const auto meet = [&] {
        ++met;
        EXPECT_TRUE(eventually([&] { return met == 3; }));
    };
    Recorder first([&](const std::string &event) {
        if (event == "radiographic_Kv_Changed") {
            inFirst = true;
            meet();
            engines[1].reset();
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            inFirst = false;
        }
    });
    Recorder others([&](const std::string &event) {
        if (event == "radiographic_Ma_Changed") {
            meet();
            engines[2].reset();
            ++through;
        } else if (event == "radiographic_Ms_Changed") {
            meet();
            engines[0]->stopControl();
            ++through;
        }
    });
    const Registered registered(others);
    Tk::addDispatcher(&first);
    const char *const items[3] = {"KV070", "MA00100", "MS00010"};
    for (int i = 0; i < 3; ++i) {
        engines[i] = std::make_unique<TkGeneratorControl>(&links[i]);
        engines[i]->startControl();
        links[i].arrive(frame(items[i]));
    }
    EXPECT_TRUE(eventually([&] { return inFirst.load(); }));
    Tk::removeDispatcher(&first);
    EXPECT_FALSE(inFirst) << "this thread waits in no circle";
    EXPECT_EQ(through, 2);
    EXPECT_EQ(engines[0]->stopControl(), 1);
}

/// The worker, in one dispatcher, waits for the other to be left; in the other, a thread destroys
/// the worker's engine.
TEST(Callbacks, DestroyingAnEngineThatWaitsForThisCallback) {
    for (int round = 0; round < 20; ++round) {
        MemoryLink link;
        auto engine = std::make_unique<TkGeneratorControl>(&link);
        std::atomic<bool> removing{false};
        TransferRecorder destroying([&](const std::string &) {
            link.arrive(frame("KV070"));
            EXPECT_TRUE(eventually([&] { return removing.load(); }));
            engine.reset();
        });
        Recorder inWorker([&](const std::string &) {
            removing = true;
            Tk::removeDispatcher(&destroying);
        });
        const Registered first(inWorker);
        Tk::addDispatcher(&destroying);
        engine->startControl();
        Producer::startTransfer();
        EXPECT_EQ(engine, nullptr);
        EXPECT_EQ(inWorker.events(), Frames{"radiographic_Kv_Changed"});
    }
}

// --- Over a serial line -------------------------------------------------------------------------

TEST(OverAPseudoTerminal, AnEngineKeepsItsPortUntilItGetsAnotherLink) {
    PtyPair line;
    ASSERT_TRUE(tkMapSerialPort("COM7", line.slavePath().c_str()));
    TkGeneratorControl engine(TkSerial::COM7);
    ASSERT_TRUE(engine.getCommDevice()->isOpen());
    EXPECT_FALSE(TkGeneratorControl(TkSerial::COM7).getCommDevice()->isOpen());
    engine.changeCommDevice(nullptr);
    EXPECT_TRUE(TkGeneratorControl(TkSerial::COM7).getCommDevice()->isOpen());
    tkMapSerialPort("COM7", nullptr);
    const auto none = static_cast<TkSerial::COM_PORTS>(99);
    EXPECT_FALSE(TkGeneratorControl(none).getCommDevice()->isOpen());
}

} // namespace
