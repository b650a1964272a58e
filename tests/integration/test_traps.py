"""From the event queue to the manager's trap port."""

import random
import threading

import pytest

from harness import (ERROR, EVERYTHING, HOSTED, NOTIFICATIONS, WARNING, TrapListener, kernel_limit,
                     long_size)
from harness.messages import PULL_FAILED, SWITCH_EXCEPTION, SWITCH_UNREAD, TRAPS_DISABLED, received, unknown
from harness.snmp import (OBJECT_ID, SNMP_TRAP_OID, SYS_UPTIME, TIMETICKS, TRAP2, encode, encode_message,
                          encode_oid)

EVENTS = range(1, 12)


@pytest.fixture
def notifier(make_agent, api, queue, traps):
    """An agent with notifications on; its queue is empty and its own start is forgotten."""
    agent = make_agent().start()
    traps.clear()
    agent.mark()
    return agent


# --- the notification ---------------------------------------------------------------------------------------

@pytest.mark.parametrize("event", EVENTS)
def test_an_event_is_one_notification_byte_for_byte(notifier, queue, traps, event):
    before = notifier.client.value(SYS_UPTIME)
    queue.post(event)
    notifier.fire_alarm()
    after = notifier.client.value(SYS_UPTIME)
    (trap,) = traps.traps()
    uptime = trap.message.varbinds[0]
    assert (uptime.oid, uptime.tag) == (SYS_UPTIME, TIMETICKS)
    assert HOSTED or before <= uptime.value <= after  # a host tells its own, which nobody can ask for
    notification = NOTIFICATIONS + (event, 1)
    assert trap.raw == encode_message(1, b"public", TRAP2, trap.message.request_id, 0, 0, [
        (SYS_UPTIME, encode(TIMETICKS, uptime.raw)),
        (SNMP_TRAP_OID, encode_oid(notification))])
    assert trap.message.varbinds[1] == (SNMP_TRAP_OID, OBJECT_ID, encode_oid(notification)[2:])
    assert len(notification) == 12
    assert notifier.take(EVERYTHING) == received(event)


def test_events_between_two_alarms_go_out_at_the_next_in_the_order_posted(notifier, queue, traps):
    for event in (3, 11, 1):
        queue.post(event)
    notifier.synchronise()
    assert traps.traps() == [] and queue.count() == 3
    notifier.fire_alarm()
    assert traps.events() == [3, 11, 1] and queue.count() == 0
    notifier.fire_alarm()
    assert traps.events() == [3, 11, 1]
    assert notifier.take(EVERYTHING) == received(3, 11, 1)


def test_the_alarm_comes_every_five_seconds_and_not_before(notifier, queue, traps):
    notifier.fire_alarm()
    for _ in range(3):
        queue.post(5)
        notifier.alarm_clock.advance(4.5)
        notifier.synchronise()
        assert queue.count() == 1
        notifier.alarm_clock.advance(0.5)
        notifier.synchronise()
        assert queue.count() == 0
    assert traps.events() == [5, 5, 5]


def test_the_alarm_comes_by_itself(notifier, queue, traps):
    queue.post(9)
    assert [trap.trap_oid for trap in traps.wait(1)] == [NOTIFICATIONS + (9, 1)]


def test_a_notification_goes_to_every_destination(make_agent, api, queue, traps):
    second = TrapListener()
    agent = make_agent(extra_configuration=f"trap2sink 127.0.0.1:{second.port} other").start()
    queue.post(7)
    agent.fire_alarm()
    assert traps.events() == second.events() == [7]
    assert [listener.traps()[0].message.community for listener in (traps, second)] == [b"public", b"other"]


def test_without_a_destination_the_event_is_consumed(make_agent, api, queue):
    agent = make_agent(trap_port=None).start()
    agent.mark()
    queue.post(7)
    agent.fire_alarm()
    assert queue.count() == 0
    assert agent.take(EVERYTHING) == received(7)


# --- the queue ----------------------------------------------------------------------------------------------

def test_an_empty_queue_makes_no_log_line_at_all(notifier, traps):
    notifier.fire_alarm(10)
    assert notifier.take(EVERYTHING) == b""
    assert traps.traps() == []


def test_the_queue_is_made_with_the_enterprise_number_for_everyone(notifier, queue):
    state = queue.state()
    assert (state.key, state.mode) == (queue.key, 0o666)
    assert len(queue.all_queues()) == 1


def test_a_queue_that_exists_is_used_with_what_waits_in_it(make_agent, api, queue, traps):
    identifier = queue.create()
    queue.post(4)
    agent = make_agent().start()
    agent.fire_alarm()
    assert traps.events() == [4]
    assert queue.state().identifier == identifier


def test_a_thousand_events_wait_at_start_up(make_agent, api, queue, traps):
    events = [random.Random(5).choice(EVENTS) for _ in range(1000)]
    queue.create()
    for event in events:
        queue.post(event)
    agent = make_agent().start()
    agent.mark()
    agent.fire_alarm()
    assert traps.events() == events
    assert agent.take(EVERYTHING) == received(*events)


@pytest.mark.parametrize("length", [1, 3, 4, 8, 100, 4096, 8192])
def test_a_body_of_any_length_is_discarded(notifier, queue, traps, length):
    queue.post(2, b"\xff" * length)
    queue.post(6)
    notifier.fire_alarm()
    assert traps.events() == [2, 6]
    assert notifier.take(EVERYTHING) == received(2, 6)


def test_an_unknown_event_is_logged_and_sends_nothing(notifier, queue, traps):
    unknown_events = [12, 13, 99, 256 + 7, 65536 + 7, 2147483647]
    if long_size() > 4:
        unknown_events += [2147483648, 4294967296 + 7, 2**63 - 1]
    for event in unknown_events:
        queue.post(event)
        queue.post(7)  # which it does not hold up
    notifier.fire_alarm()
    assert traps.events() == [7] * len(unknown_events)
    assert notifier.take(EVERYTHING) == b"".join(received(event) + unknown(event) + received(7)
                                                 for event in unknown_events)


def test_a_full_queue_is_drained_in_one_alarm(notifier, queue, traps):
    with kernel_limit("msgmnb", 2000):
        queue.remove()  # the limit of a queue is that of its making
        assert notifier.stop() == 0
        notifier.start()
        notifier.mark()
        posted = queue.post_until_full(8, b"x" * 100)
        assert posted == 20
        notifier.fire_alarm()
        assert traps.events() == [8] * posted
        assert queue.post_until_full(9, b"") > 0
        notifier.fire_alarm()
        assert queue.count() == 0
        assert notifier.take(ERROR) == notifier.take(WARNING) == b""


def test_another_process_drains_the_same_queue(notifier, queue, traps):
    for event in EVENTS:
        queue.post(event)
    assert [queue.take() for _ in range(4)] == [1, 2, 3, 4]
    notifier.fire_alarm()
    assert traps.events() == [5, 6, 7, 8, 9, 10, 11]
    assert queue.take() is None
    assert notifier.take(WARNING) == b""


def test_another_process_drains_at_the_same_time_and_each_event_arrives_once(notifier, queue, traps):
    taken = []
    finished = threading.Event()

    def compete() -> None:
        while not finished.is_set() or queue.count():
            event = queue.take()
            if event is not None:
                taken.append(event)

    rival = threading.Thread(target=compete)
    rival.start()
    posted = []
    for number in range(40):
        for event in (number % 11 + 1,) * 5:
            queue.post(event)
            posted.append(event)
        notifier.fire_alarm()
    finished.set()
    rival.join()
    notifier.fire_alarm()
    assert sorted(taken + traps.events()) == sorted(posted)
    assert notifier.take(WARNING) == b""


def test_a_removed_queue_is_one_warning_an_alarm_and_nothing_else(notifier, queue, api, traps):
    queue.remove()
    for _ in range(3):
        notifier.fire_alarm()
        assert notifier.take(EVERYTHING) == PULL_FAILED
    # Made again it is another queue, which this life of the module never opens.
    queue.create()
    queue.post(7)
    notifier.fire_alarm(2)
    assert notifier.take(EVERYTHING) == PULL_FAILED * 2
    assert queue.count() == 1 and traps.traps() == []


def test_a_queue_removed_with_events_in_it_loses_them_without_a_crash(notifier, queue, traps):
    for event in EVENTS:
        queue.post(event)
    queue.remove()
    notifier.fire_alarm()
    assert traps.traps() == []
    assert notifier.take(WARNING) == PULL_FAILED


def test_a_restarted_agent_opens_the_new_queue_and_delivers_what_waited(notifier, queue, traps):
    queue.remove()
    queue.create()
    queue.post(10)
    assert notifier.stop() == 0
    notifier.start()
    notifier.fire_alarm()
    assert traps.events() == [10]


def test_the_queue_outlives_the_agent(notifier, queue):
    queue.post(3)
    assert notifier.stop() == 0
    assert queue.count() == 1


# --- the switch ---------------------------------------------------------------------------------------------

@pytest.mark.parametrize("enabled", [True, False])
def test_the_switch_decides_whether_events_go_out(make_agent, api, queue, traps, enabled):
    api.fields["snmp"]["traps"]["enabled"] = enabled
    agent = make_agent().start()
    assert agent.log(ERROR) == b""
    agent.mark()
    queue.post(7)
    queue.post(8)
    agent.fire_alarm()
    assert queue.count() == 0
    assert traps.events() == ([7, 8] if enabled else [])
    tail = b"" if enabled else TRAPS_DISABLED
    assert agent.take(EVERYTHING) == received(7) + tail + received(8) + tail


def test_a_switch_that_cannot_be_read_leaves_notifications_off(make_agent, api, queue, traps):
    api.fields["snmp"]["traps"]["enabled"] = "yes"
    agent = make_agent().start()
    assert agent.log(ERROR) == SWITCH_EXCEPTION + SWITCH_UNREAD
    assert queue.state() is None
    api.fields["snmp"]["traps"]["enabled"] = True
    queue.create()
    queue.post(7)
    agent.mark()
    agent.fire_alarm(2)
    assert agent.take(EVERYTHING) == b""
    assert queue.count() == 1 and traps.traps() == []


def test_an_unknown_event_with_traps_disabled_is_only_ignored(make_agent, api, queue):
    api.fields["snmp"]["traps"]["enabled"] = False
    agent = make_agent().start()
    agent.mark()
    queue.post(12)
    agent.fire_alarm()
    assert agent.take(EVERYTHING) == received(12) + TRAPS_DISABLED


def test_the_switch_is_read_once_and_changes_go_unnoticed(notifier, api, queue, traps, clock):
    api.requests.clear()
    api.fields["snmp"]["traps"]["enabled"] = False
    clock.advance(3600)
    queue.post(7)
    notifier.fire_alarm()
    assert traps.events() == [7]
    assert api.requests == []
