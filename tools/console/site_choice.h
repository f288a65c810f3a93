#ifndef TKCONSOLE_SITE_CHOICE_H
#define TKCONSOLE_SITE_CHOICE_H

#include "display.h"
#include "input.h"
#include "relay_line.h"

#include <string>

/// Shows the sites of a relay and connects to one: to the one at `address`, or, when that is empty,
/// to the only one, or to the one that a person chooses if one types. Returns what was connected,
/// in words. Throws NoLine.
std::string connectToSite(RelayLine &line, const std::string &address, bool typed, Input &input,
                          Display &display, const Wakeup &wakeup);

#endif
