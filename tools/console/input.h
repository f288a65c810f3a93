#ifndef TKCONSOLE_INPUT_H
#define TKCONSOLE_INPUT_H

#include <optional>
#include <string>

/// Lines from standard input or a script. It reads only when told that there is something, so that
/// nobody is held up.
class Input {
  public:
    /// Reads standard input.
    Input() = default;
    ~Input();
    Input(const Input &) = delete;
    Input &operator=(const Input &) = delete;

    /// Reads a file instead. False when it can't be opened.
    bool open(const std::string &path);

    int fd() const { return m_Fd; }

    /// Takes what has come; blocks if nothing has.
    void read();

    /// The next whole line, without its end. What stands before the end of the input counts as one.
    /// Of a line that is longer than any command the beginning is given, with "..." behind it.
    std::optional<std::string> nextLine();

    /// Whether all has been read and handed out.
    bool atEnd() const { return m_Ended && m_Buffer.empty(); }

    /// Whether the end came because the input can't be read.
    bool hasFailed() const { return m_Failed; }

  private:
    void skipRest();

    int m_Fd = 0;
    bool m_Ended = false;
    bool m_Failed = false;
    bool m_Skipping = false; // the rest of a line that was too long
    std::string m_Buffer;
};

#endif
