#include "image/image.h"

#include <boost/process.hpp>

#include <iterator>
#include <stdexcept>
#include <vector>

namespace process = boost::process;
namespace fs = std::filesystem;

#ifndef KELP_LAUNCHER
#define KELP_LAUNCHER ""
#endif

namespace {

fs::path procDirectory(int id) {
    return fs::path("/proc") / std::to_string(id);
}

/// The command that runs `commands` in the namespaces of an image's process.
std::vector<std::string> commandLine(int id, const std::string &mountPoint, const std::string &commands) {
    const fs::path namespaces = procDirectory(id) / "ns";
    return {
        "nsenter",
        "--mount=" + (namespaces / "mnt").string(),
        "--pid=" + (namespaces / "pid_for_children").string(),
        "env",
        "IMAGE=" + mountPoint,
        "KELP_LAUNCHER=" KELP_LAUNCHER,
        "bash",
        "-c",
        ". '" KELP_SCRIPTS "/image-verbs'\n" + commands,
    };
}

} // namespace

struct Image::Process {
    process::ipstream output;
    process::child child{KELP_SCRIPTS "/image", "sh", "-c", "echo \"$IMAGE\"; exec sleep infinity",
                         process::std_in<process::null, process::std_out> output};
};

Image::Image() : process_(std::make_unique<Process>()) {
    std::string mountPoint;
    if (!std::getline(process_->output, mountPoint))
        throw std::runtime_error("Couldn't make a system image");
    mountPoint_ = mountPoint;
    root_ = procDirectory(process_->child.id()) / "root" / mountPoint_.relative_path();
}

Image::~Image() {
    process_->child.terminate();
}

std::string Image::run(const std::string &commands) const {
    const auto line = commandLine(process_->child.id(), mountPoint_, commands);
    process::ipstream stream;
    process::child child(process::search_path(line.front()),
                         process::args(std::vector(line.begin() + 1, line.end())),
                         process::std_in<process::null, (process::std_out & process::std_err)> stream);
    std::string output(std::istreambuf_iterator<char>(stream), {});
    child.wait();
    if (child.exit_code() != 0)
        throw std::runtime_error("In the image, with status " + std::to_string(child.exit_code()) + ": " +
                                 commands + "\n" + output);
    return output;
}
