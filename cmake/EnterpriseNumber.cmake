# The maker's private enterprise number: the seventh arc of every OID, the key of the event queue and the
# number in the MIB module. The default is the number that RFC 5612 reserves for documentation.
set(ZAN_ENTERPRISE_NUMBER 32473 CACHE STRING
  "IANA private enterprise number: in every OID and in the MIB, and the key of the event queue")

if(NOT ZAN_ENTERPRISE_NUMBER MATCHES "^[1-9][0-9]*$")
  message(FATAL_ERROR
    "ZAN_ENTERPRISE_NUMBER is \"${ZAN_ENTERPRISE_NUMBER}\", but has to be a decimal integer from 1 to "
    "2147483647 without sign or leading zeros: it becomes an OID arc and the key of the event queue "
    "(the key 0 would be a queue that no other process can open).")
endif()
string(LENGTH "${ZAN_ENTERPRISE_NUMBER}" ZAN_NUMBER_DIGITS)
if(ZAN_NUMBER_DIGITS GREATER 10 OR ZAN_ENTERPRISE_NUMBER GREATER 2147483647)
  message(FATAL_ERROR
    "ZAN_ENTERPRISE_NUMBER is ${ZAN_ENTERPRISE_NUMBER}, but has to be at most 2147483647: the key of the "
    "event queue is a signed 32-bit integer.")
endif()
