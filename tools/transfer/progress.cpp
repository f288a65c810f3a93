#include "progress.h"

#include "shown.h"

#include <algorithm>
#include <cstdio>

#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr std::size_t usualColumns = 80;
constexpr std::size_t shortestName = 8;

bool isContinuation(unsigned char byte) {
    return byte >= 0x80 && byte < 0xC0;
}

std::size_t columnsOf(const std::string &shown) {
    return static_cast<std::size_t>(std::count_if(shown.begin(), shown.end(), [](char each) {
        return !isContinuation(static_cast<unsigned char>(each));
    }));
}

/// Cuts a name that takes more columns.
std::string cutTo(std::string name, std::size_t columns) {
    if (columnsOf(name) <= columns) {
        return name;
    }
    while (columnsOf(name) + 3 > columns && !name.empty()) {
        name.pop_back();
    }
    return name + "...";
}

std::size_t terminalColumns() {
    winsize size{};
    const bool known = ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return known ? size.ws_col : usualColumns;
}

std::string minutes(unsigned long seconds) {
    const unsigned long rest = seconds % 60;
    return std::to_string(seconds / 60) + (rest < 10 ? ":0" : ":") + std::to_string(rest);
}

/// What stands behind the name while a file is under way. The total of a receiver's file counts
/// those behind it too.
std::string counters(const TkZModem &transfer) {
    const unsigned long total = transfer.getTotalTransferSize();
    const unsigned long files = transfer.getNumFiles();
    const unsigned long rate = transfer.getCPS();
    std::string text = "  " + std::to_string(transfer.getTotalBytesTransfered());
    text += total > 0 ? " of " + std::to_string(total) + " bytes" : " bytes";
    text += files > 1 ? " in " + std::to_string(files) + " files" : "";
    text += rate > 0 ? "  " + std::to_string(rate) + " bytes/s" : "";
    text += rate > 0 && total > 0 ? "  " + minutes(transfer.getSecondsRemaining()) + " left" : "";
    return text;
}

} // namespace

Deadline Progress::nextDraw() const {
    return m_Where == Where::live ? Deadline(m_NextDraw) : std::nullopt;
}

void Progress::draw(const TkZModem &transfer, const std::optional<FileEntry> &file) {
    if (m_Where != Where::live || Clock::now() < m_NextDraw) {
        return;
    }
    m_NextDraw = Clock::now() + period;
    std::string line = "waiting for the far end";
    if (file) {
        const std::string rest = counters(transfer);
        const std::size_t columns = terminalColumns() - 1;
        const std::size_t room = columns > rest.size() ? columns - rest.size() : 0;
        line = cutTo(shownText(file->name), std::max(room, shortestName)) + rest;
    }
    const std::size_t drawn = columnsOf(line);
    line.append(m_Drawn > drawn ? m_Drawn - drawn : 0, ' ');
    m_Drawn = drawn;
    std::fprintf(stderr, "\r%s", line.c_str());
}

void Progress::finished(const char *verb, const FileEntry &file) {
    if (m_Where == Where::quiet) {
        return;
    }
    const auto length = std::chrono::duration_cast<std::chrono::milliseconds>(file.length).count();
    m_Held += std::string(verb) + " " + shownText(file.name) + ", " + std::to_string(file.bytes) +
              " bytes";
    if (length > 0) {
        const auto rate = file.bytes * 1000UL / static_cast<unsigned long>(length);
        m_Held += ", " + std::to_string(rate) + " bytes/s";
    }
    m_Held += "\n";
    if (m_Where != Where::late) {
        flush();
    }
}

void Progress::end() {
    clear();
    flush();
}

void Progress::clear() {
    if (m_Drawn > 0) {
        std::fprintf(stderr, "\r%s\r", std::string(m_Drawn, ' ').c_str());
    }
    m_Drawn = 0;
}

void Progress::flush() {
    clear();
    std::fputs(m_Held.c_str(), stderr);
    m_Held.clear();
}
