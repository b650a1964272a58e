#pragma once

#include <functional>

namespace zantest {

/// Runs `test` in a child of this process and fails the calling test when an expectation failed there or the
/// child ended otherwise than by itself. What `test` does to the statics of the module ends with the child.
/// The child reaches the parent's API server over the socket; of its object it may only use what the parent
/// set up before.
void inFreshProcess(const std::function<void()>& test);

} // namespace zantest
