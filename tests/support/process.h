#ifndef TEST_SUPPORT_PROCESS_H
#define TEST_SUPPORT_PROCESS_H

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

/// A program under test, with its standard input and output on pipes; its errors go where the
/// test's own go. One thread at a time uses an object.
///
/// Every wait has a limit, after which it gives up; the destructor kills what still runs.
class Process {
  public:
    using Limit = std::chrono::milliseconds;
    static constexpr Limit usual{5000};

    /// Starts a program: its path, then its arguments. One that isn't there ends with 127.
    explicit Process(const std::vector<std::string> &command);
    ~Process();

    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;

    /// The next line of output without its line feed; nothing at the limit or the output's end.
    std::optional<std::string> readLine(Limit limit = usual);

    /// Reads up to and with the first line that contains `text` and returns it; nothing at the
    /// limit or the output's end.
    std::optional<std::string> readUntil(const std::string &text, Limit limit = usual);

    /// Writes a line and a line feed. False when the program no longer reads.
    bool writeLine(const std::string &line);

    /// Ends the program's input.
    void closeInput();

    void signal(int number);

    /// Waits for the end: the exit code, 128 plus the number of the signal that ended it, or
    /// nothing at the limit. Output that comes meanwhile can be read afterwards.
    std::optional<int> wait(Limit limit = usual);

  private:
    using Clock = std::chrono::steady_clock;

    std::optional<std::string> readLineBefore(Clock::time_point end);
    bool takeLine(std::string &line);
    void readSome(Clock::time_point end);

    pid_t m_Pid = -1;
    int m_Input = -1;
    int m_Output = -1;
    std::string m_Read;
    std::optional<int> m_ExitCode;
};

#endif
