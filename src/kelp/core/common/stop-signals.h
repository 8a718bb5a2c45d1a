#pragma once

namespace Common {

/// Keeps SIGTERM, SIGINT and SIGHUP from ending this process: they stay pending, for stopRequested() to see.
/// The caller ends at the next moment between two operations. Call it before any use of librpm, whose own
/// handlers for these signals would end the process anywhere.
void deferStopSignals();

/// Lets a write to a pipe without a reader fail (EPIPE) instead of ending the process. Programs that this
/// process starts, such as scripts of packages, have the signal's default again. Call it before any use of
/// librpm.
void ignoreBrokenPipes();

/// Whether one of the deferred signals has come: from a shutdown, or from a person at a terminal.
bool stopRequested();

} // namespace Common
