#ifndef TKCRC_H
#define TKCRC_H

/// The 16-bit check of ZMODEM, most significant bit first. No start value and no last step are
/// built in: ZMODEM starts with 0 and takes the result as it is.
class TkCRC16 {
  public:
    unsigned short crc16(char c, unsigned short crc) const;

    /// Over the `length` bytes from `buf[start]`.
    unsigned short crc16(char const *buf, int start, int length, unsigned short crc) const;
};

/// A 32-bit check, least significant bit first, with the caller's start value and no last step.
class TkCRC32 {
  public:
    unsigned int crc32(char const *buf, int start, int length, unsigned int crc) const;
};

#endif
