#ifndef TKGEN_PORTNAMES_H
#define TKGEN_PORTNAMES_H

#include <array>
#include <cstddef>
#include <string>

namespace tkplatform {

/// The names that stand for serial ports on every system.
constexpr std::array<const char *, 10> portNames = {"COM1", "COM2", "COM3", "COM4", "COM5",
                                                    "COM6", "COM7", "COM8", "COM9", "COM10"};

/// The path of the device that `name` stands for: what the application has mapped to one of the
/// names, else the system's own port of that number. Any other name is a path. From any thread;
/// throws std::bad_alloc.
std::string serialPath(const char *name);

/// The system's own path of portNames[index], from the backend.
std::string defaultSerialPath(std::size_t index);

} // namespace tkplatform

#endif
