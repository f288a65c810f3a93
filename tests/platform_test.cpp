#include "platform/platform.h"
#include "support/engine.h"

#include <gtest/gtest.h>

#include <atomic>
#include <poll.h>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

bool isReadable(HWND window) {
    pollfd watched{tkWindowFd(window), POLLIN, 0};
    return ::poll(&watched, 1, 0) == 1;
}

TEST(Window, MessagesComeInOrder) {
    const HWND window = tkCreateWindow();
    ASSERT_NE(window, nullptr);
    TkWindowMessage message{};
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(tkGetMessage(window, &message, 20));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(20));
    EXPECT_FALSE(isReadable(window));
    tkplatform::postMessage(window, 65534, 19286, 70);
    tkplatform::postMessage(window, 65534, 19777, -999);
    EXPECT_TRUE(isReadable(window));
    EXPECT_FALSE(tkGetMessage(window, nullptr, 0));
    ASSERT_TRUE(tkGetMessage(window, &message, 0));
    EXPECT_EQ(message.message, 65534u);
    EXPECT_EQ(message.wParam, 19286u);
    EXPECT_EQ(message.lParam, 70);
    EXPECT_TRUE(isReadable(window));
    ASSERT_TRUE(tkGetMessage(window, &message, 0));
    EXPECT_EQ(message.lParam, -999);
    EXPECT_FALSE(isReadable(window));
    tkDestroyWindow(window);
}

TEST(Window, AFullQueueLosesAndCounts) {
    const HWND window = tkCreateWindow();
    for (int i = 0; i < TK_WINDOW_MESSAGES + 5; ++i) {
        tkplatform::postMessage(window, 1, 0, i);
    }
    EXPECT_EQ(tkLostMessages(window), 5u);
    TkWindowMessage message{};
    long count = 0;
    while (tkGetMessage(window, &message, 0)) {
        EXPECT_EQ(message.lParam, count);
        ++count;
    }
    EXPECT_EQ(count, TK_WINDOW_MESSAGES);
    tkDestroyWindow(window);
}

TEST(Window, NoMessageIsOverlookedByWhoWatches) {
    const HWND window = tkCreateWindow();
    constexpr int EACH = 5000;
    const auto post = [window] {
        for (int i = 0; i < EACH; ++i) {
            tkplatform::postMessage(window, 1, 0, i);
        }
    };
    std::thread one(post);
    std::thread two(post);
    pollfd watched{tkWindowFd(window), POLLIN, 0};
    TkWindowMessage message{};
    int taken = 0;
    while (taken < 2 * EACH && ::poll(&watched, 1, 10000) == 1) {
        while (tkGetMessage(window, &message, 0)) {
            ++taken;
        }
    }
    EXPECT_EQ(taken, 2 * EACH);
    one.join();
    two.join();
    EXPECT_FALSE(tkGetMessage(window, &message, 0));
    EXPECT_FALSE(isReadable(window));
    tkDestroyWindow(window);
}

TEST(Window, ADestroyedOneIsHarmless) {
    const HWND window = tkCreateWindow();
    std::atomic<int> taken{0};
    std::thread waiting([&] {
        TkWindowMessage message{};
        while (tkGetMessage(window, &message, 60000)) {
            ++taken;
        }
    });
    std::thread posting([&] {
        for (int i = 0; i < 1000; ++i) {
            tkplatform::postMessage(window, 1, 2, i);
        }
    });
    posting.join();
    EXPECT_TRUE(eventually([&] { return taken == 1000; })); // from here on it waits
    tkDestroyWindow(window);
    waiting.join();
    tkDestroyWindow(window);
    const HWND next = tkCreateWindow();
    EXPECT_NE(next, window) << "a handle is given once";
    tkplatform::postMessage(window, 1, 2, 3);
    tkplatform::postMessage(nullptr, 1, 2, 3);
    TkWindowMessage message{};
    EXPECT_FALSE(tkGetMessage(window, &message, 60000));
    EXPECT_FALSE(tkGetMessage(next, &message, 0));
    EXPECT_EQ(tkWindowFd(window), -1);
    tkDestroyWindow(next);
}

TEST(DebugOutput, GoesToTheSink) {
    std::vector<std::string> lines;
    tkplatform::debugOutput("nobody listens");
    tkSetDebugSink(
        [](const char *text, void *context) {
            static_cast<std::vector<std::string> *>(context)->emplace_back(text);
        },
        &lines);
    tkplatform::debugOutput("one");
    tkSetDebugSink(nullptr, nullptr);
    tkplatform::debugOutput("none");
    EXPECT_EQ(lines, std::vector<std::string>{"one"});
}

} // namespace
