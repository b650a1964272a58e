#include "zansnmpext.h"

#include "zanconfig.h"
#include "zanmsgdispatcher.h"
#include "zanmsgreceiver.h"

#include "support/apitest.h"
#include "support/freshprocess.h"
#include "support/objects.h"
#include "support/tables.h"

#include <algorithm>
#include <cerrno>
#include <set>
#include <sys/ipc.h>
#include <sys/msg.h>

using namespace zantest;

namespace {

const std::string number = std::to_string(ZAN_ENTERPRISE_NUMBER);

/// The calls that register all objects, in their order.
std::vector<std::string> registrationCalls()
{
    std::vector<std::string> calls;
    for (const Object* scalar : allScalars()) {
        calls.push_back("create " + scalar->name);
        calls.push_back("register scalar " + scalar->name);
    }
    for (const TableUnderTest* table : allTables()) {
        const std::string name = table->name;
        calls.push_back("create " + name);
        calls.push_back(std::string("log 7 ") + table->sourceTag + ": registering table " + name +
                        " as a table iterator\n");
        calls.push_back("register table " + name);
    }
    return calls;
}

const std::vector<std::string> readSwitchCalls{
    "log 7 zanjsondb:  executing [http://localhost/api?fields=snmp] request",
    "request",
};
const std::vector<std::string> openQueueCalls{"msgget " + number + " 01666"};
const std::vector<std::string> armAlarmCalls{"alarm 5 1"};
const std::vector<std::string> completeCalls{"log 7 zansnmpext:  initialization complete"};

std::vector<std::string> operator+(std::vector<std::string> first, const std::vector<std::string>& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

/// The entry changes the whole process: every test calls it in a fresh one.
class EntryTest : public ApiTest {
protected:
    EntryTest() { freshResult(R"({"snmp": {"traps": {"enabled": true}}})"); }

    ~EntryTest() override
    {
        const int queue = msgget(ZAN_ENTERPRISE_NUMBER, 0);
        if (queue != -1) {
            msgctl(queue, IPC_RMID, nullptr);
        }
    }
};

// The start.

TEST_F(EntryTest, StartsInItsOrder)
{
    inFreshProcess([] {
        init_zansnmpext();
        EXPECT_EQ(interposed().journal,
                  registrationCalls() + readSwitchCalls + openQueueCalls + armAlarmCalls + completeCalls);
    });
}

TEST_F(EntryTest, AlarmSendsTheNotificationsOfWaitingEvents)
{
    inFreshProcess([] {
        init_zansnmpext();
        ASSERT_EQ(interposed().alarms.size(), 1U);
        const long id = 7;
        ASSERT_EQ(msgsnd(msgget(ZAN_ENTERPRISE_NUMBER, 0), &id, 0, IPC_NOWAIT), 0);
        const Alarm& alarm = interposed().alarms.front();
        EXPECT_EQ(alarm.clientArgument, zansnmp::ZanMsgReceiver::instance());
        alarm.callback(1, alarm.clientArgument);
        EXPECT_EQ(interposed().traps.size(), 1U);
        alarm.callback(1, alarm.clientArgument);
        EXPECT_EQ(interposed().traps.size(), 1U);
    });
}

TEST_F(EntryTest, AlarmWithoutAReceiverDoesNothing)
{
    inFreshProcess([] {
        init_zansnmpext();
        takeLog();
        interposed().alarms.front().callback(1, nullptr);
        EXPECT_TRUE(interposed().queueReads.empty());
        EXPECT_TRUE(takeLog().empty());
    });
}

TEST_F(EntryTest, WithoutTheApiNotificationsAreDisabledAndTheObjectsRegistered)
{
    apiDown();
    inFreshProcess([] {
        init_zansnmpext();
        const std::vector<std::string> failure{
            "log 3  curl_easy_perform failed",
            "log 3 Failed to obtain traps configuration.\n",
            "log 3 message dispatcher is not created. Notifications will be disabled.\n",
        };
        EXPECT_EQ(interposed().journal, registrationCalls() + readSwitchCalls + failure + completeCalls);
        EXPECT_TRUE(interposed().alarms.empty());
        EXPECT_EQ(msgget(ZAN_ENTERPRISE_NUMBER, 0), -1) << "the queue was made";
    });
}

TEST_F(EntryTest, UnreadableSwitchDisablesNotifications)
{
    freshResult(R"({"snmp": {"traps": {"enabled": "yes"}}})");
    inFreshProcess([] {
        init_zansnmpext();
        const std::vector<std::string> failure{
            "log 3 exception caught",
            "log 3 Failed to obtain traps configuration.\n",
            "log 3 message dispatcher is not created. Notifications will be disabled.\n",
        };
        EXPECT_EQ(interposed().journal, registrationCalls() + readSwitchCalls + failure + completeCalls);
    });
}

TEST_F(EntryTest, WithoutAQueueNotificationsAreDisabledAndTheObjectsRegistered)
{
    inFreshProcess([] {
        interposed().failQueueOpen = ENOSPC;
        init_zansnmpext();
        const std::vector<std::string> failure{
            "log 3 system message queue hasn't created. Notifications will be disabled.\n"};
        EXPECT_EQ(interposed().journal,
                  registrationCalls() + readSwitchCalls + openQueueCalls + failure + completeCalls);
        EXPECT_TRUE(interposed().alarms.empty());
    });
}

TEST_F(EntryTest, TableThatCannotBeRegisteredLeavesTheRestOfTheStart)
{
    inFreshProcess([] {
        interposed().watchCalloc = true;
        interposed().failCallocs = {0}; // the first table's
        init_zansnmpext();
        interposed().watchCalloc = false;
        EXPECT_EQ(interposed().registered.size(), allScalars().size() + allTables().size() - 1);
        EXPECT_EQ(interposed().alarms.size(), 1U);
        const LogLines log = takeLog();
        EXPECT_EQ(std::count(log.begin(), log.end(), LogLine{3, ipsecTable.allocationMessage}), 1);
        EXPECT_EQ(log.back(), (LogLine{7, "zansnmpext:  initialization complete"}));
    });
}

// A second call, as after the agent has read its configuration anew.

TEST_F(EntryTest, SecondCallRegistersNothingAndKeepsTheOneAlarm)
{
    inFreshProcess([] {
        init_zansnmpext();
        interposed().journal.clear();
        init_zansnmpext();
        const std::vector<std::string> queueIsOpen{
            "log 3 system message queue hasn't created. Notifications will be disabled.\n"};
        EXPECT_EQ(interposed().journal, readSwitchCalls + queueIsOpen + completeCalls);
        EXPECT_EQ(interposed().alarms.size(), 1U);
        EXPECT_EQ(interposed().registered.size(), allScalars().size() + allTables().size());
    });
}

TEST_F(EntryTest, SecondCallReadsTheSwitchAnew)
{
    const auto withSwitch = [](const char* enabled) {
        return httpReply(envelope(R"({"snmp": {"traps": {"enabled": )" + std::string(enabled) + "}}}"));
    };
    api().setReplies({withSwitch("false"), withSwitch("true"), "", withSwitch("false")});
    inFreshProcess([] {
        const auto& config = zansnmp::ZanTrapsConfig::instance();
        init_zansnmpext();
        EXPECT_FALSE(config.isTrapsEnabled());
        init_zansnmpext();
        EXPECT_TRUE(config.isTrapsEnabled());
        init_zansnmpext(); // the API fails
        EXPECT_TRUE(config.isTrapsEnabled());
        init_zansnmpext();
        EXPECT_FALSE(config.isTrapsEnabled());
    });
}

TEST_F(EntryTest, SecondCallArmsTheAlarmThatTheFirstCouldNot)
{
    inFreshProcess([] {
        interposed().failQueueOpen = ENOSPC;
        init_zansnmpext();
        EXPECT_TRUE(interposed().alarms.empty());
        interposed().failQueueOpen = 0;
        interposed().journal.clear();
        init_zansnmpext();
        EXPECT_EQ(interposed().journal, readSwitchCalls + openQueueCalls + armAlarmCalls + completeCalls);
        EXPECT_EQ(interposed().alarms.size(), 1U);
        init_zansnmpext();
        EXPECT_EQ(interposed().alarms.size(), 1U);
    });
}

// The registrations.

TEST_F(EntryTest, ScalarsAreRegisteredInAscendingOrder)
{
    inFreshProcess([] {
        init_zansnmpext();
        const std::vector<const Object*> scalars = allScalars();
        ASSERT_EQ(interposed().created.size(), scalars.size() + allTables().size());
        ASSERT_EQ(interposed().registered.size(), scalars.size() + allTables().size());
        Oid last;
        for (std::size_t i = 0; i < scalars.size(); ++i) {
            const Object& scalar = *scalars[i];
            SCOPED_TRACE(scalar.name);
            const Created& created = interposed().created[i];
            EXPECT_EQ(created.name, scalar.name);
            EXPECT_EQ(created.oid, scalar.oid);
            EXPECT_TRUE(created.oid.size() == 12 || created.oid.size() == 13);
            EXPECT_EQ(created.modes, HANDLER_CAN_RONLY);
            EXPECT_LT(last, created.oid);
            EXPECT_EQ(interposed().registered[i].registration, created.registration);
            EXPECT_EQ(interposed().registered[i].info, nullptr);
            EXPECT_EQ(created.handler, interposed().created.front().handler);
            last = created.oid;
        }
    });
}

} // namespace
