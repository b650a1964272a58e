// What a snmpd needs beyond its own means to be the module's host; loaded before the module.
//
// AgentX as snmpd speaks it writes to its socket and waits until there is room. An agent whose subagent does
// not read, as the host while the API hangs, would wait with it after some hundred requests; and when the
// host sends hundreds of notifications at once, both would wait for each other for ever. Hence a thread that
// reads from both at any time.

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <net-snmp/agent/agent_callbacks.h>

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>
#include <memory>
#include <string>
#include <thread>
#include <utility>

namespace {

/// One end of the relay: a socket, and what waits to be written to it.
class End {
public:
    explicit End(int socket) : socket_(socket) {}
    ~End() { close(socket_); }
    End(const End&) = delete;
    End& operator=(const End&) = delete;

    pollfd wanted() const
    {
        return {socket_, static_cast<short>(waiting_.empty() ? POLLIN : POLLIN | POLLOUT), 0};
    }

    /// Takes over what has arrived here, for the other end.
    /// @return false at the end of the connection
    bool read(End& other)
    {
        std::array<char, 65536> chunk{};
        const ssize_t length = recv(socket_, chunk.data(), chunk.size(), MSG_DONTWAIT);
        if (length > 0) {
            other.waiting_.append(chunk.data(), static_cast<std::size_t>(length));
        }
        return length > 0 || (length < 0 && later());
    }

    /// Writes what there is room for.
    /// @return false at the end of the connection
    bool write()
    {
        const ssize_t length = send(socket_, waiting_.data(), waiting_.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (length > 0) {
            waiting_.erase(0, static_cast<std::size_t>(length));
        }
        return length >= 0 || later();
    }

private:
    static bool later() { return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR; }

    int socket_;
    std::string waiting_;
};

/// Hands on what comes, in both directions, until one end hangs up. What the agent has sent before that is
/// gone with its connection; what the host has sent still goes out as far as there is room.
void relay(const std::unique_ptr<End> agent, const std::unique_ptr<End> host)
{
    bool open = true;
    while (open) {
        std::array<pollfd, 2> polled{agent->wanted(), host->wanted()};
        if (poll(polled.data(), polled.size(), -1) < 0 && errno != EINTR) {
            return;
        }
        open = ((polled[0].revents & ~POLLOUT) == 0 || agent->read(*host)) &&
               ((polled[1].revents & ~POLLOUT) == 0 || host->read(*agent));
        open = agent->write() && host->write() && open;
    }
}

/// Signals are snmpd's, not the relay's.
class SignalsBlocked {
public:
    SignalsBlocked()
    {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t before_{};
};

/// A new connection to the agent: the relay comes between it and snmpd, which keeps its descriptor.
int connected(int /*major*/, int /*minor*/, void* argument, void* /*client*/)
{
    netsnmp_transport* transport =
        snmp_sess_transport(snmp_sess_pointer(static_cast<netsnmp_session*>(argument)));
    std::array<int, 2> pair{};
    if (transport == nullptr || socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair.data()) != 0) {
        snmp_log(LOG_ERR, "zanhost: no relay to the agent: %s\n", std::strerror(errno));
        return SNMP_ERR_NOERROR;
    }
    try {
        auto agent = std::make_unique<End>(fcntl(transport->sock, F_DUPFD_CLOEXEC, 0));
        auto host = std::make_unique<End>(pair[0]);
        dup3(pair[1], transport->sock, O_CLOEXEC);
        const SignalsBlocked blocked;
        std::thread(relay, std::move(agent), std::move(host)).detach();
    } catch (const std::exception& error) {
        snmp_log(LOG_ERR, "zanhost: no relay to the agent: %s\n", error.what());
    }
    close(pair[1]);
    return SNMP_ERR_NOERROR;
}

/// The module loader's own objects, which tell what is loaded: the agent has them, too, and would refuse the
/// host's with an error in both logs.
void withdrawLoader()
{
    oid nextIndex[] = {1, 3, 6, 1, 4, 1, 2021, 13, 14, 1};
    unregister_mib(nextIndex, OID_LENGTH(nextIndex));
    for (oid column = 2; column <= 5; ++column) {
        oid entry[] = {1, 3, 6, 1, 4, 1, 2021, 13, 14, 2, 1, column};
        unregister_mib(entry, OID_LENGTH(entry));
    }
}

} // namespace

extern "C" __attribute__((visibility("default"))) void init_zanhost()
{
    static bool first = true;
    if (first) {
        first = false;
        withdrawLoader();
        snmp_register_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_INDEX_START, connected, nullptr);
    }
}
