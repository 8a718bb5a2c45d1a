#pragma once

#include "image/image-fixture.h"

#include <string>

/// A machine with the sample applications, as rpm has installed them, and kelpctl on it.
class OldMachineFixture : public ImageFixture {
protected:
    void SetUp() override {
        ImageFixture::SetUp();
        if (IsSkipped())
            return;
        run(". " KELP_SAMPLES "/setup; install_samples " KELP_RPMS
            "/samples 2>/dev/null; sign_samples; add_sample_users; "
            "provide_program " KELPCTL " usr/sbin/kelpctl");
    }

    std::string run(const std::string &commands) const { return image().run(commands); }

    /// Runs shell commands with the image as their root, in "/".
    std::string there(const std::string &commands) const {
        return run("in_image sh -ec \"$(cat <<'END'\ncd /\n" + commands + "\nEND\n)\"");
    }

    /// What kelpctl writes to both streams, and a last line with its exit status.
    std::string kelpctl(const std::string &arguments) const {
        return run("in_image kelpctl " + arguments + " || echo status $?");
    }

    /// Everything on the machine that a program of ours could have changed by a look at it, in its temporary
    /// directory excepted.
    std::string everything() const {
        return run(
            "cd $IMAGE && find etc/rpm home opt srv usr/share/applications usr/share/common var/lib/kelp "
            "var/lib/package-signatures var/lib/rpm var/lib/trusted-sources "
            "-printf '%p %y %m %s %T@ %l\\n' | sort");
    }
};

/// The same machine when the launcher has brought it over.
class MachineFixture : public OldMachineFixture {
protected:
    void SetUp() override {
        OldMachineFixture::SetUp();
        if (!IsSkipped())
            run("launch");
    }
};
