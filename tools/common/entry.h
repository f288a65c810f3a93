#ifndef TKPROGRAMS_ENTRY_H
#define TKPROGRAMS_ENTRY_H

#include <functional>

namespace CLI {
class App;
}

/// Exit codes that mean the same in all programs.
enum CommonExit : int { exitWell = 0, exitFailed = 1, exitUsage = 2 };

/// Runs the whole of a program, and tells of what it throws. Returns its exit code.
int runGuarded(const char *name, const std::function<int()> &program);

/// Parses the arguments and goes on with `run`, unless they are wrong, or ask for help or the
/// version. Returns the exit code.
int parseAndRun(CLI::App &app, int argc, char **argv, const std::function<int()> &run);

#endif
