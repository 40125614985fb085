// SIGINT and SIGTERM end a job between two tracks, so that half-made files are removed on the way
// out. A second signal ends the process at once. A pipe that nobody reads and a limit on the size
// of files end nothing by a signal: who writes is told by the write.
#ifndef VOR_TOOL_INTERRUPT_H
#define VOR_TOOL_INTERRUPT_H

namespace vor::tool {

void catch_signals();

// Thrown by stop_if_interrupted.
struct Interrupted {};

bool interrupted();
void stop_if_interrupted();

// Ends the process by the signal that came, so that its parent sees it.
void end_by_signal();

} // namespace vor::tool

#endif
