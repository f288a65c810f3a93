#include "commands.h"
#include "generator_console.h"

namespace {

struct Feature {
    const char *name;
    Tk::Features bit;
};

constexpr Feature features[] = {
    {"auto-positioner", Tk::FEATURE_AUTO_POSITIONER},
    {"tomography", Tk::FEATURE_TOMOGRAPHY},
    {"apr-code", Tk::FEATURE_APR_CODE},
    {"dorva-table", Tk::FEATURE_DORVA_TABLE},
    {"rotation-selection", Tk::FEATURE_ROTATION_SELECTION},
    {"bolus-chase", Tk::FEATURE_BOLUS_CHASE},
    {"rotational-angiography", Tk::FEATURE_ROTATIONAL_ANGIOGRAPHY},
};

/// The names of those that `choose` takes, or "none".
template <class Choose>
std::string featureNames(Choose choose) {
    std::string names;
    for (const Feature &feature : features) {
        if (choose(feature.bit)) {
            names += (names.empty() ? "" : " ") + std::string(feature.name);
        }
    }
    return names.empty() ? "none" : names;
}

Tk::Features featureFrom(const std::string &word) {
    for (const Feature &feature : features) {
        if (word == feature.name) {
            return feature.bit;
        }
    }
    throw Failure("'" + word + "' is none of: " + featureNames([](Tk::Features) { return true; }));
}

/// All bits that the words behind the first one name.
Tk::Features featuresIn(const Arguments &arguments) {
    int bits = 0;
    for (std::size_t place = 1; place < arguments.size(); ++place) {
        bits |= featureFrom(arguments[place]);
    }
    if (bits == 0) {
        throw Failure("which?");
    }
    return static_cast<Tk::Features>(bits);
}

void changeFeatures(TkGeneratorControl &engine, const Arguments &arguments) {
    if (arguments[0] == "clear" && arguments.size() == 1) {
        return engine.clearFeatures();
    }
    const bool enable = choiceFrom(arguments[0], "enable", "disable");
    const Tk::Features bits = featuresIn(arguments);
    return enable ? engine.enableFeatures(bits) : engine.disableFeatures(bits);
}

void showFeatures(GeneratorConsole &console, const Arguments &arguments) {
    if (!arguments.empty()) {
        changeFeatures(console.engine(), arguments);
    }
    const auto enabled = [&](Tk::Features bit) { return console.engine().isFeatureEnabled(bit); };
    console.display().line(Kind::note, "features of the room: " + featureNames(enabled));
}

void type(GeneratorConsole &console, const Arguments &arguments) {
    const bool arkona = choiceFrom(arguments[0], "arkona", "brn450");
    console.engine().setGeneratorType(arkona ? Tk::GENERATOR_ARKONA : Tk::GENERATOR_BRN450);
    console.display().line(Kind::note, "generator family: " + arguments[0]);
}

/// A key of a generator's console: sends what follows the present setting.
template <Tk::TextCommands parameter, int (TkGeneratorStatus::*next)() const>
void key(GeneratorConsole &console, const Arguments &) {
    const int value = (console.status().*next)();
    if (value == Tk::VALUE_UNKNOWN || value == console.engine().getGenParam(parameter)) {
        throw Failure("there is no next " + console.session().meaning(parameter, value));
    }
    console.set(parameter, value);
}

void table(GeneratorConsole &console, const Arguments &arguments) {
    if (arguments.empty()) {
        return console.table().show();
    }
    console.table().follow(choiceFrom(arguments[0], "on", "off"));
}

std::string backupMode(int mode) {
    switch (mode) {
    case 1:
        return "1 mAs";
    case 2:
        return "2 ms";
    default:
        return mode == Tk::VALUE_UNKNOWN ? "unknown" : std::to_string(mode);
    }
}

std::string enabledReceptors(const TkGeneratorStatus &status) {
    std::string numbers;
    for (int station = 1; station <= TkBinary_Receptors::RECEPTORS; ++station) {
        if (status.receptorEnabled(station)) {
            numbers += (numbers.empty() ? "" : " ") + std::to_string(station);
        }
    }
    return numbers.empty() ? "none" : numbers;
}

void status(GeneratorConsole &console, const Arguments &) {
    const TkGeneratorStatus status = console.status();
    const auto show = [&](const char *name, const std::string &value) {
        console.display().field(Kind::value, name, value);
    };
    show("connection", console.engine().connected() ? "connected" : "not connected");
    show("exposure", exposureIn(console.engine()));
    show("meter", status.isDapAvailable() ? "available" : "not available");
    show("version", std::to_string(status.getGeneratorVersion()));
    show("backup", backupMode(status.aecBackupMode()));
    show("receptors", enabledReceptors(status));
}

} // namespace

// clang-format off
const GeneratorCommands &statusCommands() {
    using Status = TkGeneratorStatus;
    static const GeneratorCommands group{
        {"table", "[on|off]", 0, 1, "what a console shows; on: again when it has changed", table},
        {"status", "", 0, 0, "connection, exposure, meter, version, backup, receptors", status},
        {"technique", "", 0, 0, "the key: sets the next technique",
            key<Tk::ET, &Status::nextTechnique>},
        {"focus", "", 0, 0, "the key: sets the next focus", key<Tk::FO, &Status::nextFocus>},
        {"filmscreen", "", 0, 0, "the key: sets the next film screen",
            key<Tk::FS, &Status::nextFilmScreen>},
        {"features", "[enable|disable NAME... | clear]", 0, 8, "what the room has", showFeatures},
        {"type", "arkona|brn450", 1, 1, "the generator family", type},
    };
    return group;
}
// clang-format on
