#include "support/process.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

void closeOne(int &descriptor) {
    if (descriptor >= 0) {
        ::close(descriptor);
    }
    descriptor = -1;
}

/// Becomes the program, or ends as a shell does that finds none.
[[noreturn]] void become(const std::vector<std::string> &command, int input, int output) {
    std::vector<char *> arguments;
    for (const std::string &each : command) {
        arguments.push_back(const_cast<char *>(each.c_str()));
    }
    arguments.push_back(nullptr);
    ::dup2(input, STDIN_FILENO);
    ::dup2(output, STDOUT_FILENO);
    std::signal(SIGPIPE, SIG_DFL); // the test ignores it
    ::execvp(arguments[0], arguments.data());
    ::_exit(127);
}

} // namespace

Process::Process(const std::vector<std::string> &command) {
    std::signal(SIGPIPE, SIG_IGN);
    std::array<int, 2> in{-1, -1};
    std::array<int, 2> out{-1, -1};
    if (::pipe2(in.data(), O_CLOEXEC) != 0 || ::pipe2(out.data(), O_CLOEXEC) != 0 ||
        (m_Pid = ::fork()) < 0) {
        throw std::system_error(errno, std::generic_category(), command[0]);
    }
    if (m_Pid == 0) {
        become(command, in[0], out[1]);
    }
    closeOne(in[0]);
    closeOne(out[1]);
    m_Input = in[1];
    m_Output = out[0];
}

Process::~Process() {
    closeInput();
    closeOne(m_Output);
    if (m_ExitCode) {
        return;
    }
    ::kill(m_Pid, SIGKILL);
    ::waitpid(m_Pid, nullptr, 0);
}

std::optional<std::string> Process::readLine(Limit limit) {
    return readLineBefore(Clock::now() + limit);
}

std::optional<std::string> Process::readUntil(const std::string &text, Limit limit) {
    const auto end = Clock::now() + limit;
    std::optional<std::string> line;
    do {
        line = readLineBefore(end);
    } while (line && line->find(text) == std::string::npos);
    return line;
}

std::optional<std::string> Process::readLineBefore(Clock::time_point end) {
    std::string line;
    while (!takeLine(line)) {
        if (m_Output < 0 || Clock::now() >= end) {
            return std::nullopt;
        }
        readSome(end);
    }
    return line;
}

bool Process::takeLine(std::string &line) {
    const std::size_t length = m_Read.find('\n');
    if (length == std::string::npos) {
        return false;
    }
    line = m_Read.substr(0, length);
    m_Read.erase(0, length + 1);
    return true;
}

/// Waits for output up to `end` and keeps it; closes the pipe at its end.
void Process::readSome(Clock::time_point end) {
    const auto left = std::chrono::ceil<Limit>(end - Clock::now());
    pollfd waiting{m_Output, POLLIN, 0};
    if (::poll(&waiting, 1, static_cast<int>(std::max<Limit::rep>(left.count(), 0))) <= 0) {
        return;
    }
    std::array<char, 4096> bytes{};
    const ssize_t count = ::read(m_Output, bytes.data(), bytes.size());
    if (count > 0) {
        m_Read.append(bytes.data(), static_cast<std::size_t>(count));
    } else if (count == 0 || errno != EINTR) {
        closeOne(m_Output);
    }
}

bool Process::writeLine(const std::string &line) {
    const std::string text = line + "\n";
    std::size_t written = 0;
    while (m_Input >= 0 && written < text.size()) {
        const ssize_t count = ::write(m_Input, text.data() + written, text.size() - written);
        if (count < 0 && errno != EINTR) {
            return false;
        }
        written += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    return m_Input >= 0;
}

void Process::closeInput() {
    closeOne(m_Input);
}

void Process::signal(int number) {
    if (!m_ExitCode) {
        ::kill(m_Pid, number);
    }
}

std::optional<int> Process::wait(Limit limit) {
    constexpr Limit between{5};
    const auto end = Clock::now() + limit;
    while (!m_ExitCode) {
        int status = 0;
        if (::waitpid(m_Pid, &status, WNOHANG) == m_Pid) {
            m_ExitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        } else if (Clock::now() >= end) {
            return std::nullopt;
        } else {
            readSome(std::min(end, Clock::now() + between));
        }
    }
    return m_ExitCode;
}
