#include "platform/portnames.h"

#include "platform/platform.h"

#include <algorithm>
#include <mutex>
#include <new>
#include <string_view>

namespace {

using tkplatform::portNames;

struct PortMap {
    std::mutex lock; // guards `paths`; a leaf
    std::array<std::string, portNames.size()> paths;
};

/// Never destroyed: a static object may still open a port at the process's end.
PortMap &portMap() {
    static PortMap &map = *new PortMap;
    return map;
}

/// The place of `name` among the names; their number when it is none of them.
std::size_t portIndex(std::string_view name) {
    const auto found = std::find(portNames.begin(), portNames.end(), name);
    return static_cast<std::size_t>(found - portNames.begin());
}

} // namespace

std::string tkplatform::serialPath(const char *name) {
    const std::size_t index = portIndex(name);
    if (index == portNames.size()) {
        return name;
    }
    PortMap &map = portMap();
    const std::lock_guard<std::mutex> guard(map.lock);
    const std::string &mapped = map.paths[index];
    return mapped.empty() ? defaultSerialPath(index) : mapped;
}

bool tkMapSerialPort(const char *name, const char *device) {
    const std::size_t index = name ? portIndex(name) : portNames.size();
    if (index == portNames.size()) {
        return false;
    }
    try {
        std::string path = device ? device : "";
        PortMap &map = portMap();
        const std::lock_guard<std::mutex> guard(map.lock);
        map.paths[index].swap(path);
        return true;
    } catch (const std::bad_alloc &) {
        return false;
    }
}
