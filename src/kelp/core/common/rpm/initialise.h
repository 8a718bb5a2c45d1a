#pragma once

namespace Common::Rpm {

/// Has librpm read its configuration and macro files at the first call in the process; later calls do
/// nothing. When they cannot be read, one warning is logged and the library's built-in values serve. Every
/// constructor of this folder that reaches librpm calls this.
void initialise();

/// Has what librpm reports written to the log from now on, and no longer to standard error: its lines hold
/// names of files and packages as they are.
void logLibrary();

/// Lets librpm report nothing at all from now on.
void silenceLibrary();

} // namespace Common::Rpm
