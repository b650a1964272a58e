"""What the module logs, byte by byte: the missing line feeds and the odd blanks are its own."""

# Priority 3: the API.
PERFORM_FAILED = b" curl_easy_perform failed"
PARSE_FAILED = b" failed to parse json response"
WRONG_FORMAT = b" wrong format of json response"
BAD_CODE = b" bad json response code"

# Priority 3: the start-up.
OTHER_LIBRARY = b"module and agent are built for different agent libraries. Nothing will be served.\n"
SWITCH_EXCEPTION = b"exception caught"
SWITCH_UNREAD = (b"Failed to obtain traps configuration.\n"
                 b"message dispatcher is not created. Notifications will be disabled.\n")
NO_QUEUE = b"system message queue hasn't created. Notifications will be disabled.\n"

# Priority 4: the event queue, removed under the module.
PULL_FAILED = b"failed to pull from message queue [errno=22]"

# Priority 7.
COMPLETE = b"zansnmpext:  initialization complete"
TRAPS_DISABLED = b"zanmsgdispatcher: SNMP traps disabled in configuration. Ignoring event."
REGISTERING = b"".join(b"%s: registering table %s as a table iterator\n" % names for names in (
    (b"zanipsec", b"zanIpsecTunnelsTable"),
    (b"zangre", b"zanGreTunnelsTable"),
    (b"zanopenvpn", b"zanOpenVpnTunnelsTable"),
    (b"zanstaticroutes", b"zanStaticRoutesTable"),
    (b"zandhcpserver", b"zanDHCPServerLeasesTable"),
    (b"zanrsyslog", b"zanRemoteSyslogDestTable"),
))


def executing(*targets: str) -> bytes:
    """Priority 7: the trace of these requests."""
    return "".join(f"zanjsondb:  executing [http://localhost{target}] request" for target in targets).encode()


def received(*events: int) -> bytes:
    """Priority 7: the trace of these events."""
    return b"".join(b"zanmsgreceiver: event [%d] received" % event for event in events)


def unknown(*events: int) -> bytes:
    """Priority 4: the warnings about these events."""
    return b"".join(b"unknown notification received [%d].\n" % event for event in events)
