"""Check commands and services for Icinga 2, and the same for Nagios: stock check_snmp, numeric OIDs."""

import json
from typing import Dict, List, NamedTuple, Tuple

from zanobjects import Managed


class Check(NamedTuple):
    """A service: its name, what it is called, the object that it asks for, and check_snmp's options."""

    name: str
    title: str
    object: str
    options: Tuple[Tuple[str, str], ...]


#: What every other check depends on: while the router's API does not answer, they have nothing to say.
_API = Check("zan-api", "Management API", "zanRouterSerialNumber",
             (("-r", '"Unknown"'), ("--invert-search", "")))

#: check_snmp compares a text with its quotes, and calls one that is not the wanted one critical.
_CHECKS = (
    Check("zan-signal", "Cellular signal", "zanCellularInterfaceSignal", (("-w", "-100:"), ("-c", "-110:"))),
    Check("zan-cellular-link", "Cellular link", "zanCellularInterfaceUptime", (("-c", "1:"),)),
    Check("zan-roaming", "Roaming", "zanCellularInterfaceRoaming", (("-s", '"False"'),)),
    Check("zan-wan", "WAN link in use", "zanWanManagerTransport", (("-s", '"Cellular"'),)),
    Check("zan-dos-prevention", "DoS prevention", "zanRemoteAccessDoSPreventEnabled", (("-s", '"True"'),)),
    # A quarter of an hour in hundredths of a second.
    Check("zan-uptime", "Uptime", "zanRouterUptime", (("-w", "90000:"),)),
)

#: Answered by the agent itself, whatever the router's API does.
_ALIVE = Check("zan-alive", "Agent", "zanDiagnosticsSNMP", (("-s", '"SNMP service is running"'),))

_MADE = "Made by monitoring/generate from the MIB module: change that, and not this file."

_ICINGA = """\
// {made}
//
// For /etc/icinga2/conf.d. Then a router is, over SNMPv3 or, without a user, over SNMPv2c:
//
//   object Host "router.example.net" {{
//     import "zan-router"
//     address = "router.example.net"
//     vars.zan_user = "manager"
//     vars.zan_auth_phrase = "a passphrase of 8 or more"
//     vars.zan_priv_phrase = "another passphrase"
//   }}
//
// The link that should be in use is vars.zan_wan, if not "Cellular"; the thresholds of the signal are in the
// host's vars.zan_signal_warning and vars.zan_signal_critical.

template CheckCommand "zan-snmp" {{
  command = [ PluginDir + "/check_snmp" ]
  arguments = {{
    "-H" = "$address$"
    "-p" = "$zan_port$"
    "-P" = {{{{ if (macro("$zan_user$") != "") {{ "3" }} else {{ "2c" }} }}}}
    "-C" = {{ value = "$zan_community$", set_if = {{{{ macro("$zan_user$") == "" }}}} }}
    "-L" = {{ value = "authPriv", set_if = {{{{ macro("$zan_user$") != "" }}}} }}
    "-U" = {{ value = "$zan_user$", set_if = {{{{ macro("$zan_user$") != "" }}}} }}
    "-a" = {{ value = "$zan_auth_protocol$", set_if = {{{{ macro("$zan_user$") != "" }}}} }}
    "-A" = {{ value = "$zan_auth_phrase$", set_if = {{{{ macro("$zan_user$") != "" }}}} }}
    "-x" = {{ value = "$zan_priv_protocol$", set_if = {{{{ macro("$zan_user$") != "" }}}} }}
    "-X" = {{ value = "$zan_priv_phrase$", set_if = {{{{ macro("$zan_user$") != "" }}}} }}
    "-t" = "5"
    "-e" = "1"
  }}
  vars.zan_port = 161
  vars.zan_community = "public"
  vars.zan_user = ""
  vars.zan_auth_protocol = "SHA-256"
  vars.zan_auth_phrase = ""
  vars.zan_priv_protocol = "AES"
  vars.zan_priv_phrase = ""
  vars.zan_wan = "Cellular"
  vars.zan_signal_warning = "-100:"
  vars.zan_signal_critical = "-110:"
}}

template Host "zan-router" {{
  check_command = "zan-alive"
  check_interval = 1m
  retry_interval = 30s
  max_check_attempts = 3
  vars.zan_router = true
}}

template Service "zan-service" {{
  check_interval = 1m
  retry_interval = 30s
  max_check_attempts = 3
  vars.zan_service = true
}}
{objects}
// What a router says while its API is down is no news.
apply Dependency "zan-api" to Service {{
  parent_service_name = "zan-api"
  ignore_soft_states = false
  disable_checks = true
  assign where service.vars.zan_service && service.name != "zan-api"
}}
"""

_NAGIOS = """\
# {made}
#
# Nagios: services for the hosts of the group zan-routers, over SNMPv3. Put the user and the passphrases into
# resource.cfg as $USER11$ to $USER13$, with a backslash before each blank, and the routers into the group:
#
#   $USER11$=manager
#   $USER12$=a\\ passphrase\\ of\\ 8\\ or\\ more
#   $USER13$=another\\ passphrase
#
#   define host {{
#     use                 generic-host
#     host_name           router.example.net
#     address             router.example.net
#     hostgroups          zan-routers
#     check_command       check_zan_alive
#     max_check_attempts  3
#     contact_groups      admins
#   }}

define hostgroup {{
  hostgroup_name  zan-routers
  alias           Cellular routers
}}
{objects}"""


def files(managed: Managed) -> Dict[str, str]:
    """The files of this part."""
    return {"icinga/zansnmpext.conf": _ICINGA.format(made=_MADE, objects=_icinga(managed)),
            "nagios/zansnmpext.cfg": _NAGIOS.format(made=_MADE, objects=_nagios(managed))}


#: What Icinga takes from the host instead.
_FROM_THE_HOST = {("zan-wan", "-s"): '"$zan_wan$"', ("zan-signal", "-w"): "$zan_signal_warning$",
                  ("zan-signal", "-c"): "$zan_signal_critical$"}


def _icinga(managed: Managed) -> str:
    text = ""
    for check in (_ALIVE, _API, *_CHECKS):
        text += (f'\nobject CheckCommand "{check.name}" {{\n  import "zan-snmp"\n'
                 f'  arguments["-o"] = ".{managed.item(check.object).oid}"\n')
        for option, value in check.options:
            value = _FROM_THE_HOST.get((check.name, option), value)
            text += f'  arguments["{option}"] = ' + (f"{json.dumps(value)}\n" if value else "{ }\n")
        text += "}\n"
        if check is not _ALIVE:
            text += (f'apply Service "{check.name}" {{\n  import "zan-service"\n'
                     f'  display_name = "{check.title}"\n  check_command = "{check.name}"\n'
                     "  assign where host.vars.zan_router\n}\n")
    return text


def _nagios(managed: Managed) -> str:
    access = ('-H "$HOSTADDRESS$" -P 3 -L authPriv -U $USER11$ -a SHA-256 -A $USER12$ -x AES -X $USER13$ '
              "-t 5 -e 1")
    text = ""
    for check in (_ALIVE, _API, *_CHECKS):
        command = check.name.replace("zan-", "check_zan_").replace("-", "_")
        options = " ".join(option + (f" '{value}'" if value else "")
                           for option, value in check.options)
        text += (f"\ndefine command {{\n  command_name  {command}\n"
                 f"  command_line  $USER1$/check_snmp {access} -o .{managed.item(check.object).oid} "
                 f"{options}\n}}\n")
        if check is _ALIVE:
            continue
        text += (f"\ndefine service {{\n  use                  generic-service\n"
                 f"  hostgroup_name       zan-routers\n  service_description  {check.title}\n"
                 f"  check_command        {command}\n}}\n")
        if check is not _API:
            text += _nagios_dependency(check)
    return text


def _nagios_dependency(check: Check) -> str:
    lines: List[str] = [
        "  hostgroup_name                 zan-routers",
        f"  service_description            {_API.title}",
        f"  dependent_service_description  {check.title}",
        "  execution_failure_criteria     c,u",
        "  notification_failure_criteria  c,u"]
    return "\ndefine servicedependency {\n" + "\n".join(lines) + "\n}\n"
