#pragma once

#include <cstdio>

namespace Common::Rpm {

/// Has librpm read its configuration and macro files at the first call in the process; later calls do
/// nothing. When they cannot be read, one warning is logged and the library's built-in values serve. Every
/// constructor of this folder that reaches librpm calls this.
void initialise();

/// Has what librpm reports written to the log once it is initialised, and not to standard error: its lines
/// hold names of files and packages as they are. Does not touch the library.
void logLibrary();

/// Lets librpm report nothing at all from now on.
void silenceLibrary();

/// While one lives, what librpm reports goes nowhere: on a copy of the database it names files of which
/// nobody has heard. Whatever fails raises as ever.
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
