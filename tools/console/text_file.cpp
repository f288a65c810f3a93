#include "text_file.h"

#include "console.h"

#include <filesystem>
#include <fstream>
#include <sstream>

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
    if (!fs::exists(path, error)) {
        return path;
    }
    if (!fs::is_regular_file(path, error)) {
        throw Failure("'" + path + "' is no file that could be replaced");
    }
    return fs::canonical(path, error);
}

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
    fs::path beside = place;
    beside += ".new";
    std::ofstream file(beside, std::ios::binary);
    file.write(text.data(), static_cast<std::streamsize>(text.size()));
    file.close();
    std::error_code error;
    if (file) {
        fs::rename(beside, place, error);
    }
    if (!file || error) {
        std::error_code ignored;
        fs::remove(beside, ignored);
        throw Failure("the file can't be written" + (error ? ": " + error.message() : ""));
    }
}
