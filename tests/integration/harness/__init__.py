"""What the integration tests are made of: the fake API, the clocks, the agent, the manager's side."""

from . import api as faults
from .agent import DEBUG, ERROR, EVERYTHING, INFO, V3_AUTH, V3_PRIV, V3_USER, WARNING, Agent, AgentDied
from .api import Api, Fault, Request, envelope, http_answer
from .clock import AlarmClock, Clock
from .events import EventQueue, QueueState, kernel_limit
from .settings import (ALARM_PERIOD, CACHE_LIFETIME, ENTERPRISE_NUMBER, EXACT_MEMORY, HEAP_SLACK, MODULE,
                       MODULE_ROOT, NOTIFICATIONS, OBJECTS, SOCKET_PATH, SOURCE_ROOT, TIME_SCALE,
                       deadline, long_size)
from .snmp import SnmpClient, SnmpError, SnmpTimeout, VarBind
from .traps import Trap, TrapListener

__all__ = [
    "ALARM_PERIOD", "Agent", "AgentDied", "AlarmClock", "Api", "CACHE_LIFETIME", "Clock", "DEBUG",
    "ENTERPRISE_NUMBER", "ERROR", "EVERYTHING", "EXACT_MEMORY", "EventQueue", "Fault", "HEAP_SLACK",
    "INFO", "MODULE", "MODULE_ROOT", "NOTIFICATIONS", "OBJECTS", "QueueState", "Request", "SOCKET_PATH",
    "SOURCE_ROOT", "SnmpClient", "SnmpError", "SnmpTimeout", "TIME_SCALE", "Trap", "TrapListener",
    "V3_AUTH", "V3_PRIV", "V3_USER", "VarBind", "WARNING", "deadline", "envelope", "faults",
    "http_answer", "kernel_limit", "long_size",
]
