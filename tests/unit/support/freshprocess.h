#pragma once

#include <functional>
#include <mutex>

namespace zantest {

/// A thread of a test's holds this while it is awake. A child gets the locks of the allocator as they are: if
/// another thread held one of them at the fork, the child would wait for it for ever.
std::mutex& awakeMutex();

/// Runs `test` in a child of this process and fails the calling test when an expectation failed there or the
/// child ended otherwise than by itself. What `test` does to the statics of the module ends with the child.
/// The child reaches the parent's API server over the socket; of its object it may only use what the parent
/// set up before.
void inFreshProcess(const std::function<void()>& test);

} // namespace zantest
