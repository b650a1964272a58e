// Readings of the event queue, through receiver and dispatcher.
//
// The input is a byte for the traps switch and then readings of five bytes each: an errno (0: a message) and
// the message's type. The queue is drained once per reading at most; what is sent and what is logged is
// compared with a model of a few lines.

#include "support/world.h"

#include "zanmsgdispatcher.h"
#include "zanroot.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

using namespace world;

constexpr std::size_t readingSize = 5;

std::vector<Reading> readingsOf(const std::uint8_t* data, std::size_t size)
{
    std::vector<Reading> readings;
    for (std::size_t at = 0; at + readingSize <= size; at += readingSize) {
        std::int32_t type = 0;
        std::memcpy(&type, data + at + 1, sizeof(type));
        readings.push_back({data[at], type});
    }
    return readings;
}

Trap notification(long id)
{
    const auto oid = zansnmp::belowRoot(2, id, 1);
    return {oid.arcs.begin(), oid.arcs.begin() + oid.length};
}

struct Expected {
    std::vector<Trap> traps;
    std::vector<std::string> lines;
};

/// What all readings lead to: an empty queue, an error and a message of type 0 end a run, the next goes on.
Expected expected(const std::vector<Reading>& readings, bool enabled)
{
    Expected result;
    for (const Reading& reading : readings) {
        if (reading.error == ENOMSG) {
            continue;
        }
        if (reading.error != 0) {
            result.lines.push_back(
                "failed to pull from message queue [errno=" + std::to_string(reading.error) + "]");
            continue;
        }
        result.lines.push_back("zanmsgreceiver: event [" + std::to_string(reading.type) + "] received");
        if (reading.type == 0) {
            continue;
        }
        if (!enabled) {
            result.lines.emplace_back(
                "zanmsgdispatcher: SNMP traps disabled in configuration. Ignoring event.");
        } else if (reading.type >= 1 && reading.type <= 11) {
            result.traps.push_back(notification(reading.type));
        } else {
            result.lines.push_back("unknown notification received [" + std::to_string(reading.type) + "].\n");
        }
    }
    return result;
}

void setSwitch(bool enabled)
{
    api().answer = Answer::body;
    api().text = envelope(enabled ? R"({"snmp":{"traps":{"enabled":true}}})" : R"({"snmp":{"traps":{}}})");
    require(zansnmp::ZanTrapsConfig::instance().Read(), "the traps switch cannot be read");
    require(zansnmp::ZanTrapsConfig::instance().isTrapsEnabled() == enabled, "the traps switch is another");
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    startModule(true);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0) {
        return -1;
    }
    const bool enabled = (data[0] & 1U) != 0;
    setSwitch(enabled);
    const std::vector<Reading> readings = readingsOf(data + 1, size - 1);
    queue().readings.assign(readings.begin(), readings.end());
    log().lines.clear();
    log().record = true;
    traps().clear();
    for (std::size_t runs = 0; runs <= readings.size(); ++runs) {
        alarm()(1, alarmArgument());
    }
    log().record = false;
    require(queue().readings.empty(), "a run per reading does not drain the queue");

    const Expected wanted = expected(readings, enabled);
    require(traps() == wanted.traps, "other notifications than the events'");
    require(log().lines.size() == wanted.lines.size(), "other lines in the log");
    for (std::size_t i = 0; i < wanted.lines.size(); ++i) {
        require(log().lines[i].text == wanted.lines[i], "another line in the log");
    }
    return 0;
}
