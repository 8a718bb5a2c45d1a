#pragma once

#include <filesystem>
#include <memory>
#include <string>

/// A throw-away system image (scripts/image) with an rpm database of its own, for as long as the object
/// lives. It takes about a tenth of a second to make. Only root can make one.
///
///     Image image;
///     image.run("install_rpms /tmp/app.rpm && sign app developer KEY CN=Someone && launch");
///     EXPECT_TRUE(std::filesystem::exists(image.root() / "opt/app/app/current"));
class Image {
public:
    /// Throws std::runtime_error when no image can be made; the reason is on standard error.
    Image();
    Image(const Image &) = delete;
    Image &operator=(const Image &) = delete;
    /// Ends everything that still runs in the image. Nothing of it remains.
    ~Image();

    /// The image's root directory as this process reaches it. Absolute links in the image lead out of it.
    const std::filesystem::path &root() const { return root_; }

    /// Runs bash commands beside the image, with the functions of scripts/image-verbs and the variable IMAGE.
    /// They see the machine's files as this process does. `launch` runs the launcher of this build. Returns
    /// what they write to both standard streams; a zero byte would end it. Throws std::runtime_error, with
    /// that text, when they fail.
    std::string run(const std::string &commands) const;

private:
    struct Process;

    std::unique_ptr<Process> process_;
    std::filesystem::path root_;
};
