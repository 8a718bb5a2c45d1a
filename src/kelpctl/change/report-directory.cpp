#include "kelpctl/change/report-directory.h"

#include "kelp/core/common/errors/error.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>

namespace KelpCtl {

namespace {

bool isPartOfName(char character) {
    return std::isalnum(static_cast<unsigned char>(character)) || character == '_' || character == '-' ||
           character == '.' || character == '/';
}

std::size_t endOfPath(std::string_view text) {
    std::size_t end = std::min({text.find('\n'), text.find('"'), text.find('\0'), text.size()});
    for (const std::string_view stop : {": ", " -> "})
        end = std::min(end, text.find(stop));
    return end;
}

/// The length of the path below one of the homes with which the text begins; 0 if there is none.
std::size_t pathBelow(std::string_view text, const std::vector<std::string> &homes) {
    for (const std::string &home : homes)
        if (text.starts_with(home) && text.substr(home.size()).starts_with('/'))
            return endOfPath(text);
    return 0;
}

} // namespace

std::string withoutHomes(std::string_view text, const std::vector<std::string> &homes) {
    std::string result;
    while (!text.empty()) {
        const bool isStart = result.empty() || !isPartOfName(result.back());
        if (const std::size_t length = isStart ? pathBelow(text, homes) : 0) {
            result += "<home>";
            text.remove_prefix(length);
        } else {
            result += text.front();
            text.remove_prefix(1);
        }
    }
    return result;
}

namespace {

[[noreturn]] void raise(const std::string &what, const std::filesystem::path &path) {
    throw Common::Error(Common::ErrorCode::Filesystem, what + path.string(), errno);
}

} // namespace

ReportDirectory::ReportDirectory(const std::filesystem::path &path) : path_(path) {
    // Never into an existing directory: it may be foreign, or a link.
    if (::mkdir(path.c_str(), 0700) != 0)
        raise("Couldn't make the directory of the report: ", path);
    directory_ =
        Common::FileDescriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (directory_.get() < 0)
        raise("Couldn't open the directory of the report: ", path);
}

void ReportDirectory::write(const std::string &name, std::string_view text) const {
    const std::string shown = withoutHomes(text, homes_);
    Common::FileDescriptor file(
        ::openat(directory_.get(), name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    std::string_view rest = shown;
    while (file.get() >= 0 && !rest.empty()) {
        const ssize_t written = ::write(file.get(), rest.data(), rest.size());
        if (written < 0 && errno != EINTR)
            raise("Couldn't write ", path_ / name);
        rest.remove_prefix(written < 0 ? 0 : static_cast<std::size_t>(written));
    }
    if (file.get() < 0)
        raise("Couldn't write ", path_ / name);
    file.close();
}

} // namespace KelpCtl
