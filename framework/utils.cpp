// Utils: directory walking on Boost.Filesystem, whose extension rule treats ".png" itself as
// a name with the extension ".png". Data files are opened without blocking and checked
// before a byte is read, so a pipe or a device under data/ is refused rather than waited on.
#include "utils.h"

#include <boost/filesystem.hpp>
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "logger.h"

namespace fs = boost::filesystem;

void Utils::iterateDirectory(std::string directory, std::string extension, std::vector<std::string>& files)
{
    Result listed = listFiles(directory, extension, files);
    if (!listed.ok()) fatal(listed.reason());
}

Result Utils::listFiles(const std::string& directory, const std::string& extension, std::vector<std::string>& files,
                        bool relative)
{
    boost::system::error_code code;
    std::string at = directory;  // what the walk was reading when it failed
    for (fs::recursive_directory_iterator it(directory, code), end; !code && it != end; it.increment(code)) {
        at = it->path().string();
        // An entry whose status cannot be read (a link that loops) is listed, and the reader
        // that opens it names it with the reason.
        boost::system::error_code unknown;
        if (fs::is_directory(it->status(unknown))) continue;
        if (it->path().extension().string() != extension) continue;
        files.push_back(relative ? it->path().lexically_relative(directory).string() : it->path().filename().string());
    }
    if (!code) return Result();
    return Result::refuse("Utils: Error! Cannot list " + at + ": " + code.message());
}

Result openData(const std::string& path, int& file)
{
    file = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    int reason = errno;
    struct stat status;
    if (file >= 0 && fstat(file, &status) == 0 && S_ISREG(status.st_mode)) return Result();

    std::string why;
    if (file >= 0) {
        close(file);
        why = "is not a regular file";
        reason = 0;
    } else if (reason == ENOENT || reason == ENOTDIR) {
        why = "does not exist";
    } else if (reason == EACCES || reason == EPERM) {
        why = "is unreadable";
    } else {
        why = std::string("cannot be opened (") + strerror(reason) + ")";
    }
    file = -1;
    errno = reason;
    return Result::refuse(why);
}

Result readData(const std::string& path, std::string& text)
{
    int file;
    Result opened = openData(path, file);
    if (!opened.ok()) return opened;
    text.clear();
    char buffer[65536];
    ssize_t got;
    while ((got = read(file, buffer, sizeof(buffer))) > 0) text.append(buffer, static_cast<size_t>(got));
    int reason = errno;
    close(file);
    errno = reason;
    if (got < 0) return Result::refuse(std::string("cannot be read (") + strerror(reason) + ")");
    return Result();
}

std::string refusal(const std::string& why, bool staged)
{
    return staged || why == "is not a regular file" ? why : "does not exist";
}

int toInt(const char* text)
{
    // strtol itself saturates at the range of long, which is wider than int here.
    return static_cast<int>(std::clamp<long>(strtol(text, nullptr, 10), INT_MIN, INT_MAX));
}
