#include "platform/platform.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tkplatform {
namespace {

bool isRegular(int file) {
    struct stat facts {};
    return ::fstat(file, &facts) == 0 && S_ISREG(facts.st_mode);
}

} // namespace

bool fileFacts(const char *path, FileFacts *facts) {
    struct stat found {};
    if (::stat(path, &found) != 0 || !S_ISREG(found.st_mode)) {
        return false;
    }
    facts->size = static_cast<std::uint64_t>(found.st_size);
    facts->modified = found.st_mtime;
    return true;
}

std::FILE *createFile(const char *path) {
    // Without O_NONBLOCK the open of a pipe that nobody reads would wait for ever.
    constexpr int flags = O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    constexpr mode_t everyone = 0666; // less the process's mask
    const int file = ::open(path, flags | O_NOCTTY, everyone);
    if (file < 0) {
        return nullptr;
    }
    std::FILE *const stream = isRegular(file) ? ::fdopen(file, "wb") : nullptr;
    if (!stream) {
        ::close(file);
    }
    return stream;
}

} // namespace tkplatform
