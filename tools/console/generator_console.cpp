#include "generator_console.h"

#include <sstream>

namespace {

/// For so long a record is tried again that the engine can't send at once; shorter than the time
/// after which one without an answer is given up.
constexpr std::chrono::seconds longestRefusal{1};
constexpr std::chrono::milliseconds betweenTries{20};

} // namespace

bool GeneratorConsole::exchange(TkBinaryInterface &record, int mode) {
    forgetEvents();
    const Clock::time_point end = Clock::now() + longestRefusal;
    while (!callApart([&] { return engine().transmitBinaryMsg(&record, mode, true); })) {
        if (Clock::now() >= end) {
            return false;
        }
        waitUntil([] { return false; }, Clock::now() + betweenTries);
    }
    return true;
}

/// The engine only tells what was refused. A loss takes what is left of the program with it, even
/// if the generator is found again before the end.
void GeneratorConsole::load(TkAPR &program) {
    forgetEvents();
    const unsigned long before = losses();
    const bool taken = callApart([&] { return engine().transmitAPR(&program, true); });
    std::istringstream refused(program.getErrorDetails());
    for (std::string line; std::getline(refused, line);) {
        display().line(Kind::refused, line);
    }
    if (before != losses() || engine().getGenParam(Tk::WS) == Tk::VALUE_UNKNOWN) {
        throw Failure("the generator didn't answer");
    }
    if (!taken) {
        throw Failure("the generator refused a part of it");
    }
    display().line(Kind::answer, "the program is loaded");
}

void GeneratorConsole::showMore(bool asking) {
    m_Messages.show();
    if (!asking) {
        m_Table.look();
    }
}

Deadline GeneratorConsole::nextLook(bool asking) const {
    return asking ? std::nullopt : m_Table.nextLook();
}
