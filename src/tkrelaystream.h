#ifndef TKRELAYSTREAM_H
#define TKRELAYSTREAM_H

#include "tkthread.h"

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

/// The relay's stream, which mixes command frames and data: a frame is the marker, the command's
/// text and 0x03; everything else is data. Server and endpoints read it with this. It has no lock.
///
/// Bytes that could begin the marker are held back until the next one decides. When it isn't the
/// marker they go on as data, with the byte that decided, which isn't looked at again.
class TkRelayStream {
  public:
    static constexpr std::string_view MARKER{"SYNC\xFF\x0A\x7D\x04"};
    static constexpr char END = 0x03;
    static constexpr std::size_t FRAME_LIMIT = 1024;  ///< bytes, marker and end included
    static constexpr unsigned long HOLD_PERIOD = 500; ///< ms

    /// Where data go, in order.
    class Sink {
      public:
        virtual void data(const char *bytes, std::size_t size) = 0;

      protected:
        ~Sink() = default;
    };

    /// Takes bytes up to the end of a command, and returns how many: fewer than `size` only when a
    /// command is complete, and none while one is.
    std::size_t take(const char *bytes, std::size_t size, Sink &sink);

    /// A command is complete, and waits to be taken.
    bool isCmdReady() const;

    /// Its text, up to takeCommand or clear.
    std::string_view command() const;

    /// Copies the command, at most `*length` bytes, which becomes their number, and goes on. Does
    /// nothing when there is none.
    void takeCommand(char *buffer, int *length);

    /// Gives up what has been held back and collected.
    void clear();

    /// What is held back won't go on as data any more; it can still turn out to be a marker. For a
    /// stream whose data go to somebody else from now on.
    void disownHeld();

    /// Hands on what has been held back for HOLD_PERIOD with nothing behind it: a message may end
    /// in a byte with which the marker begins.
    void releaseHeld(Sink &sink);
    bool isHolding() const;

    /// A command as it travels.
    static std::string frameOf(std::string_view command);

  private:
    void match(char byte, Sink &sink);
    void handOn(Sink &sink);
    std::size_t collect(const char *bytes, std::size_t size);

    std::array<char, FRAME_LIMIT> m_Frame; // the marker, text and end of the frame under way
    std::size_t m_nCount = 0;
    std::size_t m_nDisowned = 0; // so many of them aren't handed on
    bool m_bSynced = false;      // the marker has been read
    bool m_bTooLong = false;     // the frame is being dropped up to its end
    TkTimer m_HeldTimer{static_cast<long>(HOLD_PERIOD)};
};

#endif
