#ifndef TKSIM_PARAMETERS_H
#define TKSIM_PARAMETERS_H

#include "vocabulary.h"

#include <array>
#include <utility>

namespace tksim {

/// The values of one generator and the physics that ties them together: the workstation decides
/// tube and bucky, and mAs is mA times ms / 1000. In the mAs technique the product is held, and a
/// change of mA moves ms, and the other way round; else the product follows.
class Parameters {
  public:
    using Values = std::array<int, vocabularySize>;

    enum class Step { up, down, largeUp, largeDown };

    Parameters(Family family, int revision);

    /// The row of a mnemonic that this family has, or null.
    const Row *find(std::string_view mnemonic) const;

    /// Decides on the forms of records. A family that can't tell its revision has the oldest.
    int revision() const { return find("GR") ? value("GR") : 0; }

    /// The value of a mnemonic of the vocabulary.
    int value(std::string_view mnemonic) const;

    /// Sets one value by the generator itself, held to its range; nothing else follows.
    void put(std::string_view mnemonic, int value);

    /// Sets a value as the console wishes, as far as it can be taken, and what depends on it.
    /// False when another value was taken.
    bool set(const Row &row, int wanted);

    void step(const Row &row, Step step);

    /// Takes over a whole program: each value by itself, then what depends on them. Gives the rows
    /// whose values could not be taken.
    std::vector<const Row *> load(const std::vector<std::pair<const Row *, int>> &program);

    const Values &values() const { return m_Values; }

    /// "KV070".
    std::string item(std::string_view mnemonic) const;

    /// What differs from an earlier state, as items, but for the rows named.
    std::vector<std::string> changesSince(const Values &before,
                                          const std::vector<const Row *> &except) const;

    /// Fills the configuration items ("CWS" to "CFS") for a workstation.
    void describeStation(int workstation);

  private:
    int &at(std::string_view mnemonic);
    bool take(const Row &row, int wanted);
    void followStation();
    void settle(std::string_view changed);

    Family m_Family;
    Values m_Values{};
};

} // namespace tksim

#endif
