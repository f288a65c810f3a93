#include "entry.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>

int runGuarded(const char *name, const std::function<int()> &program) {
    try {
        return program();
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s: %s\n", name, error.what());
        return exitFailed;
    }
}

int parseAndRun(CLI::App &app, int argc, char **argv, const std::function<int()> &run) {
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? exitWell : exitUsage;
    }
    return run();
}
