#include "text_file.h"

#include "console.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

/// The whole file. Only a regular one has a size: no other can hold the console up.
std::string contentsOf(const std::string &path, std::uintmax_t longest) {
    std::error_code error;
    const std::uintmax_t size = fs::file_size(path, error);
    if (error) {
        throw Failure("the file can't be read: " + error.message());
    }
    if (size > longest) {
        throw Failure("the file has " + std::to_string(size) + " bytes, none needs as many");
    }
    std::string text(size, '\0');
    std::ifstream file(path, std::ios::binary);
    if (!file.read(text.data(), static_cast<std::streamsize>(size))) {
        throw Failure("the file can't be read");
    }
    if (text.find('\0') != std::string::npos) {
        throw Failure("the file isn't text of single bytes");
    }
    return text;
}

/// Where the file itself is or will be: a link keeps pointing there.
fs::path placeOf(const std::string &path) {
    std::error_code error;
    if (!fs::exists(fs::symlink_status(path, error))) {
        return path;
    }
    if (!fs::is_regular_file(path, error)) {
        throw Failure("'" + path + "' is no file that could be replaced");
    }
    return fs::canonical(path, error);
}

std::string reason() {
    return std::generic_category().message(errno);
}

/// A new file with a name that no other has; gone again unless it has been kept.
class NewFile {
  public:
    explicit NewFile(std::string path)
        : m_Path(std::move(path)),
          m_File(open(m_Path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666)) {
        if (m_File < 0) {
            throw Failure("'" + m_Path + "' can't be written: " + reason());
        }
    }
    NewFile(const NewFile &) = delete;
    NewFile &operator=(const NewFile &) = delete;
    ~NewFile() {
        close(m_File);
        if (!m_Kept) {
            unlink(m_Path.c_str());
        }
    }

    /// With the rights of the file in whose place it goes, if there is one.
    void write(const std::string &text, const fs::path &place) {
        struct stat old {};
        if (stat(place.c_str(), &old) == 0 && fchmod(m_File, old.st_mode & 07777) != 0) {
            throw Failure("the file can't be written: " + reason());
        }
        std::size_t done = 0;
        while (done < text.size()) {
            const ssize_t count = ::write(m_File, text.data() + done, text.size() - done);
            if (count < 0 && errno != EINTR) {
                throw Failure("the file can't be written: " + reason());
            }
            done += count > 0 ? static_cast<std::size_t>(count) : 0;
        }
        if (fsync(m_File) != 0) {
            throw Failure("the file can't be written: " + reason());
        }
    }

    void keepAs(const fs::path &place) {
        if (rename(m_Path.c_str(), place.c_str()) != 0) {
            throw Failure("the file can't be replaced: " + reason());
        }
        m_Kept = true;
    }

  private:
    const std::string m_Path;
    const int m_File;
    bool m_Kept = false;
};

} // namespace

void readLines(const std::string &path, std::uintmax_t longest,
               const std::function<void(const std::string &line)> &take) {
    std::istringstream lines(contentsOf(path, longest));
    int number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        try {
            take(line);
        } catch (const Failure &failure) {
            throw Failure("line " + std::to_string(number) + ": " + failure.what());
        }
    }
}

void replaceFile(const std::string &path, const std::string &text) {
    const fs::path place = placeOf(path);
    NewFile file(place.string() + "." + std::to_string(getpid()) + ".new");
    file.write(text, place);
    file.keepAs(place);
}
