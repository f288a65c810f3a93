#ifndef TKGENERATORERRORS_H
#define TKGENERATORERRORS_H

#include "tkexport.h"

#include <array>

/// What the numbers of the generator's errors mean, for each family in its own words. All of it is
/// constant: any thread may read it at any time, and a text lives as long as the library.
class TKGEN_EXPORT TkGeneratorErrors {
  public:
    /// A text for every value of the one byte that an error has; "Unknown Error Code." where the
    /// family gives it no meaning.
    using Texts = std::array<const char *, 256>;

    static const Texts m_Arkona_Errors; ///< of the family Tk::GENERATOR_ARKONA, by number
    static const Texts m_BRN450_Errors; ///< of the family Tk::GENERATOR_BRN450, by number

    /// The text of a number that getError or getLatchedError gave, for the family that
    /// getGeneratorType of the engine tells; any other family is taken as GENERATOR_ARKONA. Number
    /// 0, with which they say that nothing waits, is "Successful".
    static const char *getErrorMessage(unsigned char code, int generatorType);
};

#endif
