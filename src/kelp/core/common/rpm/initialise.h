#pragma once

namespace Common::Rpm {

/// Has librpm read its configuration and macro files at the first call in the process; later calls do
/// nothing. When they cannot be read, one warning is logged and the library's built-in values serve. Every
/// constructor of this folder that reaches librpm calls this.
void initialise();

/// Lets librpm report nothing on standard error from now on: its lines hold names of files and packages as
/// they are.
void silenceLibrary();

} // namespace Common::Rpm
