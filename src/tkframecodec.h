#ifndef TKFRAMECODEC_H
#define TKFRAMECODEC_H

#include "tkthread.h"
#include "tkvocabulary.h"

#include <cstddef>
#include <vector>

/// The byte that ends the text of every frame.
constexpr unsigned char TK_ETX = 0x03;

/// What std::atoi makes of a few characters, without a look behind them: blanks, a sign, digits up
/// to the first other character; 0 without a digit.
int tkNumberIn(const unsigned char *text, const unsigned char *end);

/// What the codecs share: the frame that was made last. encodedMsg may be used from any thread; who
/// needs the frame of his own encode keeps others out until he has it. Without memory encoding, and
/// the copy, throw std::bad_alloc.
class TkFrameCodec {
  public:
    TkFrameCodec(const TkFrameCodec &) = delete;
    TkFrameCodec &operator=(const TkFrameCodec &) = delete;

    /// A copy of the frame made last; empty when none could be made.
    std::vector<unsigned char> encodedMsg();

  protected:
    /// `source` and `line` are told when memory is short, `longest` is the usual frame's length at
    /// the most.
    TkFrameCodec(const char *source, int line, std::size_t longest);
    ~TkFrameCodec() = default;

    TkMutex m_Mutex; // guards all of a codec; no other lock is taken while it is held
    std::vector<unsigned char> m_Encoded TKGEN_GUARDED_BY(m_Mutex);
};

/// What the codecs of text items share: a value as text, and the items of a received frame. The
/// decoded items may be asked for from any thread, but for their number: that, and decoding, belong
/// to the thread that receives.
class TkItemCodec : public TkFrameCodec {
  public:
    /// How many items the frame decoded last has.
    int getNumCmds() const;

    /// An item's command and value, counted from 0. 0 outside the items.
    int decodedCmd(int index);
    int decodedValue(int index);

  protected:
    using Find = const TkTextItem *(*)(int number);

    /// `lead` is a mnemonic that begins a line of items and is none itself; 0 without one.
    TkItemCodec(const char *source, int line, std::size_t longest, Find find, int lead = 0)
        : TkFrameCodec(source, line, longest), m_Find(find), m_nLead(lead) {}
    ~TkItemCodec() = default;

    /// Begins a frame with a command. False, with the message empty, for one that isn't sent, and
    /// for a value of more than nine characters.
    bool encodeItem(int command, int value) TKGEN_REQUIRES(m_Mutex);

    /// Takes over the items from `text` up to `end`. False, with no items, when a mnemonic isn't
    /// received.
    bool decodeItems(const unsigned char *text, const unsigned char *end) TKGEN_REQUIRES(m_Mutex);
    void forgetItems() TKGEN_REQUIRES(m_Mutex);

  private:
    bool takeItems(const unsigned char *text, const unsigned char *end) TKGEN_REQUIRES(m_Mutex);
    const TkTextItem *receivedItem(const unsigned char *text, const unsigned char *end) const;
    int item(const std::vector<int> &items, int index);

    const Find m_Find;
    const int m_nLead;
    std::vector<int> m_Commands; // written by the receiving thread, under the lock
    std::vector<int> m_Values;   // likewise
};

#endif
