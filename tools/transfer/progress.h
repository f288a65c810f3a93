#ifndef TKTRANSFER_PROGRESS_H
#define TKTRANSFER_PROGRESS_H

#include "journal.h"

#include <string>

/// What a program shows on standard error: a line of progress, redrawn in place where that is a
/// terminal, and lines that stay.
class Progress {
  public:
    enum class Where {
        quiet, ///< nothing
        late,  ///< the lines that stay, at the end: the transfer itself runs over this terminal
        lines, ///< the lines that stay: it is no terminal
        live   ///< everything
    };

    explicit Progress(Where where) : m_Where(where) {}

    /// When the line of progress is to be drawn again.
    Deadline nextDraw() const;

    /// Draws it, unless it is too early. Without a file the far end is still awaited.
    void draw(const TkZModem &transfer, const std::optional<FileEntry> &file);

    /// A line about a file that is through. `verb` says what was done to it.
    void finished(const char *verb, const FileEntry &file);

    /// Takes the line of progress off and shows what was held back. The last call.
    void end();

  private:
    static constexpr std::chrono::milliseconds period{200};

    void clear();
    void flush();

    const Where m_Where;
    Clock::time_point m_NextDraw = Clock::now();
    std::size_t m_Drawn = 0; // columns
    std::string m_Held;
};

#endif
