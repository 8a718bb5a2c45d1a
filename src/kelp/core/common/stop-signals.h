#pragma once

namespace Common {

/// Keeps SIGTERM, SIGINT and SIGHUP from ending this process: they stay pending, for stopRequested() to see.
/// The caller ends at the next moment between two operations. To be called before librpm is used, which has
/// handlers of its own for these signals that would end the process anywhere.
void deferStopSignals();

/// Lets a write to a pipe without a reader fail (EPIPE) instead of ending the process. Programs that this
/// process starts, such as scripts of packages, have the signal's default again. To be called before librpm
/// is used.
void ignoreBrokenPipes();

/// Whether one of the deferred signals has come: from a shutdown, or from a person at a terminal.
bool stopRequested();

} // namespace Common
