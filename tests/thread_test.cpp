#include "support/clock.h"
#include "support/engine.h"
#include "tkthread.h"

#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <stdexcept>

namespace {

class Worker : public TkThread {
  public:
    explicit Worker(std::function<void(Worker &)> work = nullptr) : m_Work(std::move(work)) {}
    ~Worker() override { endThread(); }

    std::atomic<int> cycles{0};

  protected:
    void threadCycle() override {
        ++cycles;
        if (m_Work) {
            m_Work(*this);
        }
    }

  private:
    const std::function<void(Worker &)> m_Work;
};

TEST(Timer, RunsOnTheTick) {
    SettableClock clock(ULONG_MAX - 50);
    TkTimer timer(100);
    EXPECT_FALSE(timer.timedOut());
    clock.advance(99); // the tick wraps here
    EXPECT_EQ(timer.elapsedTime(), 99u);
    EXPECT_FALSE(timer.timedOut());
    clock.advance(1);
    EXPECT_TRUE(timer.timedOut());
    timer.reset();
    EXPECT_FALSE(timer.timedOut());
    timer.setLength(0);
    EXPECT_TRUE(timer.timedOut());
    EXPECT_TRUE(TkTimer(-1).timedOut());
}

TEST(Thread, StartsStopsAndStartsAgain) {
    Worker worker;
    EXPECT_FALSE(worker.isThreadActive());
    EXPECT_EQ(worker.stopControl(), 1) << "no thread is as good as one that ended";
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(worker.startControl(), 1);
        EXPECT_EQ(worker.startControl(), 0);
        EXPECT_TRUE(worker.isThreadActive());
        const int before = worker.cycles;
        EXPECT_TRUE(eventually([&] { return worker.cycles > before + 2; }));
        EXPECT_EQ(worker.stopControl(), 1);
        const int after = worker.cycles;
        EXPECT_FALSE(worker.isThreadActive());
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        EXPECT_EQ(worker.cycles, after);
    }
}

TEST(Thread, ASleepHoldsNobodyUp) {
    Worker worker;
    worker.setSleepTime(60000);
    worker.startControl();
    EXPECT_TRUE(eventually([&] { return worker.cycles == 1; }));
    worker.setSleepTime(50000);
    EXPECT_EQ(worker.getSleepTime(), 50000);
    std::thread other([&] { EXPECT_EQ(worker.stopControl(), 1); });
    EXPECT_EQ(worker.stopControl(), 1);
    other.join(); // or the test's time limit tells
    EXPECT_EQ(worker.cycles, 1);
}

TEST(Thread, StoppingItselfTakesEffectAfterTheCycle) {
    std::atomic<int> result{-1};
    Worker worker([&](Worker &self) { result = self.stopControl(); });
    worker.startControl();
    EXPECT_TRUE(eventually([&] { return result == 0; }));
    EXPECT_EQ(worker.startControl(), 0) << "the ended thread hasn't been collected";
    EXPECT_EQ(worker.stopControl(), 1);
    EXPECT_EQ(worker.cycles, 1);
    EXPECT_EQ(worker.startControl(), 1);
}

TEST(Thread, TwoThatStopEachOtherBothEnd) {
    for (int round = 0; round < 50; ++round) {
        std::atomic<Worker *> partner[2] = {nullptr, nullptr};
        const auto stopPartner = [&](int mine) {
            while (partner[1 - mine] == nullptr) {
                std::this_thread::yield();
            }
            partner[1 - mine].load()->stopControl();
        };
        Worker first([&](Worker &) { stopPartner(0); });
        Worker second([&](Worker &) { stopPartner(1); });
        first.startControl();
        second.startControl();
        partner[0] = &first;
        partner[1] = &second;
        EXPECT_TRUE(
            eventually([&] { return !first.isThreadActive() || !second.isThreadActive(); }));
        EXPECT_EQ(first.stopControl() + second.stopControl(), 2);
    }
}

TEST(Thread, AnExceptionCostsACycle) {
    Worker worker([](Worker &) { throw std::runtime_error("a failing link"); });
    worker.startControl();
    EXPECT_TRUE(eventually([&] { return worker.cycles > 3; }));
}

} // namespace
