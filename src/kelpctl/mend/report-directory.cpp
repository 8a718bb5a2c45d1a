#include "kelpctl/mend/report-directory.h"

#include "kelpctl/mend/home-redaction.h"

#include "kelp/core/common/errors/error.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace KelpCtl {

namespace {

[[noreturn]] void raise(const std::string &what, const std::filesystem::path &path) {
    throw Common::Error(Common::ErrorCode::Filesystem, what + path.string(), errno);
}

} // namespace

ReportDirectory::ReportDirectory(const std::filesystem::path &path) : path_(path) {
    // Never into one that is there: it may be anybody's, or a link.
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
