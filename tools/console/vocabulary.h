#ifndef TKCONSOLE_VOCABULARY_H
#define TKCONSOLE_VOCABULARY_H

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

/// What a person reads about a parameter. For display only: what exists and what can be sent, the
/// library decides. A null pointer stands where there is nothing to say.
struct Words {
    int parameter;
    const char *meaning;
    const char *unit;
    std::array<const char *, 3> values; ///< what 0, 1 and 2 mean
    const char *unanswered = nullptr;   ///< why no value comes as an answer to the command
    bool isCommandOnly = false;         ///< it has no value
};

/// The parameters of an engine, as a person calls them and reads about them.
class Vocabulary {
  public:
    virtual ~Vocabulary() = default;

    /// All that have words, in the order in which they are shown.
    virtual const std::vector<Words> &all() const = 0;

    virtual std::string name(int parameter) const = 0;

    /// The parameter of a name, if there is one.
    virtual std::optional<int> find(const std::string &name) const = 0;

    /// What a parameter is; in some cases also what this value of it means.
    virtual std::string meaning(int parameter, int value) const;

    /// What a list of parameters says about one.
    virtual std::string description(int parameter) const;

    /// Of the longest name, and a gap.
    virtual std::size_t nameWidth() const = 0;

    /// The words of a parameter; empty ones when it has none.
    const Words &wordsOf(int parameter) const;
};

#endif
