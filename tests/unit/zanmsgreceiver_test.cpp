#include "zanmsgreceiver.h"

#include "zanconfig.h"
#include "zanmsgdispatcher.h"

#include "support/apitest.h"
#include "support/freshprocess.h"

#include <cerrno>
#include <cstring>
#include <limits>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <vector>

using namespace zantest;
using zansnmp::ZanMsgDispatcher;
using zansnmp::ZanMsgReceiver;

namespace {

constexpr int key = ZAN_ENTERPRISE_NUMBER;

/// The queue's identifier; -1 when there is none.
int existingQueue()
{
    return msgget(key, 0);
}

/// Posts an event as another process of the router does.
void post(int queue, long id)
{
    ASSERT_EQ(msgsnd(queue, &id, 0, IPC_NOWAIT), 0) << "errno " << errno;
}

std::string received(long id)
{
    return "zanmsgreceiver: event [" + std::to_string(id) + "] received";
}

/// The events whose notifications were sent, by the event's arc in the notification's OID.
std::vector<long> notifiedEvents()
{
    std::vector<long> events;
    for (const auto& varbinds : interposed().traps) {
        std::vector<oid> arcs(varbinds.front().bytes.size() / sizeof(oid));
        std::memcpy(arcs.data(), varbinds.front().bytes.data(), varbinds.front().bytes.size());
        events.push_back(static_cast<long>(arcs.at(10)));
    }
    return events;
}

/// The receiver is a singleton that opens its queue once: every test runs in a fresh process. The queue
/// belongs to the namespace and is taken away afterwards.
class ReceiverTest : public ApiTest {
protected:
    ReceiverTest() { freshResult(R"({"snmp": {"traps": {"enabled": true}}})"); }

    ~ReceiverTest() override
    {
        if (existingQueue() != -1) {
            msgctl(existingQueue(), IPC_RMID, nullptr);
        }
    }

    ZanMsgReceiver& receiver = *ZanMsgReceiver::instance();
    ZanMsgDispatcher* dispatcher = ZanMsgDispatcher::instance();

    /// Opens the queue in a process of its own, with traps on and nothing recorded.
    void open()
    {
        ASSERT_EQ(dispatcher->init(), 0);
        ASSERT_TRUE(receiver.init(key, dispatcher));
        queue = existingQueue();
        ASSERT_NE(queue, -1);
        resetInterposed();
    }

    int queue = -1;
};

// Opening.

TEST_F(ReceiverTest, IsOneObject)
{
    EXPECT_EQ(ZanMsgReceiver::instance(), &receiver);
}

TEST_F(ReceiverTest, InitMakesTheQueueReadableAndWritableByAll)
{
    inFreshProcess([this] {
        ASSERT_EQ(existingQueue(), -1);
        interposed().journal.clear();
        EXPECT_TRUE(receiver.init(key, dispatcher));
        EXPECT_EQ(interposed().journal, std::vector<std::string>{"msgget " + std::to_string(key) + " 01666"});
        msqid_ds state{};
        ASSERT_EQ(msgctl(existingQueue(), IPC_STAT, &state), 0);
        EXPECT_EQ(state.msg_perm.mode & 0777, 0666);
    });
}

TEST_F(ReceiverTest, InitFailsWhenTheQueueCannotBeOpened)
{
    inFreshProcess([this] {
        interposed().failQueueOpen = ENOSPC;
        EXPECT_FALSE(receiver.init(key, dispatcher));
        EXPECT_TRUE(takeLog().empty());
        EXPECT_EQ(receiver.getNextMsg(), 0) << "the queue is closed";
        EXPECT_TRUE(interposed().queueReads.empty());
        interposed().failQueueOpen = 0;
        EXPECT_TRUE(receiver.init(key, dispatcher)) << "a queue that was never opened may be tried again";
    });
}

TEST_F(ReceiverTest, SecondInitFailsAndKeepsTheQueue)
{
    inFreshProcess([this] {
        open();
        post(queue, 5);
        EXPECT_FALSE(receiver.init(key, dispatcher));
        EXPECT_FALSE(receiver.init(key + 1, dispatcher));
        EXPECT_EQ(interposed().journal, std::vector<std::string>{}) << "msgget was called again";
        EXPECT_EQ(receiver.getNextMsg(), 5);
    });
}

TEST_F(ReceiverTest, InitStoresTheDispatcherEvenWhenItFails)
{
    inFreshProcess([this] {
        open();
        EXPECT_FALSE(receiver.init(key, nullptr));
        post(queue, 5);
        receiver.consumeMessages(); // without a dispatcher
        EXPECT_TRUE(interposed().queueReads.empty());
        EXPECT_FALSE(receiver.init(key, dispatcher));
        receiver.consumeMessages();
        EXPECT_EQ(notifiedEvents(), std::vector<long>{5});
    });
    inFreshProcess([this] {
        ASSERT_EQ(dispatcher->init(), 0);
        interposed().failQueueOpen = EACCES;
        EXPECT_FALSE(receiver.init(key, dispatcher));
        interposed().journal.clear();
        takeLog();
        receiver.consumeMessages(); // with a dispatcher and no queue
        EXPECT_TRUE(interposed().queueReads.empty());
        EXPECT_TRUE(takeLog().empty());
    });
}

// One message.

TEST_F(ReceiverTest, ReadsTheHeaderOnlyWithoutWaiting)
{
    inFreshProcess([this] {
        open();
        receiver.getNextMsg();
        ASSERT_EQ(interposed().queueReads.size(), 1U);
        EXPECT_EQ(interposed().queueReads.front().size, 0U);
        EXPECT_EQ(interposed().queueReads.front().type, 0);
        EXPECT_EQ(interposed().queueReads.front().flags, IPC_NOWAIT | MSG_NOERROR);
    });
}

TEST_F(ReceiverTest, MessageIsItsTypeAndIsTraced)
{
    inFreshProcess([this] {
        open();
        for (const long id : {1L, 11L, 12L, 100000L, std::numeric_limits<long>::max()}) {
            post(queue, id);
            EXPECT_EQ(receiver.getNextMsg(), id);
            EXPECT_EQ(takeLog(), (LogLines{{7, received(id)}}));
        }
    });
}

TEST_F(ReceiverTest, ReadErrorsAreLoggedWithTheirNumber)
{
    inFreshProcess([this] {
        open();
        for (const int error : {EIDRM, EACCES, EINTR, EINVAL, E2BIG}) {
            interposed().failQueueRead = error;
            EXPECT_EQ(receiver.getNextMsg(), 0);
            EXPECT_EQ(
                takeLog(),
                (LogLines{{4, "failed to pull from message queue [errno=" + std::to_string(error) + "]"}}));
        }
        interposed().failQueueRead = ENOMSG;
        EXPECT_EQ(receiver.getNextMsg(), 0);
        EXPECT_TRUE(takeLog().empty());
    });
}

// Draining.

TEST_F(ReceiverTest, EventZeroIsRefusedByTheKernelAndNeverArrives)
{
    inFreshProcess([this] {
        open();
        constexpr long zero = 0; // what getNextMsg returns for an empty queue
        EXPECT_EQ(msgsnd(queue, &zero, 0, IPC_NOWAIT), -1);
        EXPECT_EQ(errno, EINVAL);
        post(queue, 3);
        receiver.consumeMessages();
        EXPECT_EQ(notifiedEvents(), std::vector<long>{3});
    });
}

TEST_F(ReceiverTest, ThreeMessagesAreDispatchedInTheOrderPosted)
{
    inFreshProcess([this] {
        open();
        for (const long id : {9L, 2L, 5L}) {
            post(queue, id);
        }
        receiver.consumeMessages();
        EXPECT_EQ(notifiedEvents(), (std::vector<long>{9, 2, 5}));
        EXPECT_EQ(takeLog(), (LogLines{{7, received(9)}, {7, received(2)}, {7, received(5)}}));
        receiver.consumeMessages();
        EXPECT_EQ(notifiedEvents().size(), 3U);
    });
}

TEST_F(ReceiverTest, FirstReadErrorEndsTheRunAndTheNextTriesAgain)
{
    inFreshProcess([this] {
        open();
        post(queue, 1);
        interposed().failQueueRead = EINTR;
        receiver.consumeMessages();
        EXPECT_EQ(interposed().queueReads.size(), 1U);
        interposed().failQueueRead = 0;
        receiver.consumeMessages();
        EXPECT_EQ(notifiedEvents(), std::vector<long>{1});
    });
}

TEST_F(ReceiverTest, WithoutADispatcherNothingIsRead)
{
    inFreshProcess([this] {
        EXPECT_TRUE(receiver.init(key, nullptr));
        post(existingQueue(), 1);
        receiver.consumeMessages();
        EXPECT_TRUE(interposed().queueReads.empty());
        EXPECT_EQ(receiver.getNextMsg(), 1) << "the message waits";
    });
}

} // namespace
