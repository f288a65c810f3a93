#include "platform/platform.h"
#include "support/engine.h"
#include "support/pty.h"
#include "support/wire.h"
#include "tkdispatchmanager.h"
#include "tkvocabulary.h"
#include "tkwindowsdispatcher.h"
#include "toolkit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <utility>
#include <vector>

namespace {

using Posts = std::vector<std::pair<unsigned long, long>>; // wParam, lParam

class Window {
  public:
    ~Window() { tkDestroyWindow(handle); }

    /// The messages that wait.
    Posts posts() {
        Posts all;
        TkWindowMessage message{};
        while (tkGetMessage(handle, &message, 0)) {
            EXPECT_EQ(message.message, 65534u);
            all.emplace_back(message.wParam, message.lParam);
        }
        return all;
    }

    const HWND handle = tkCreateWindow();
};

/// An engine that tells events by hand.
struct Telling : TkGeneratorControl {
    Telling() : TkGeneratorControl(nullptr) {}
    static void tell(int command) {
        int value = 5;
        m_DispatchManager.dispatchMsg(TkGenDispatcher::CLASS, command, &value);
    }
    static void tellOfLink() {
        m_DispatchManager.lostComms(TkGenDispatcher::CLASS);
        m_DispatchManager.CommsReEstablished(TkGenDispatcher::CLASS);
    }
};

TEST(WindowMessages, EveryEventIsPostedUnderItsParameter) {
    Telling engine;
    Window window;
    const TkWindowsDispatcher dispatcher(&engine, window.handle);
    const std::vector<int> silent{Tk::DS,  Tk::PS,  Tk::TR,  Tk::BCP, Tk::BCI,
                                  Tk::BCF, Tk::RAP, Tk::RAA, Tk::RAF};
    int posted = 0;
    for (const TkCommand &row : TkCommandTable::rows) {
        engine.setGenParam(row.command(), -row.number);
    }
    for (const TkCommand &row : TkCommandTable::rows) {
        Telling::tell(row.number);
        Posts expected;
        if (row.event && std::count(silent.begin(), silent.end(), row.number) == 0) {
            const int number = row.number == Tk::TU ? Tk::TB : row.number;
            const bool error = number == Tk::ER || number == Tk::EL;
            expected.emplace_back(number, error ? 0 : -number);
            ++posted;
        }
        EXPECT_EQ(window.posts(), expected) << row.mnemonic;
    }
    EXPECT_EQ(posted, 47); // two rows share the tube's
    Telling::tellOfLink();
    EXPECT_EQ(window.posts(), (Posts{{0, 0}, {1, 0}}));
}

TEST(WindowMessages, GoToTheWindowInUse) {
    Telling engine;
    Window first;
    Window second;
    {
        TkWindowsDispatcher unregistered(nullptr, first.handle);
        TkWindowsDispatcher dispatcher(&engine, first.handle);
        const TkWindowsDispatcher copy(dispatcher);
        Telling::tell(Tk::KV);
        EXPECT_EQ(first.posts(), (Posts{{Tk::KV, -999}})) << "a copy isn't registered";
        dispatcher.setWindowHandle(second.handle);
        Telling::tell(Tk::KV);
        EXPECT_EQ(first.posts().size() + 2 * second.posts().size(), 2u);
        unregistered = dispatcher;
        dispatcher.setWindowHandle(nullptr);
        Telling::tell(Tk::KV);
        dispatcher = copy;
        Telling::tell(Tk::KV);
        EXPECT_EQ(first.posts().size() + 2 * second.posts().size(), 1u);
        dispatcher = TkWindowsDispatcher(nullptr, first.handle); // and still ends with its block
        Telling::tellOfLink();
    }
    Telling::tell(Tk::KV);
    EXPECT_EQ(first.posts(), Posts{});
}

/// Stories of the flat functions over a line.
class Flat : public testing::Test {
  protected:
    Flat() { tkMapSerialPort("COM7", line.slavePath().c_str()); }
    ~Flat() override {
        closeToolkit();
        tkMapSerialPort("COM7", nullptr);
    }

    static void expectClosed() {
        enableRefresh(true);
        EXPECT_FALSE(transmitMsg(Tk::KV, 70, true));
        EXPECT_FALSE(transmitAPR(1, 0, 0, 0, 1, 0, 70, 1, 1, true));
        EXPECT_FALSE(displayableParam(Tk::KV) || controllableParam(Tk::KV));
        EXPECT_FALSE(setGenParam(Tk::KV, 70));
        EXPECT_EQ(getGenParam(Tk::KV), -999);
        EXPECT_EQ(getError() + getLatchedError(), 0);
    }

    PtyPair line;
    Window window;
};

TEST_F(Flat, OpensAndClosesAsOftenAsWanted) {
    closeToolkit();
    enableEvents(window.handle);
    expectClosed();
    for (const int device : {-1, 10, 99}) {
        EXPECT_FALSE(initializeToolkit(static_cast<TOOLKIT_DEVICE>(device)));
    }
    EXPECT_FALSE(initializeToolkit(TOOLKIT_COM10)) << "there is no such port";
    const PtyPair another;
    tkMapSerialPort("COM8", another.slavePath().c_str());
    for (int round = 0; round < 3; ++round) {
        EXPECT_TRUE(initializeToolkit(TOOLKIT_COM7));
        EXPECT_FALSE(initializeToolkit(TOOLKIT_COM8)) << "the library is open";
        EXPECT_EQ(getGenParam(Tk::KV), -999);
        EXPECT_TRUE(transmitMsg(19286, 65535, false));
        EXPECT_EQ(line.read(5), frame("KV?"));
        closeToolkit();
        closeToolkit();
        expectClosed();
    }
    const TkGeneratorControl taken(TkSerial::COM7);
    EXPECT_FALSE(initializeToolkit(TOOLKIT_COM7)) << "it is taken";
}

TEST_F(Flat, DrivesAGenerator) {
    Window other;
    ASSERT_TRUE(initializeToolkit(TOOLKIT_COM7));
    enableEvents(window.handle);
    enableEvents(other.handle);
    line.write(frame("PR1") + frame("KV071") + frame("FS010") + frame("EL007") + frame("ER012"));
    EXPECT_EQ(line.read(12), frame("PR0") + frame("EL007"));
    EXPECT_TRUE(eventually([] { return getError() == 12; }));
    EXPECT_EQ(getLatchedError() + getError(), 7);
    EXPECT_EQ(getLatchedError(), 0);
    EXPECT_TRUE(setGenParam(Tk::MA, 4));
    EXPECT_EQ(getGenParam(Tk::MA), 4);
    EXPECT_TRUE(transmitAPR(1, 0, 1, 10, 100, -2, 70, 100, 50, false));
    EXPECT_EQ(line.read(55), frame("SA WS1 FO0 ET1 FI010 FS100 FN-2 KV070 MA00100 MS00050"));
    line.write(frame("WS1"));
    enableRefresh(true);
    EXPECT_EQ(line.read(4), frame("ST"));
    enableRefresh(false);
    EXPECT_EQ(getGenParam(Tk::MA), 4);
    closeToolkit();
    line.write(frame("KV072"));
    const Posts posts{{Tk::KV, 71}, {Tk::FS, 1}, {Tk::EL, 0}, {Tk::ER, 0}, {Tk::WS, 1}};
    EXPECT_EQ(window.posts(), posts);
    EXPECT_EQ(other.posts(), Posts{});
}

TEST_F(Flat, ALineThatVanishesHoldsNobodyUp) {
    ASSERT_TRUE(initializeToolkit(TOOLKIT_COM7));
    enableEvents(window.handle);
    enableRefresh(true);
    line.read(4);
    line.close();
    EXPECT_FALSE(transmitMsg(Tk::KV, 70, true));
    TkWindowMessage message{};
    EXPECT_TRUE(tkGetMessage(window.handle, &message, 10000));
    EXPECT_EQ(message.wParam, 0u);
}

TEST_F(Flat, OthersMayCallWhileItOpensAndAWindowGoes) {
    std::atomic<bool> ends{false};
    std::thread other([&] {
        while (!ends) {
            getGenParam(Tk::KV);
            displayableParam(Tk::KV);
            getError();
            transmitMsg(Tk::KV, 70, false);
        }
    });
    ASSERT_TRUE(initializeToolkit(TOOLKIT_COM7));
    const HWND brief = tkCreateWindow();
    enableEvents(brief);
    std::string flood;
    for (int i = 0; i < 100; ++i) {
        flood += frame(i % 2 == 0 ? "MA00001" : "MA00002");
    }
    line.write(flood);
    TkWindowMessage message{};
    EXPECT_TRUE(tkGetMessage(brief, &message, 10000));
    tkDestroyWindow(brief);
    line.write(frame("KV099"));
    EXPECT_TRUE(eventually([] { return getGenParam(Tk::KV) == 99; }));
    ends = true;
    other.join();
}

} // namespace
