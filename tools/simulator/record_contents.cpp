#include "record_contents.h"

#include "codes.h"

#include <initializer_list>

namespace tksim {

namespace {

constexpr std::size_t digitalReceptor = 4;
constexpr int functionalOfDigital = 2;
constexpr int interfaceOfDigital = 2;

/// Film screens of each channel, one bit each; the last channel has a digital receptor and none.
constexpr int filmScreens[]{7, 5, 2, 0};
constexpr int media[]{0, 0, 0, 1};

/// Puts one field behind the other, as far as the form has room; what has none is left out.
class Fields {
  public:
    explicit Fields(Bytes &data) : m_Data(data) {}

    Fields &bytes(std::initializer_list<int> values) {
        for (const int value : values) {
            byte(value);
        }
        return *this;
    }
    Fields &words(std::initializer_list<int> values) {
        for (const int value : values) {
            word(value);
        }
        return *this;
    }
    Fields &text(std::string_view text, std::size_t width) {
        for (std::size_t i = 0; i < width; ++i) {
            byte(i < text.size() ? text[i] : 0);
        }
        return *this;
    }
    /// Rows of points, told by a function of row and point.
    template <class Curve>
    Fields &byteRows(int rows, int points, Curve curve) {
        return eachPoint(rows, points, [&](int row, int point) { byte(curve(row, point)); });
    }
    template <class Curve>
    Fields &wordRows(int rows, int points, Curve curve) {
        return eachPoint(rows, points, [&](int row, int point) { word(curve(row, point)); });
    }

  private:
    template <class Visit>
    Fields &eachPoint(int rows, int points, Visit visit) {
        for (int row = 0; row < rows; ++row) {
            for (int point = 0; point < points; ++point) {
                visit(row, point);
            }
        }
        return *this;
    }
    void word(int value) {
        byte(value >> 8);
        byte(value);
    }
    void byte(int value) {
        if (m_At < m_Data.size()) {
            m_Data[m_At++] = static_cast<std::uint8_t>(value);
        }
    }

    Bytes &m_Data;
    std::size_t m_At = 0;
};

int highest(std::string_view mnemonic, Family family) {
    return find(mnemonic)->range(family).highest;
}

/// Loads in tenths of a kW at the anode's two speeds. A focus without any isn't there.
struct Focus {
    int lowSpeed, highSpeed;
    int maxMa;
    int minKvStep; ///< by how much the lowest kV rises with each code of mA
    int standby, filament;
};

struct Tube {
    std::string_view name;
    int angle, speed, heatStep;
    Focus small, large, third;
};

constexpr Tube tubes[]{
    {"RAD 12 BUCKY", 12, 1, 100, {200, 320, 320, 2, 24, 45}, {500, 800, 1000, 1, 28, 52}, {}},
    {"RF 16 TABLE",
     16,
     2,
     140,
     {160, 270, 250, 3, 22, 43},
     {450, 750, 800, 1, 27, 50},
     {60, 110, 100, 4, 20, 38}},
};

void addMinKv(Fields &fields, const Focus &focus) {
    fields.byteRows(
        1, 21, [&](int, int code) { return focus.maxMa == 0 ? 0 : 40 + code * focus.minKvStep; });
}

/// The rating, and what is left of it at each code of time.
void addLoads(Fields &fields, int rating) {
    fields.words({rating});
    fields.wordRows(1, 36, [&](int, int code) { return rating * (100 - 2 * code) / 100; });
}

/// Limits of the two rows: what is least at each of ten kV, and what is most.
int limitAt(int row, int point, int least, int step) {
    return row == 0 ? least : least + step * (point + 1);
}

} // namespace

int bits(int digits) {
    return digits / 100 % 10 * 4 + digits / 10 % 10 * 2 + digits % 10;
}

int filmScreenNumber(int digits) {
    return bits(digits) / 2;
}

/// One for each workstation, as its settings are.
void fillReceptor(Bytes &data, std::size_t instance, Family family) {
    const Station here = station(static_cast<int>(instance) + 1, family);
    const bool digital = instance == digitalReceptor;
    const int backupMode = here.aecChannel == 0 ? 0 : here.aecChannel % 2 == 0 ? 2 : 1;
    Fields(data)
        .bytes({0, here.tube, here.tomography, here.fluoroscopy, here.serial, here.aecChannel,
                digital ? interfaceOfDigital : 0})
        // hang times, last image hold, memory, backup time of tomography, automatic focus
        .bytes({5, 10, here.fluoroscopy, 0, here.tomography * 20, 1})
        // backup: mode, mAs, ms; then kV, mA, a reserved byte, ms
        .bytes({backupMode, 20, 15, 70, 0, 0, 7})
        // technique, focus, density, film screen, fields
        .bytes({0, 0, 0, filmScreenNumber(here.filmScreen), bits(here.fields),
                digital ? functionalOfDigital : 0, 0});
}

void fillAecBelow300(Bytes &data, std::size_t instance, Family) {
    // film screens, fields, chamber type, compensation of the fields (signed), gains
    Fields(data).bytes({0, filmScreens[instance], 7, 1, -2, 0, 2, 100, 110, 120});
}

void fillAecFrom300(Bytes &data, std::size_t instance, Family) {
    Fields(data)
        .bytes({0, 1, media[instance], 7, filmScreens[instance]})
        // compensation of the fields (signed); gains of the film screens, then the digital one
        .bytes({-2, 0, 2})
        .words({1000, 1100, 1200, 1300})
        // digital curve; compensation of the magnifications
        .bytes({static_cast<int>(instance), 10, 11, 12, 20, 21, 22, 30, 31, 32});
}

void fillTable(Bytes &data, std::size_t, Family) {
    Fields(data)
        // tilt and rotation of the arm, tilts of the main arm and the table top, distance, heights
        .bytes({-5, 10, 0, 15, 110, 90, -20})
        .text("TABLE IN POSITION", 32)
        .text("0.1 MM CU", 13);
}

/// The smaller family has no second tube.
void fillTube(Bytes &data, std::size_t instance, Family family) {
    if (station(instance == 0 ? 1 : 4, family).tube != static_cast<int>(instance) + 1) {
        return;
    }
    const Tube &tube = tubes[instance];
    const int kv = highest("KV", family);
    Fields fields(data);
    fields.bytes({0, 1, tube.angle, 2, tube.speed, 60})
        .text(tube.name, 15)
        // percent of the anode's heat, and how it cools there
        .byteRows(1, 30, [](int, int point) { return (point + 1) * 100 / 30; })
        .wordRows(1, 10, [&](int, int point) { return (point + 1) * tube.heatStep; })
        .byteRows(1, 10, [](int, int) { return 0; });
    addMinKv(fields, tube.small);
    addMinKv(fields, tube.large);
    addLoads(fields, tube.small.lowSpeed);
    addLoads(fields, tube.large.lowSpeed);
    addLoads(fields, tube.small.highSpeed);
    addLoads(fields, tube.large.highSpeed);
    // times, standby and largest filament currents, each behind its limit; multiplier
    fields.bytes({15, 8, 40, tube.small.standby, 40, tube.large.standby})
        .bytes({60, tube.small.filament, 60, tube.large.filament, 3})
        .words({400, tube.small.maxMa})
        // kV, heat of the anode in percent, limit of the kV
        .bytes({kv, 80, 95, 0, 150, tube.third.maxMa > 0});
    addMinKv(fields, tube.third);
    addLoads(fields, tube.third.lowSpeed);
    addLoads(fields, tube.third.highSpeed);
    fields.bytes({40, tube.third.standby, 60, tube.third.filament}).words({125, tube.third.maxMa});
}

void fillFluoroSetup(Bytes &data, std::size_t, Family) {
    Fields(data)
        // lowest kV, modes of the intensifier, kV for rad, then doses: regulated, manual
        .bytes({40, 3, 3, 1, 20, 25, 32, 40, 50, 63, 22, 27, 35, 44, 55, 70, 8})
        .words({1000, 500, 2000})
        // curves, channel, high level, timer
        .bytes({3, 1, 2, 1, 1, 0, 2, 3, 2, 1, 0, 200})
        // pulses: mA, ms, gains, dose limits at 3, 7, 15 and 30 a second, spots
        .bytes({1, 50, 10, 0, 100, 110, 40, 30, 20, 10, 100, 20, 1})
        // dose limits of the high level, pulses a second
        .bytes({80, 60, 40, 20, 15});
}

void fillGeneralFluoro(Bytes &data, std::size_t, Family family) {
    const bool has = find("FLK")->exists(family);
    Fields(data).bytes({1, 40, has ? highest("FLK", family) : 0, 3, has, 1, 2, has, has});
}

/// Radiographic kV for each of 18 fluoroscopic ones.
void fillFluoroRad(Bytes &data, std::size_t, Family) {
    Fields(data).bytes({1, 2, 3}).byteRows(
        3, 18, [](int row, int point) { return 50 + 10 * row + point * (3 + row) / 2; });
}

void fillContinuousFluoro(Bytes &data, std::size_t, Family) {
    Fields(data)
        .words({-200, 100, 200, 400})
        .bytes({12, 3})
        .words({250})
        .bytes({70, -4, 1, 1, 2, 3})
        // tenths of a mA
        .byteRows(3, 10, [](int row, int point) { return 10 + point * (5 + 3 * row); })
        .byteRows(2, 10, [](int row, int point) { return limitAt(row, point, 5, 19); })
        .byteRows(2, 10, [](int row, int point) { return limitAt(row, point, 10, 15); })
        .bytes({10, 13, 16});
}

void fillHighLevelFluoro(Bytes &data, std::size_t, Family) {
    Fields(data)
        .bytes({1})
        .words({250, -100, 150, 300, 600})
        .wordRows(2, 10, [](int row, int point) { return limitAt(row, point, 20, 48); })
        .bytes({10, 14, 18});
}

void fillPulseFluoro(Bytes &data, std::size_t, Family) {
    Fields(data)
        .bytes({1, 0, 15})
        .words({300})
        .bytes({8, 1, 60})
        .words({-150, 120, 240, 480})
        .bytes({9, -3})
        .words({300})
        .bytes({75, 14, 2, 1, 2, 3})
        // tenths of a mA, ms
        .wordRows(3, 10, [](int row, int point) { return 100 + point * (40 + 20 * row); })
        .byteRows(3, 10, [](int row, int point) { return 3 + point * (1 + row); })
        .wordRows(2, 10, [](int row, int point) { return limitAt(row, point, 50, 75); })
        .byteRows(2, 10, [](int row, int point) { return limitAt(row, point, 2, 3); })
        // compensation at 1, 3, 7, 15 and 30 a second, magnifications
        .bytes({8, 5, 2, 0, -3, 10, 12, 15});
}

void fillHlfPulseFluoro(Bytes &data, std::size_t, Family) {
    Fields(data)
        .bytes({1})
        .words({220, 150, -120, 130, 260, 520})
        .wordRows(2, 10, [](int row, int point) { return limitAt(row, point, 80, 100); })
        .byteRows(2, 10, [](int row, int point) { return limitAt(row, point, 3, 4); })
        .bytes({10, 13, 17});
}

/// Each value behind what the hardware could bear.
void fillLimits(Bytes &data, std::size_t, Family family) {
    const int mA = highest("MA", family);
    const int kW = highest("KV", family) * mA / 1000;
    const int maCode = codeOf(maCodes, mA);
    const int least = codeOf(maCodes, find("MA")->range(family).lowest);
    const int masCode = codeOf(masCodes, highest("MX", family));
    Fields(data).bytes({kW + 10, kW, maCode + 1, maCode, least, least, masCode, masCode});
}

void fillType(Bytes &data, std::size_t, Family family) {
    Fields(data).bytes({family == Family::arkona ? 1 : 2, 0, 0});
}

/// Four states of each workstation, from rest over prep to an exposure: the tube's relay, the
/// bucky, the exposure; then the door's contact and the bucky's.
void fillInputsOutputs(Bytes &data, std::size_t instance, Family family) {
    constexpr std::size_t states = 4;
    const Station here = station(static_cast<int>(instance / states) + 1, family);
    const auto state = static_cast<int>(instance % states);
    const int tube = here.tube;
    const int bucky = 1 << here.bucky;
    Fields(data).bytes({0, 0, state > 0 ? tube : 0, state > 1 ? bucky : 0, state > 2 ? 0x80 : 0,
                        state > 0, state > 2 ? bucky : 0, 0});
}

void fillDapMeter(Bytes &data, std::size_t, Family) {
    Fields(data)
        // enabled, mode; calibrations, types, tests, alarms of accumulated dose and of rate
        .bytes({1, 1})
        .words({1000, 980})
        .bytes({4, 1, 4, 0})
        .words({200, 210, 5000, 600})
        .bytes({0, 1});
}

/// Nothing counted yet, behind the bytes that stand for nothing.
void fillStatistics(Bytes &data, std::size_t, Family) {
    Fields(data).byteRows(4, 4, [](int, int place) { return place == 0 ? 0xFF : 0; });
}

void fillZeros(Bytes &, std::size_t, Family) {}

} // namespace tksim
