#pragma once

namespace talv {
/// For process attach: lets the C++ runtime set up what it keeps for good. False when there is no memory for
/// it.
///
/// The runtime of these builds takes memory where none is expected, and ends the process, which is the
/// host's, where there is none: a few bytes for each thread that throws or catches, a mutex before the
/// exceptions that it holds in reserve, another before the first static object of a function. So the host
/// would end just when std::bad_alloc is thrown. A library that calls these functions has room of its own for
/// all of it.
bool PrepareRuntime();
/// Gives the calling thread's room back; for thread detach.
void ReleaseRuntimeOfThread();
/// Gives everything back; for process detach.
void ReleaseRuntime();
}  // namespace talv
