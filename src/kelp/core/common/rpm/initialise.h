#pragma once

#include <cstdio>

namespace Common::Rpm {

/// Makes librpm read its configuration and macro files, at the first call in the process; later calls do
/// nothing. If librpm cannot read them, this logs one warning, and librpm's built-in values apply. Every
/// constructor of this folder that needs this configuration calls this.
void initialise();

/// Makes the first initialise() send librpm's messages to the log, and not to standard error: they hold raw
/// names of files and packages. Does not touch the library.
void logLibrary();

/// Makes the C library return each block of 128 KiB or more to the system when it is freed. By default, a
/// larger block that is freed raises that limit to its own size. Later blocks below the new limit stay with
/// the process after they are freed, with holes between them. The fixed limit suits a program that reads
/// packages: their headers may take megabytes, and it seldom needs other large blocks.
void giveBackLargeBlocks();

/// Silences librpm from now on.
void silenceLibrary();

/// While one lives, librpm is silent: on a copy of the database it would name files that nobody knows.
/// Failures raise as ever.
class QuietLibrary {
public:
    QuietLibrary();
    QuietLibrary(const QuietLibrary &) = delete;
    QuietLibrary &operator=(const QuietLibrary &) = delete;
    ~QuietLibrary();

private:
    std::FILE *nowhere_;
    std::FILE *before_;
};

} // namespace Common::Rpm
