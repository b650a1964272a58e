// What a snmpd needs beyond its own means to be the module's host; loaded before the module.
//
// AgentX as snmpd speaks it writes to its socket and waits until there is room. An agent whose subagent does
// not read, as the host while the API hangs, would wait with it after some hundred requests; and when the
// host sends hundreds of notifications at once, both would wait for each other for ever. Hence a thread that
// reads from both at any time.
//
// An answer that is longer than the agent takes is never heard of again, and the agent gives up the host for
// it. Hence a look at what is sent.
//
// And a subagent without an agent sends its notifications to nobody. Hence a hand on the module's alarm.

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <net-snmp/agent/agent_callbacks.h>

#include <dlfcn.h>
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
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

// In the library of every snmpd, and in none of its headers.
extern "C" snmp_alarm* sa_find_specific(unsigned int registration);

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

/// A descriptor of the connection to the agent, by which to see whether it stands; -1 while there is none.
int agentSocket = -1;

/// The result of a system call; its failure as an exception.
int checked(int result)
{
    if (result < 0) {
        throw std::system_error(errno, std::generic_category());
    }
    return result;
}

/// Puts the relay between the agent and snmpd, which keeps its descriptor.
void startRelay(int snmpdSocket)
{
    try {
        auto agent = std::make_unique<End>(checked(fcntl(snmpdSocket, F_DUPFD_CLOEXEC, 0)));
        std::array<int, 2> pair{};
        checked(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair.data()));
        auto host = std::make_unique<End>(pair[0]);
        const End snmpd(pair[1]);
        {
            const SignalsBlocked blocked;
            std::thread(relay, std::move(agent), std::move(host)).detach();
        }
        dup3(pair[1], snmpdSocket, O_CLOEXEC);
    } catch (const std::exception& error) {
        snmp_log(LOG_ERR, "zanhost: no relay to the agent: %s\n", error.what());
    }
}

/// The longest packet that the agent takes, in bytes. It drops a longer one without a word.
constexpr int longestPacket = 65536;

/// The library's own way to the agent.
decltype(netsnmp_transport::f_send) sendPacket = nullptr;

/// Sends a packet; in place of an answer that is too long, that it is.
int sendWhatIsTaken(netsnmp_transport* transport, const void* packet, int length, void** opaque,
                    int* opaqueLength)
{
    if (length <= longestPacket) {
        return sendPacket(transport, packet, length, opaque, opaqueLength);
    }
    // A header of 20 bytes, whose last four are the length of the rest: sysUpTime, error and index.
    std::array<unsigned char, 28> refusal{};
    std::memcpy(refusal.data(), packet, 16);
    const std::size_t lowByte = (refusal[2] & 0x10) != 0 ? 1 : 0; // the flag of the network's byte order
    refusal[16 + 3 * lowByte] = 8;
    refusal[24 + lowByte] = SNMP_ERR_TOOBIG;
    refusal[26 + lowByte] = 1; // not 0, with which the agent would make it a genErr
    return sendPacket(transport, refusal.data(), refusal.size(), opaque, opaqueLength);
}

/// A new connection to the agent.
int connected(int /*major*/, int /*minor*/, void* session, void* /*client*/)
{
    netsnmp_transport* transport =
        snmp_sess_transport(snmp_sess_pointer(static_cast<netsnmp_session*>(session)));
    if (transport != nullptr) {
        agentSocket = fcntl(transport->sock, F_DUPFD_CLOEXEC, 0);
        sendPacket = std::exchange(transport->f_send, sendWhatIsTaken);
        startRelay(transport->sock);
    }
    return SNMP_ERR_NOERROR;
}

/// Has snmpd connect at once, and not a whole agentXPingInterval later: its alarm for that, the only one
/// without an argument, stands behind this one.
void connectAtOnce(unsigned registration, void* /*client*/)
{
    for (snmp_alarm* alarm = sa_find_specific(registration); alarm != nullptr; alarm = alarm->next) {
        if (alarm->clientarg == nullptr) {
            alarm->t_nextM = {0, 1};
        }
    }
}

/// The connection to the agent is given up, or has not come about.
int disconnected(int /*major*/, int /*minor*/, void* /*session*/, void* /*client*/)
{
    if (agentSocket >= 0) {
        close(std::exchange(agentSocket, -1));
        snmp_alarm_register(0, 0, connectAtOnce, nullptr);
    }
    return SNMP_ERR_NOERROR;
}

/// The module's alarm, which takes the events from their queue and has the agent send notifications.
SNMPAlarmCallback* takeEvents = nullptr;

/// In its place: without an agent, the events stay in their queue. That the agent has hung up, snmpd notices
/// only when it reads the next time, which may be after the alarm.
void takeEventsWhenConnected(unsigned registration, void* receiver)
{
    pollfd polled{agentSocket, 0, 0};
    if (agentSocket >= 0 && poll(&polled, 1, 0) == 0) {
        takeEvents(registration, receiver);
    }
}

/// The first alarm after a reading of the configuration. Those that stand behind it are younger, the module's
/// among them if it has made it in that reading; its argument is an object of the module's.
void findTheModulesAlarm(unsigned registration, void* /*client*/)
{
    constexpr std::string_view module = "/zansnmpext.so";
    for (snmp_alarm* alarm = sa_find_specific(registration); alarm != nullptr; alarm = alarm->next) {
        Dl_info owner{};
        if (dladdr(alarm->clientarg, &owner) == 0) {
            continue;
        }
        const std::string_view file = owner.dli_fname;
        if (file.size() > module.size() && file.substr(file.size() - module.size()) == module) {
            takeEvents = std::exchange(alarm->thecallback, takeEventsWhenConnected);
        }
    }
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
        snmp_register_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_INDEX_STOP, disconnected, nullptr);
    }
    snmp_alarm_register(0, 0, findTheModulesAlarm, nullptr);
}
