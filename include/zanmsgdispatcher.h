#pragma once

#include <map>

namespace zansnmp {

/// The ids of the events that the router's processes post. The events have no names beyond their numbers.
enum zanSnmpEventId : long {
    event1 = 1,
    event2,
    event3,
    event4,
    event5,
    event6,
    event7,
    event8,
    event9,
    event10,
    event11,
};

/// The router's traps switch: whether events become notifications. Used on the agent's only thread.
class ZanTrapsConfig {
public:
    /// The one object, made on first use with the switch off.
    static ZanTrapsConfig& instance();

    /// Reads the switch from the API, never from a cache.
    /// @return true on success; false when the API failed or the switch cannot be read as a boolean, which
    ///         is in the log; the switch stays as it was then
    bool Read() noexcept;

    /// The switch as last read; false before.
    bool isTrapsEnabled() const { return trapsEnabled; }

private:
    ZanTrapsConfig() = default;

    bool trapsEnabled = false;
};

/// Turns event ids into SNMPv2 notifications. Used on the agent's only thread.
class ZanMsgDispatcher {
public:
    /// The handler type of `handlers`. No event has one: all are dispatched by their number.
    class ZanMsgHandler;

    /// The one object, made on first use.
    static ZanMsgDispatcher* instance();

    /// Reads the traps switch.
    /// @return 0 on success; -1 on failure, which is in the log
    int init() noexcept;

    /// Sends the notification of an event to the agent's trap destinations when the traps switch is on.
    /// @param id  the event id; one other than 1 to 11 is logged and dropped
    void dispatchMessage(long id) noexcept;

private:
    ZanMsgDispatcher() = default;

    std::map<zanSnmpEventId, ZanMsgHandler*> handlers;
};

} // namespace zansnmp
