"""What the integration tests are made of: the fake API, the clocks, the agent, the manager's side."""

from . import api as faults
from . import agent as _in_process
from .agent import DEBUG, ERROR, EVERYTHING, INFO, V3_AUTH, V3_PRIV, V3_USER, WARNING, AgentDied
from .api import Api, Fault, Request, envelope, http_answer
from .clock import AlarmClock, Clock
from .events import EventQueue, QueueState, kernel_limit
from .hosted import HOSTED, HostedAgent, PatientHostedAgent
from .settings import (ALARM_PERIOD, CACHE_LIFETIME, ENTERPRISE_NUMBER, EXACT_MEMORY, HEAP_SLACK, MODULE,
                       MODULE_ROOT, NOTIFICATIONS, OBJECTS, SOCKET_PATH, SOURCE_ROOT, TIME_SCALE,
                       deadline, lasting, long_size)
from .snmp import SnmpClient, SnmpError, SnmpTimeout, VarBind
from .traps import Trap, TrapListener

#: The module's place: in the agent, or in a host with an agent in front.
Agent = PatientHostedAgent if HOSTED else _in_process.Agent

__all__ = [
    "ALARM_PERIOD", "Agent", "AgentDied", "AlarmClock", "Api", "CACHE_LIFETIME", "Clock", "DEBUG",
    "ENTERPRISE_NUMBER", "ERROR", "EVERYTHING", "EXACT_MEMORY", "EventQueue", "Fault", "HEAP_SLACK",
    "HOSTED", "HostedAgent",
    "INFO", "MODULE", "MODULE_ROOT", "NOTIFICATIONS", "OBJECTS", "QueueState", "Request", "SOCKET_PATH",
    "SOURCE_ROOT", "SnmpClient", "SnmpError", "SnmpTimeout", "TIME_SCALE", "Trap", "TrapListener",
    "V3_AUTH", "V3_PRIV", "V3_USER", "VarBind", "WARNING", "deadline", "envelope", "faults",
    "http_answer", "kernel_limit", "lasting", "long_size",
]
