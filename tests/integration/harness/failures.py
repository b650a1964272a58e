"""Every way in which the API can fail the module or try to, and what the module logs about it."""

import json
from typing import List, NamedTuple, Optional

from . import api as faults
from .api import Api, Fault
from .messages import BAD_CODE, PARSE_FAILED, PERFORM_FAILED, WRONG_FORMAT

SILENT = b""  # an exception of the JSON library, which leaves no line


class Failure(NamedTuple):
    """One failure and the bytes that each request of the module leaves at priority 3."""

    name: str
    log: bytes
    fault: Optional[Fault] = None
    absence: Optional[str] = None  # the Api's method that makes it unreachable

    def __str__(self) -> str:
        return self.name

    def apply(self, api: Api) -> None:
        """Let it begin."""
        if self.absence is not None:
            getattr(api, self.absence)()
        api.fault = self.fault

    def end(self, api: Api) -> None:
        """Let it be over."""
        api.fault = None
        api.up()


def _body(name: str, log: bytes, body: str) -> Failure:
    return Failure(name, log, faults.body_instead(name, body.encode()))


def _fault(log: bytes, fault: Fault) -> Failure:
    return Failure(fault.name, log, fault)


#: After each of these the value is the fallback.
FAILURES: List[Failure] = [
    # the socket
    Failure("no socket", PERFORM_FAILED, absence="down"),
    Failure("connection refused", PERFORM_FAILED, absence="refuse"),
    Failure("a plain file for a socket", PERFORM_FAILED, absence="file_in_place"),
    # HTTP
    _fault(PERFORM_FAILED, faults.CLOSED_EARLY),
    _fault(PERFORM_FAILED, faults.CLOSED),
    _fault(PERFORM_FAILED, faults.NOT_HTTP),
    _fault(PERFORM_FAILED, faults.CUT_BODY),
    _fault(PERFORM_FAILED, faults.CUT_CHUNKS),
    _fault(PERFORM_FAILED, faults.BAD_CHUNK),
    # JSON; an answer that ends within its headers is an empty one to the HTTP library
    _fault(PARSE_FAILED, faults.CUT_HEADERS),
    _fault(PARSE_FAILED, faults.EMPTY_BODY),
    _body("garbage", PARSE_FAILED, "<html>busy</html>"),
    _body("cut JSON", PARSE_FAILED, '{"code": 200, "result": {"system": {'),
    _body("comment before the root", PARSE_FAILED, '/* status */ {"code": 200, "result": {}}'),
    _body("line comment before the root", PARSE_FAILED, '// status\n{"code": 200, "result": {}}'),
    _body("comment for a value", PARSE_FAILED, '{"code": /* ok */ 200, "result": {}}'),
    _body("text at the root", PARSE_FAILED, '"result"'),
    _body("number at the root", PARSE_FAILED, "200"),
    _body("true at the root", PARSE_FAILED, "true"),
    _body("null at the root", PARSE_FAILED, "null"),
    _body("names without quotes", PARSE_FAILED, "{code: 200, result: {}}"),
    _body("single quotes", PARSE_FAILED, "{'code': 200, 'result': {}}"),
    # the envelope
    _body("empty object", WRONG_FORMAT, "{}"),
    _body("no code", WRONG_FORMAT, '{"result": {}}'),
    _body("no result", WRONG_FORMAT, '{"code": 200}'),
    _body("no result, and a bad code", WRONG_FORMAT, '{"code": 404}'),
    _body("names in capitals", WRONG_FORMAT, '{"CODE": 200, "RESULT": {}}'),
    _body("code 404", BAD_CODE, '{"code": 404, "result": {}}'),
    _body("code 0", BAD_CODE, '{"code": 0, "result": {}}'),
    _body("code 201", BAD_CODE, '{"code": 201, "result": {}}'),
    _body("code null", BAD_CODE, '{"code": null, "result": {}}'),
    _body("code true", BAD_CODE, '{"code": true, "result": {}}'),
    # exceptions of the JSON library
    _body("code a text", SILENT, '{"code": "200", "result": {}}'),
    _body("code negative", SILENT, '{"code": -200, "result": {}}'),
    _body("code beyond 32 bits", SILENT, '{"code": 4294967496, "result": {}}'),
    _body("code an array", SILENT, '{"code": [200], "result": {}}'),
    _body("code an object", SILENT, '{"code": {}, "result": {}}'),
    _body("array at the root", SILENT, '[{"code": 200, "result": {}}]'),
    _body("nesting of 2000 levels", SILENT, '{"code": 200, "result": ' + "[" * 2000 + "]" * 2000 + "}"),
]


def _dressed(name: str, dress) -> Fault:
    def act(connection, body, _api) -> None:
        connection.sendall(faults.http_answer(dress(json.loads(body))))
    return Fault(name, act)


#: None of these may be noticed: the value is the API's, and nothing is logged.
HARMLESS: List[Fault] = [
    faults.CHUNKED,
    faults.BYTE_BY_BYTE,
    faults.UNTIL_CLOSE,
    faults.http_status("404 Not Found"),
    faults.http_status("500 Internal Server Error"),
    faults.http_status("302 Found", "Location: http://localhost/elsewhere"),
    faults.http_status("200 OK", "X-Long: " + "x" * 5000),
    Fault("interim answer first", lambda connection, body, _api: connection.sendall(
        b"HTTP/1.1 100 Continue\r\n\r\n" + faults.http_answer(body))),
    _dressed("other members", lambda whole: json.dumps({"id": 7, **whole, "message": None}).encode()),
    _dressed("code 200.0", lambda whole: json.dumps({**whole, "code": 200.0}).encode()),
    _dressed("code 200.9", lambda whole: json.dumps({**whole, "code": 200.9}).encode()),
    _dressed("members in the other order",
             lambda whole: json.dumps({"result": whole["result"], "code": whole["code"]}).encode()),
    _dressed("blanks and line feeds",
             lambda whole: b"\n\t " + json.dumps(whole, indent=8).encode() + b" \r\n\n"),
    _dressed("text after the root", lambda whole: json.dumps(whole).encode() + b" trailing text"),
]
