#include "zanmsgreceiver.h"

#include "zanmsgdispatcher.h"

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/library/snmp_logging.h>

#include <cerrno>
#include <cstddef>
#include <sys/ipc.h>
#include <sys/msg.h>

namespace zansnmp {

namespace {

/// The header that every System V message begins with; events are nothing more.
struct EventMessage {
    long mtype;
};

/// Bytes of a message's body to receive.
constexpr std::size_t noBody = 0;

} // namespace

ZanMsgReceiver* ZanMsgReceiver::instance()
{
    static ZanMsgReceiver receiver;
    return &receiver;
}

bool ZanMsgReceiver::init(int key, ZanMsgDispatcher* eventDispatcher) noexcept
{
    dispatcher = eventDispatcher;
    if (queueId != -1) {
        return false;
    }
    queueId = msgget(key, IPC_CREAT | 0666);
    return queueId >= 0;
}

long ZanMsgReceiver::getNextMsg() noexcept
{
    if (queueId == -1) {
        return 0;
    }
    EventMessage message{};
    if (msgrcv(queueId, &message, noBody, 0, IPC_NOWAIT | MSG_NOERROR) >= 0) {
        snmp_log(LOG_DEBUG, "zanmsgreceiver: event [%ld] received", message.mtype);
        return message.mtype;
    }
    if (errno != ENOMSG) {
        snmp_log(LOG_WARNING, "failed to pull from message queue [errno=%d]", errno);
    }
    return 0;
}

void ZanMsgReceiver::consumeMessages() noexcept
{
    if (dispatcher == nullptr) {
        return;
    }
    while (const long id = getNextMsg()) {
        dispatcher->dispatchMessage(id);
    }
}

} // namespace zansnmp
