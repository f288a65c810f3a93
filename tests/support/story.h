#ifndef TKGEN_TESTS_STORY_H
#define TKGEN_TESTS_STORY_H

#include "support/clock.h"
#include "support/dispatcher.h"
#include "support/engine.h"
#include "support/link.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

using Frames = std::vector<std::string>;
using Told = std::vector<std::string>;

/// Stories of one engine, told cycle by cycle with the clock in hand: what arrives, what goes out,
/// what is told.
template <class DrivenEngine, class Listener>
class Story : public testing::Test {
  protected:
    template <class Command>
    void send(Command command, int value) {
        EXPECT_TRUE(engine.transmitMsg(command, value, false));
    }

    /// Lets bytes arrive and a cycle take them.
    void receive(const std::string &wire) {
        link.arrive(wire);
        engine.cycle();
    }

    /// Lets the response time of the frame under way run out, and the next cycle repeat it.
    void timeOut() {
        clock.advance(750);
        engine.cycle(2);
    }

    Frames sent(int cycles = 1) {
        engine.cycle(cycles);
        return link.written();
    }

    Told told() { return dispatcher.events(); }

    std::string parsedLog() {
        char text[4000];
        const int count = engine.readParsedComms(text, sizeof text - 1);
        return count < 0 ? "off" : std::string(text, static_cast<std::size_t>(count));
    }

    // Set them before a worker runs.
    MemoryLink::Answers answers;                           // of the far end; none at first
    std::function<void(const std::string &event)> onEvent; // in the dispatcher's operations

    SettableClock clock;
    MemoryLink link{[this](const std::string &w) { return answers ? answers(w) : ""; }};
    Listener dispatcher{[this](const std::string &event) {
        if (onEvent) {
            onEvent(event);
        }
    }};
    Registered registered{dispatcher};
    DrivenEngine engine{&link};
};

/// Stories of the generator engine.
class Engine : public Story<DrivenGenerator, Recorder> {
  protected:
    ~Engine() override { DrivenGenerator::setRevision(0); } // which all engines share

    /// Three unanswered sendings; the probe is under way behind.
    void loseTheLinkWithPolling() {
        engine.enableRefresh(true, false);
        send(Tk::KV, 70);
        engine.cycle();
        timeOut();
        timeOut();
        link.written();
        timeOut();
        EXPECT_EQ(link.written(), Frames{frame("ST")});
    }
};

#endif
