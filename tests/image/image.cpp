#include "image/image.h"

#include <boost/process.hpp>

#include <stdexcept>

namespace process = boost::process;
namespace fs = std::filesystem;

#ifndef KELP_LAUNCHER
#define KELP_LAUNCHER ""
#endif

namespace {

/// One shell serves all commands of an image, for every process costs a start. It takes commands that end in
/// a zero byte, and answers with their output, a zero byte and a line with their status.
constexpr const char *server =
    ". '" KELP_SCRIPTS "/image-verbs'; export KELP_LAUNCHER='" KELP_LAUNCHER "'; echo \"$IMAGE\"; "
    "while IFS= read -r -d '' commands; do (eval \"$commands\") </dev/null 2>&1; printf '\\0%d\\n' $?; done";

} // namespace

struct Image::Process {
    process::opstream commands;
    process::ipstream output;
    process::child child{KELP_SCRIPTS "/image", "bash", "-c", server,
                         process::std_in<commands, process::std_out> output};
};

Image::Image() : process_(std::make_unique<Process>()) {
    std::string mountPoint;
    if (!std::getline(process_->output, mountPoint))
        throw std::runtime_error("Couldn't make a system image");
    root_ = fs::path("/proc") / std::to_string(process_->child.id()) / "root" /
            fs::path(mountPoint).relative_path();
}

Image::~Image() {
    process_->child.terminate();
}

std::string Image::run(const std::string &commands) const {
    process_->commands << commands << '\0' << std::flush;
    std::string output;
    std::string status;
    std::getline(process_->output, output, '\0');
    std::getline(process_->output, status);
    if (status != "0")
        throw std::runtime_error("In the image, with status " + status + ": " + commands + "\n" + output);
    return output;
}
