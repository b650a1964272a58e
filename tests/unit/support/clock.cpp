#include "support/clock.h"

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/library/system.h>

namespace {

long uptime = 0;

} // namespace

long get_uptime()
{
    return uptime;
}

namespace zantest {

void setUptime(long hundredths)
{
    uptime = hundredths;
}

void passSeconds(long seconds)
{
    uptime += seconds * 100;
}

} // namespace zantest
