#pragma once

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <net-snmp/agent/agent_trap.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <system_error>

/// The port that the notifications of an agent in the test's own process are sent to. Open until the process
/// ends.
class Sink {
public:
    /// Makes it a trap destination of the agent.
    /// @throws std::system_error  when there is no port
    Sink()
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof(address);
        auto* generic = reinterpret_cast<sockaddr*>(&address);
        if (bind(socket, generic, length) != 0 || getsockname(socket, generic, &length) != 0) {
            throw std::system_error(errno, std::generic_category());
        }
        std::string line = "127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + " public";
        snmpd_parse_config_trap2sink("trap2sink", line.data());
    }

    /// How many notifications have come since the last call.
    std::size_t received() const
    {
        std::size_t count = 0;
        std::array<char, 1500> packet{};
        while (recv(socket, packet.data(), packet.size(), MSG_DONTWAIT) > 0) {
            ++count;
        }
        return count;
    }

private:
    int socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
};
