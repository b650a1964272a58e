#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

// Stands in front of the C library for the calls that reach the system, and lets one of them fail: one that
// libcurl, the library's clock or the module makes while it serves the module. Everything else in the
// process, the agent's own calls above all, goes through as it is.
//
// Linked into a program, it is told by control(). Preloaded into an agent, it is told by the file that
// ZAN_CALLS names, in which the same record is shared with the test.
namespace calls {

/// The kinds of calls. `reading` is that of a file that fopen has opened.
enum class Kind {
    socket,
    socketpair,
    eventfd,
    pipe,
    connect,
    getsockname,
    getpeername,
    getsockopt,
    setsockopt,
    fcntl,
    poll,
    send,
    recv,
    read,
    write,
    close,
    fopen,
    reading,
    fclose,
    clock_gettime,
    gettimeofday,
    time,
    sigaction,
    msgget,
    msgrcv,
    count
};

constexpr std::size_t kindCount = static_cast<std::size_t>(Kind::count);

/// What is known of a kind.
struct Row {
    std::array<char, 16> name;
    std::int32_t manners; ///< in how many manners it can fail
    std::int32_t made;    ///< calls since the arming
};

/// What is to fail, and what has come of it. All numbers are those of the machine.
struct Control {
    std::int32_t kind = -1;   ///< that is to fail; -1: none
    std::int32_t manner = 0;  ///< from 0
    std::int32_t nth = 0;     ///< call of its kind, from 1
    std::int32_t reached = 0; ///< whether that call has been made
    std::array<Row, kindCount> rows{};
};

/// The record that the calls of this process go by.
Control& control();

/// Lets a call fail from now on, and counts anew.
void arm(std::size_t kind, int manner, int nth);

/// Ends that.
/// @return whether the call has been made
bool disarm();

/// How a manner is called: an errno's name, or what comes in its place.
const char* nameOf(std::size_t kind, int manner);

} // namespace calls
