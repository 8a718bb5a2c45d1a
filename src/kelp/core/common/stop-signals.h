#pragma once

namespace Common {

/// Keeps SIGTERM, SIGINT and SIGHUP from ending this process: they stay pending, and stopRequested() reports
/// them. The caller asks stopRequested() between its operations, and ends when it is true. Call this before
/// the process has threads, and before librpm begins a transaction: at the end of that, librpm restores the
/// signal mask that it found.
void deferStopSignals();

/// Makes a write to a pipe without a reader fail with EPIPE, where SIGPIPE would end the process. Programs
/// that this process starts, such as scripts of packages, get the default action of SIGPIPE again. Call this
/// before librpm runs a transaction: after the run, librpm restores the handler that it found.
void ignoreBrokenPipes();

/// Whether one of the deferred signals has come, for example from a shutdown or from a person at a terminal.
bool stopRequested();

} // namespace Common
