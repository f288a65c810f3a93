#include "options.h"

#include "gehl.h"
#include "infimed.h"

#include <CLI/CLI.hpp>

#include <ctime>
#include <utility>

namespace tksim {

namespace {

constexpr int exitUsage = 2;

std::string indented(const std::vector<Order> &orders) {
    std::string text;
    for (const std::string &line : helpLines(orders)) {
        text += "  " + line + "\n";
    }
    return text;
}

std::string footer() {
    const Simulator any(makeMachine({}), {});
    return "Commands on standard input, one a line:\n" + indented(any.lineOrders()) +
           "\nCommands of the generator:\n" + indented(GeneratorPanel({}).orders()) +
           "\nCommands of --infimed:\n" + indented(InfimedConsole().orders()) +
           "\nCommands of --gehl:\n" + indented(GEHLConsole().orders()) +
           "\nExit codes: 0 ended by quit, end of input or a signal; 1 the device or its link "
           "could not be made; 2 wrong arguments.\n";
}

/// Refuses what the parser would take for a number, but a person wouldn't write as one: hexadecimal
/// and octal numbers, and "nan", which lies in every range.
std::string decimal(const std::string &text) {
    const bool octal = text.size() > 1 && text[0] == '0' && text[1] != '.';
    const bool plain = text.find_first_not_of("0123456789.") == std::string::npos;
    return plain && !octal ? "" : text + " is no decimal number";
}

/// An option that gives the command of its name from the start.
CLI::Option *addOrder(CLI::App &app, Arguments &arguments, const std::string &name,
                      const std::string &meaning) {
    return app.add_option_function<std::string>(
        "--" + name,
        [&arguments, name](const std::string &value) {
            arguments.orders.push_back(name + " " + value);
        },
        meaning);
}

void addMishaps(CLI::App &app, Arguments &arguments) {
    const CLI::Range percent(0.0, 100.0);
    const std::pair<const char *, const char *> mishaps[] = {
        {"drop", "Lose frames"},
        {"corrupt", "Turn one bit of frames"},
        {"cut", "Cut frames short"},
        {"duplicate", "Send frames twice"},
        {"nak", "Send a NAK in place of frames"},
        {"garbage", "Send random bytes before frames"},
    };
    for (const auto &[name, meaning] : mishaps) {
        addOrder(app, arguments, name, meaning)
            ->check(decimal)
            ->check(percent)
            ->option_text("PERCENT");
    }
    CLI::Option *delay = addOrder(app, arguments, "delay", "Send frames late")
                             ->check(decimal)
                             ->check(CLI::Range(0, 60000))
                             ->option_text("MILLISECONDS");
    // It stands behind the other, whose order it completes.
    const auto some = [&arguments](const std::string &value) {
        arguments.orders.back() += " " + value;
    };
    app.add_option_function<std::string>("--delay-percent", some,
                                         "How many of them, all by default")
        ->needs(delay)
        ->check(decimal)
        ->check(percent)
        ->option_text("PERCENT");
}

/// Options that only a generator has; in a list, for a console to exclude.
std::vector<CLI::Option *> addGenerator(CLI::App &app, Arguments &arguments) {
    GeneratorPanel::Options &generator = arguments.generator;
    const auto family = [&generator](const std::string &name) {
        generator.family = name == "brn450" ? Family::brn450 : Family::arkona;
    };
    const auto flag = [&arguments](const std::string &order) {
        return [&arguments, order](std::int64_t) { arguments.orders.push_back(order); };
    };
    return {
        app.add_option_function<std::string>("--family", family,
                                             "Generator family: arkona (default) or brn450")
            ->check(CLI::IsMember({"arkona", "brn450"}))
            ->option_text("FAMILY"),
        app.add_option("--revision", generator.revision, "Software revision, 301 by default")
            ->check(decimal)
            ->check(CLI::Range(0, 9999))
            ->option_text("NUMBER"),
        app.add_option("--time-scale", generator.timeScale,
                       "Stretch exposures in real time, 0.001 to 10; none lasts over 10 s")
            ->check(decimal)
            ->check(CLI::Range(0.001, 10.0))
            ->option_text("FACTOR"),
        addOrder(app, arguments, "meter", "Have a dose meter or none")
            ->check(CLI::IsMember({"present", "absent", "slow", "dead"}))
            ->option_text("present|absent|slow|dead"),
        addOrder(app, arguments, "short", "Leave out the last bytes of records' data")
            ->check(decimal)
            ->check(CLI::Range(0, 1000))
            ->option_text("BYTES"),
        app.add_flag_function("--misfiled", flag("misfiled on"),
                              "Answer records under another record's code"),
        app.add_flag_function("--ack", flag("ack on"),
                              "Answer settings by a lone ACK instead of an echo"),
    };
}

/// Options that put a console in the generator's place.
void addConsoles(CLI::App &app, Arguments &arguments,
                 const std::vector<CLI::Option *> &generatorOptions) {
    const auto console = [&arguments](Simulated which) {
        return [&arguments, which](std::int64_t) { arguments.simulated = which; };
    };
    CLI::Option *infimed = app.add_flag_function("--infimed", console(Simulated::infimed),
                                                 "Simulate an Infimed console instead");
    CLI::Option *gehl = app.add_flag_function("--gehl", console(Simulated::gehl),
                                              "Simulate a GEHL console instead");
    infimed->excludes(gehl);
    for (CLI::Option *each : generatorOptions) {
        each->excludes(infimed)->excludes(gehl);
    }
}

void addOptions(CLI::App &app, Arguments &arguments) {
    app.set_version_flag("--version", std::string("tkgen-sim ") + TKSIM_VERSION);
    addConsoles(app, arguments, addGenerator(app, arguments));
    app.add_option("--link", arguments.link, "Make a symbolic link to the device")
        ->option_text("PATH");
    app.add_option("--seed", arguments.simulator.seed, "Seed of all misbehaviour, 1 by default")
        ->check(decimal)
        ->option_text("NUMBER");
    addMishaps(app, arguments);
    app.add_flag("--trace", arguments.simulator.trace,
                 "Print every frame: \"< KV?\" in, \"> KV070\" out");
    app.add_flag("--exit-on-eof", arguments.exitOnEof,
                 "End with standard input instead of going on until a signal");
    app.footer(footer());
}

} // namespace

std::optional<int> parse(int argc, char **argv, Arguments &arguments) {
    CLI::App app("A simulated X-ray generator, or another console, at the far end of a pseudo "
                 "terminal, whose path is the first line of its output.");
    addOptions(app, arguments);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? 0 : exitUsage;
    }
    arguments.generator.utc = std::time(nullptr);
    return std::nullopt;
}

std::unique_ptr<Machine> makeMachine(const Arguments &arguments) {
    switch (arguments.simulated) {
    case Simulated::infimed:
        return std::make_unique<InfimedConsole>();
    case Simulated::gehl:
        return std::make_unique<GEHLConsole>();
    case Simulated::generator:
        break;
    }
    return std::make_unique<GeneratorPanel>(arguments.generator);
}

} // namespace tksim
