#ifndef TKCONSOLE_DISPLAY_H
#define TKCONSOLE_DISPLAY_H

#include "vocabulary.h"

#include <string>

/// What a line is about; it decides the line's first word and its colour.
enum class Kind {
    event,   ///< the far end told a value
    answer,  ///< what it answered to a command
    value,   ///< a value as last known
    table,   ///< what a generator's console would have on its screen
    reply,   ///< what the console said to the generator by itself
    error,   ///< an error number of the generator
    refused, ///< what the generator didn't take of a program, and why
    text,    ///< what an imaging console says in words
    message, ///< a message that was posted to the console's window
    note,    ///< anything else that is worth knowing
    log,     ///< a line of a communication log
    failed,  ///< why a command failed
    lost,    ///< the far end or the device can't be reached any more
    back,    ///< the far end is back
    echo,    ///< a command as it is run
    help
};

/// Writes lines to standard output, in columns. The only place that writes there; main thread only.
class Display {
  public:
    /// With `prompt` a person types between the lines.
    Display(bool colour, bool prompt, const Vocabulary &vocabulary)
        : m_Colour(colour), m_Prompt(prompt), m_Vocabulary(vocabulary) {}

    void line(Kind kind, const std::string &text);

    /// Name, value with unit, and meaning of a parameter, and perhaps a remark.
    void parameter(Kind kind, int parameter, int value, const std::string &remark = {});

    /// A row of the table: as above, with a mark where the operator may change the value.
    void row(int parameter, int value, bool changeable);

    /// A value that has a name of its own.
    void field(Kind kind, const std::string &name, const std::string &value);

    /// A value in words: "70 kV", "1 on", "unknown".
    std::string describe(int parameter, int value) const;

    /// Shows that a command can be typed, unless that shows already.
    void showPrompt();

    /// The person has ended the line behind the prompt.
    void promptUsed() { m_PromptShown = false; }

    /// Takes a prompt away that nothing will be typed behind.
    void finish();

  private:
    void write(Kind kind, const std::string &text);
    void clearPrompt();
    std::string suffix(Kind kind, int parameter, int value) const;
    std::string columns(Kind kind, int parameter, int value) const;

    const bool m_Colour;
    const bool m_Prompt;
    const Vocabulary &m_Vocabulary;
    bool m_PromptShown = false;
};

#endif
