"""The modules of Prometheus's SNMP exporter, in both forms of its file."""

import json
from typing import Dict, Iterator, List, Tuple

from zanobjects import COUNTS, SENTENCES, Form, Item, Managed, Rows

MODULE = "zansnmpext"
SUBSCRIBER_MODULE = "zansnmpext_subscriber"

#: The file's form changed with the exporter's version 0.23: who asks has been a section of its own since.
SINCE_0_23 = "snmp.yml"
UNTIL_0_22 = "snmp-0.22.yml"

#: A metric's end, and what is made of a text: pairs of a number, or the first group, and a pattern.
Extracts = List[Tuple[str, List[Tuple[str, str]]]]

_COUNT = r"[0-9.eE+]+"

_HEAD = """\
# Made by monitoring/generate from the MIB module: change that, and not this file.
"""

_HOW = """\
  # Answers of some 800 bytes, which fit into one packet of a cellular link.
  max_repetitions: 25
  # A router that is slow for once is asked again, and that still is within Prometheus's ten seconds.
  timeout: 4s
  retries: 1
"""

# The example of access that comes with the agent's package makes this user.
_V3 = """\
{0}username: manager
{0}security_level: authPriv
{0}auth_protocol: SHA256
{0}password: a passphrase of 8 or more
{0}priv_protocol: AES
{0}priv_password: another passphrase
"""


def files(managed: Managed) -> Dict[str, str]:
    """The files of this part."""
    return {SINCE_0_23: _since_0_23(managed), UNTIL_0_22: _until_0_22(managed)}


def _since_0_23(managed: Managed) -> str:
    return (f"{_HEAD}# For the exporter's versions from 0.23 on.\n\n"
            "# Who asks: put in your own passphrases, or your own community.\n"
            "auths:\n"
            f"  {MODULE}_v3:\n    version: 3\n{_V3.format('    ')}"
            f"  {MODULE}_v2c:\n    version: 2\n    community: public\n\n"
            "modules:\n" + "".join(_indented(line) for line in "".join(_modules(managed)).splitlines(True)))


def _until_0_22(managed: Managed) -> str:
    """Each module has its own access; what it asks is told once."""
    text = (f"{_HEAD}# For the exporter's versions up to 0.22. Who asks is told in each module: put in your\n"
            "# own passphrases, or your own community.\n\n")
    for module in (MODULE, SUBSCRIBER_MODULE):
        lines = list(_module(managed, module))
        lines[0] = f"{module}: &{module}\n"
        text += "".join(lines) + f"  version: 3\n  auth:\n{_V3.format('    ')}"
        text += f"{module}_v2c:\n  <<: *{module}\n  version: 2\n  auth:\n    community: public\n"
    return text


def _modules(managed: Managed) -> Iterator[str]:
    for module in (MODULE, SUBSCRIBER_MODULE):
        yield from _module(managed, module)


def _indented(line: str) -> str:
    return f"  {line}" if line.strip() else line


def _module(managed: Managed, name: str) -> Iterator[str]:
    yield f"{name}:\n"
    if name == MODULE:
        # All of it in one walk. Each query of the router's API is made once for it.
        yield f"  walk: [{managed.oid('zanObjects')}]\n"
    else:
        oids = ", ".join(item.oid for item in managed.scalars if item.subscriber)
        yield f"  get: [{oids}]\n"
    yield f"{_HOW}  metrics:\n"
    for item in managed.scalars:
        if item.form is not Form.NOTHING and item.subscriber == (name == SUBSCRIBER_MODULE):
            yield from _metric(item)
    if name == MODULE:
        for rows in managed.tables:
            for item in rows.values:
                yield from _metric(item)
                yield from _row_labels(rows)


def _metric(item: Item) -> Iterator[str]:
    oid = item.oid[:-len(".0")] if item.oid.endswith(".0") else item.oid
    extracts = _extracts(item)
    text = extracts or item.form is Form.TEXT
    yield f"  - name: {item.name}\n"
    yield f"    oid: {oid}\n"
    yield f"    type: {'DisplayString' if text else 'gauge'}\n"
    yield f"    help: {json.dumps(f'{item.summary}{_note(item)} - {oid}')}\n"
    if extracts:
        yield "    regex_extracts:\n"
        for end, patterns in extracts:
            yield f"      {end or chr(34) * 2}:\n"
            for value, pattern in patterns:
                yield f"      - {{value: {_quoted(value)}, regex: {_quoted(f'^(?:{pattern})$')}}}\n"


def _row_labels(rows: Rows) -> Iterator[str]:
    """Rows are named by what they are. Their index stays as well: two rows may have the same name, and two
    metrics with the same labels would make the whole scrape fail."""
    index = rows.index.name
    yield f"    indexes:\n    - {{labelname: {index}, type: gauge}}\n    lookups:\n"
    for label in rows.labels:
        yield f"    - {{labels: [{index}], labelname: {label.name}, oid: {label.oid}, type: DisplayString}}\n"


def _quoted(text: str) -> str:
    """A string of YAML in which nothing but its quote is special."""
    return "'" + text.replace("'", "''") + "'"


def _note(item: Item) -> str:
    """What a metric's help says of its value."""
    notes = {
        Form.SWITCH: " (1 true, 0 false, absent when it is not known)",
        Form.SENTENCE: " (1 enabled, 0 disabled, absent when it is not known)",
        Form.TEXT: " (always 1, the text is the label)",
        Form.DBM: " (in dBm, absent without a signal)",
        Form.TRAFFIC: " (the count named at the end of the metric's name)",
        Form.PACKETS: " (the count named at the end of the metric's name)",
        Form.PRIORITIES: " (the priority number of the kind of link named at the end of the metric's name)",
        Form.WRAPPED: " (from 2147483648 on less 4294967296, 0 also when it is not known)",
        Form.NUMBER: " (0 also when it is not known)",
        Form.TICKS: " (in hundredths of a second, 0 also when it is not known)",
    }
    return notes[item.form]


def _extracts(item: Item) -> Extracts:
    """How numbers are made of a text."""
    if item.form is Form.SWITCH:
        return [("", [("1", "True"), ("0", "False")])]
    if item.form is Form.SENTENCE:
        return [("", [(str(int(yes)), text) for text, yes in SENTENCES])]
    if item.form is Form.DBM:
        patterns = [("$1", r"(-?\d+(?:\.\d+)?) ?dBm")]
        if item.name == "zanWiFiInterfaceSignal":
            # It has the unit only if the router's API gives it; a bare negative number is dBm too, anything
            # else (a percentage) is not.
            patterns.append(("$1", r"(-\d+(?:\.\d+)?)"))
        return [("_dBm", patterns)]
    if item.form is Form.TRAFFIC:
        return [(f"_{end}", [("$1", rf"(?:.*, )?{count} : ({_COUNT})(?:, .*)?")]) for count, end in COUNTS]
    if item.form is Form.PACKETS:
        count, end = COUNTS[0]
        return [(f"_{end}", [("$1", f"{count} : ({_COUNT})")])]
    if item.form is Form.PRIORITIES:
        # Of each kind of link that is available and enabled; the lowest number is the preferred one.
        return [(end, [("$1", rf"(?:.*?; )?(-?\d+), {kind}, enabled(?:; .*)?")])
                for end, kind in (("_cellular", "Cellular"), ("_wifi", "WiFi"), ("_other", "Unknown"))]
    return []
