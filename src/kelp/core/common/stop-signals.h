#pragma once

namespace Common {

/// Keeps SIGTERM, SIGINT and SIGHUP from ending this process: they stay pending, for stopRequested() to see.
/// Whoever calls this ends at the next moment at which nothing is under way. To be called before librpm is
/// used, which has handlers of its own for these signals that would end the process anywhere.
void deferStopSignals();

/// Makes a write to a pipe that nobody reads any more a failed write (EPIPE), which ends no process. What
/// this process starts, such as scripts of packages, has the signal's default again. To be called before
/// librpm is used.
void ignoreBrokenPipes();

/// Whether one of the deferred signals has come: a shutdown, or a person at a terminal, wants an end.
bool stopRequested();

} // namespace Common
