#include "platform/platform.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tkplatform {
namespace {

/// Without O_NONBLOCK the open of a pipe waits for who is at its other end.
std::FILE *openRegular(int directory, const char *path, int flags, const char *mode) {
    constexpr mode_t everyone = 0666; // less the process's mask
    flags |= O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    const int file = ::openat(directory, path, flags, everyone);
    if (file < 0) {
        return nullptr;
    }
    struct stat facts {};
    const bool isRegular = ::fstat(file, &facts) == 0 && S_ISREG(facts.st_mode);
    std::FILE *const stream = isRegular ? ::fdopen(file, mode) : nullptr;
    if (!stream) {
        ::close(file);
    }
    return stream;
}

#ifdef O_PATH
constexpr int searchOnly = O_PATH; // of a directory that may not be listed too
#else
constexpr int searchOnly = O_RDONLY;
#endif

/// A directory that is walked down into. Where one is missing, or is a link, all fails from then
/// on.
class Directory {
  public:
    explicit Directory(const std::string &path)
        : m_Directory(::open(path.c_str(), searchOnly | O_DIRECTORY | O_CLOEXEC)) {}
    ~Directory() { close(); }
    Directory(const Directory &) = delete;
    Directory &operator=(const Directory &) = delete;

    void enter(const std::string &name) {
        const int flags = searchOnly | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
        const char *const below = name.empty() ? "." : name.c_str();
        const int next = name == ".." ? -1 : ::openat(m_Directory, below, flags);
        close();
        m_Directory = next;
    }

    int descriptor() const { return m_Directory; }

  private:
    void close() const {
        if (m_Directory >= 0) {
            ::close(m_Directory);
        }
    }

    int m_Directory;
};

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

std::FILE *openFile(const char *path) {
    return openRegular(AT_FDCWD, path, O_RDONLY, "rb");
}

bool seekTo(std::FILE *file, std::uint64_t position) {
    return ::fseeko(file, static_cast<off_t>(position), SEEK_SET) == 0;
}

std::FILE *createFile(const std::string &place, const std::string &name) {
    const std::size_t separator = place.rfind('/');
    const std::size_t begin = separator == std::string::npos ? 0 : separator + 1;
    std::string rest = place.substr(begin) + name;
    Directory directory(begin > 0 ? place.substr(0, begin) : ".");
    for (std::size_t slash = rest.find('/'); slash != std::string::npos; slash = rest.find('/')) {
        directory.enter(rest.substr(0, slash));
        rest.erase(0, slash + 1);
    }
    return openRegular(directory.descriptor(), rest.c_str(),
                       O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW, "wb");
}

} // namespace tkplatform
