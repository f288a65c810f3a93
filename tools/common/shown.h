#ifndef TKPROGRAMS_SHOWN_H
#define TKPROGRAMS_SHOWN_H

#include <string>

/// A text of somebody else's as it is shown: what could steer a terminal, or is no character,
/// becomes a dot.
std::string shownText(const std::string &text);

#endif
