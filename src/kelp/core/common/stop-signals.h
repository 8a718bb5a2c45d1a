#pragma once

namespace Common {

/// Keeps SIGTERM, SIGINT and SIGHUP from ending this process: they stay pending, and stopRequested() reports
/// them. The caller asks stopRequested() between its operations, and ends when it is true. Call this before
/// librpm is first used: librpm's own handlers would end the process at any moment.
void deferStopSignals();

/// Makes a write to a pipe without a reader fail with EPIPE, where SIGPIPE would end the process. Programs
/// that this process starts, such as scripts of packages, get the default action of SIGPIPE again. Call this
/// before librpm is first used.
void ignoreBrokenPipes();

/// Whether one of the deferred signals has come: from a shutdown, or from a person at a terminal.
bool stopRequested();

} // namespace Common
