#include "log.h"

#include "shown.h"

#include <chrono>
#include <cstdio>
#include <ctime>

void Log::line(const std::string &text) {
    using namespace std::chrono;
    const std::lock_guard<std::mutex> lock(m_Mutex);
    const auto now = system_clock::now();
    const std::time_t seconds = system_clock::to_time_t(now);
    const auto thousandths = duration_cast<milliseconds>(now.time_since_epoch()).count() % 1000;
    std::tm parts{};
    char date[32];
    ::localtime_r(&seconds, &parts);
    std::strftime(date, sizeof date, "%Y-%m-%d %H:%M:%S", &parts);
    std::printf("%s.%03d %s\n", date, static_cast<int>(thousandths), shownText(text).c_str());
    std::fflush(stdout);
}
