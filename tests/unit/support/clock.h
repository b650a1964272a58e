#pragma once

/// The clock of the caches. The executable defines the agent library's get_uptime() itself, so that a test
/// holds the clock in its hand and waits for nothing.
namespace zantest {

/// Sets the uptime, in hundredths of a second.
void setUptime(long hundredths);

/// Lets so many seconds of uptime pass.
void passSeconds(long seconds);

} // namespace zantest
