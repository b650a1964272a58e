"""The model that other tests trust: held against the installed JSON library, the standard library's float
conversion and every case of tests/cases."""

import random
import struct
import subprocess
from pathlib import Path
from typing import Callable, List

import pytest

from harness.router import SCALAR, SCALARS, TABLES, zanmib
from model import generator, jsonvalue
from model.cases import OBJECTS, all_cases, expected, value
from model.float32 import NoNumber, OutOfRange, text_to_float, times_100
from model.jsonvalue import Json, JsonError, Number, UnparsableNumber
from model.readers import SPECIAL
from model.shrink import shrink
from model.tables import SPECIAL as SPECIAL_COLUMNS
from model.tree import Failure, scalar_value, table_cells

THROWN = "!"
Compare = Callable[[List[str]], List[str]]


@pytest.fixture(scope="module")
def library(tmp_path_factory: pytest.TempPathFactory) -> Compare:
    """Asks the installed libraries: one line of answers for each line of questions."""
    source = Path(__file__).parent / "model" / "jsoncpp_driver.cpp"
    program = tmp_path_factory.mktemp("driver") / "jsoncpp_driver"
    subprocess.run(["c++", "-std=c++17", "-O1", "-Wall", "-Wextra", "-Wno-deprecated-declarations",
                    "-I/usr/include/jsoncpp", str(source), "-o", str(program), "-ljsoncpp"], check=True)

    def ask(questions: List[str]) -> List[str]:
        answer = subprocess.run([str(program)], input="\n".join(questions).encode(), stdout=subprocess.PIPE,
                                check=True)
        lines = answer.stdout.decode().splitlines()
        assert len(lines) == len(questions)
        return lines
    return ask


def shown(text: bytes) -> str:
    return text.hex() or "-"


def guarded(answer: Callable[[], str]) -> str:
    try:
        return answer()
    except JsonError:
        return THROWN


def modelled(value: Json) -> str:
    """The model's answers in the driver's form."""
    try:
        jsonvalue.check_parsable(value)
    except UnparsableNumber:
        return "unparsable"

    def text_of(part: Callable[[], Json]) -> Callable[[], str]:
        return lambda: shown(jsonvalue.as_text(part()))

    def walked() -> str:
        return "[" + "".join(guarded(text_of(lambda: each)) + "," for each in jsonvalue.walk(value)) + "]"

    return " ".join(guarded(answer) for answer in (
        text_of(lambda: value),
        lambda: str(int(jsonvalue.as_bool(value))),
        lambda: str(jsonvalue.as_uint(value)),
        lambda: str(jsonvalue.as_int(value)),
        lambda: str(jsonvalue.as_uint64(value)),
        lambda: str(jsonvalue.size(value)),
        walked,
        lambda: str(int(jsonvalue.has_member(value, "a"))),
        text_of(lambda: jsonvalue.member(value, "a")),
        text_of(lambda: jsonvalue.element(value, 0)),
        text_of(lambda: jsonvalue.element(value, 1)),
        text_of(lambda: jsonvalue.member(value, "a"))))


def random_number(rng: random.Random) -> Json:
    shape = rng.randrange(6)
    if shape == 0:
        return rng.randrange(-2**rng.randrange(1, 70), 2**rng.randrange(1, 70))
    if shape == 1:
        return rng.choice((2**31, 2**32, 2**63, 2**64, -2**31, -2**63)) + rng.randrange(-2, 3)
    if shape == 2:
        value = struct.unpack("<d", rng.getrandbits(64).to_bytes(8, "little"))[0]
        return value if abs(value) < float("inf") else 0.25
    if shape == 3:
        return float(rng.choice((2**31, 2**32, -2**31, 2**53))) + rng.choice((-0.5, 0, 0.5, 1))
    if shape == 4:
        return round(rng.uniform(-1000, 1000), rng.randrange(6))
    return Number(f"{rng.randrange(10**6)}e{rng.randrange(-30, 330)}")


def random_value(rng: random.Random, depth: int = 0) -> Json:
    kind = rng.randrange(9 if depth < 3 else 6)
    if kind < 2:
        return random_number(rng)
    if kind < 4:
        return rng.choice(generator.TEXTS)
    if kind < 6:
        return rng.choice((None, True, False, *generator.NUMBERS))
    below = [random_value(rng, depth + 1) for _ in range(rng.randrange(4))]
    if kind == 6:
        return below
    return dict(zip(rng.sample(("a", "b", "", "A", "\u00fc", "aa", "\x00", "a\x00", "\U0001f4f6"), 4), below))


FIXED_VALUES: List[Json] = [
    None, True, False, [], {}, [[]], [None], [1, "2"], {"a": None}, {"a": 1, "b": [2]},
    {"b": 1, "a": 2, "aa": 3, "B": 4, "\u00fc": 5, "": 6, "a\x00": 7}, {"a": {"b": Number("-1e999")}},
    *generator.TEXTS, *generator.NUMBERS, 2**64, generator.UNPARSABLE_NUMBER, [generator.UNPARSABLE_NUMBER]]


def test_values_convert_as_in_the_installed_library(library):
    rng = random.Random(20)
    values = FIXED_VALUES + [random_value(rng) for _ in range(4000)]
    questions = [jsonvalue.encode(value, ascii_only=rng.random() < 0.5, decoys=rng.random() < 0.5)
                 for value in values]
    answers = library([f"j {question.hex()}" for question in questions])
    wrong = [(question, modelled(value), answer)
             for value, question, answer in zip(values, questions, answers) if modelled(value) != answer]
    assert wrong == []


def bits(value: float) -> str:
    if value != value:
        return "nan"
    return str(struct.unpack("<I", struct.pack("<f", value))[0])


def modelled_float(text: bytes) -> str:
    try:
        value = text_to_float(text)
    except (NoNumber, OutOfRange):
        return THROWN
    return f"{bits(value)} {bits(times_100(value))}"


def without_nan_patterns(answer: str) -> str:
    def is_nan(pattern: str) -> bool:
        return pattern.isdigit() and int(pattern) & 0x7FFFFFFF > 0x7F800000
    return " ".join("nan" if is_nan(pattern) else pattern for pattern in answer.split())


def random_float_text(rng: random.Random) -> bytes:
    shape = rng.randrange(5)
    if shape == 0:
        return ("%.*g" % (rng.randrange(1, 25), rng.uniform(0, 10 ** rng.randrange(-50, 42)))).encode()
    if shape == 1:
        return f"{rng.randrange(10**9)}.{rng.randrange(1000):03d}".encode()
    if shape == 2:
        sign, exponent = rng.choice("+- "), rng.randrange(-200, 130)
        return f"{sign}0x{rng.getrandbits(40):x}.{rng.getrandbits(16):x}p{exponent}".encode()
    if shape == 3:
        # The exact middle between two floats, a hair below it and a hair above it.
        middle = (2 * rng.getrandbits(24) + 1) * 2 ** rng.randrange(8)
        return rng.choice((b"%d", b"%d.0000000001", b"%d.")) % (middle - rng.randrange(2))
    return bytes(rng.choice(b"0123456789.eEpPxX+-infatyINF() \t\x00") for _ in range(rng.randrange(9)))


def test_texts_become_floats_as_in_the_standard_library(library):
    rng = random.Random(21)
    texts = [text.encode() for text in generator.UPTIMES if isinstance(text, str)]
    texts += [random_float_text(rng) for _ in range(20000)]
    answers = library([f"f {shown(text)}" for text in texts])
    wrong = [(text, modelled_float(text), answer) for text, answer in zip(texts, answers)
             if modelled_float(text) != without_nan_patterns(answer)]
    assert wrong == []


def test_no_reader_is_left_of_an_object_that_is_gone():
    assert set(SPECIAL) <= set(SCALAR)
    assert set(SPECIAL_COLUMNS) <= {column.name for table in zanmib.sketch() for column in table.columns}


def test_the_model_agrees_with_every_case():
    wrong = [(case, expected(case)) for case in all_cases() if expected(case) != value(case)]
    assert wrong == []
    assert {case.object for case in all_cases()} == set(OBJECTS)


def test_the_generator_reaches_what_it_is_for():
    """Every scalar at its fallback and away from it, every table empty, short and long, every failure."""
    rng = random.Random(22)
    states = [generator.make_state(rng) for _ in range(400)]
    for scalar in SCALARS:
        if scalar.query is None:
            continue
        values = {scalar_value(scalar, state[scalar.query])[1] for state in states}
        assert scalar.fallback in values and len(values) >= 3, scalar.name
    for table in TABLES:
        sizes = {len(table_cells(table, state[table.query])) // len(table.tags) for state in states}
        assert sizes >= ({0, 1} if table.name == "zanRemoteSyslogDestTable" else {0, 1, 2, 12}), table.name
    results = [result for state in states for result in state.values()]
    assert {result.how for result in results if isinstance(result, Failure)} == set(generator.FAILURES)


def test_one_seed_makes_one_state():
    one, other = (generator.make_state(random.Random("seed/7")) for _ in range(2))
    assert repr(one) == repr(other)
    assert repr(one) != repr(generator.make_state(random.Random("seed/8")))


def test_a_failing_value_is_made_small():
    def holds_a_zero_byte(value: Json) -> bool:
        return b"\\u0000" in jsonvalue.encode(value)

    def has_no_text_as_c(value: Json) -> bool:
        try:
            jsonvalue.as_text(jsonvalue.member(value, "b", "c"))
        except JsonError:
            return isinstance(value, dict)
        return False

    large = {"a": [1, {"deep": {"needle": "before\x00after", "other": [2]}}], "b": generator.LONG_TEXT}
    assert shrink(large, holds_a_zero_byte) == "\x00"
    assert shrink({"a": 7, "b": {"c": [8, {"d": 9}], "e": 1}}, has_no_text_as_c) == {"b": []}
