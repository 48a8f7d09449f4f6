"""Blocks, and what is said where one cannot be made or read. Needs no daemon."""

import datetime
import json

import jsonschema
import pytest
from conftest import SOURCES, run

import quorin
from quorin import ANY, enums, record_type

pytestmark = pytest.mark.without_daemon

PACKAGE = SOURCES / "python" / "quorin"
CATALOGUE = json.loads((PACKAGE / "catalogue.json").read_text())
TIME = datetime.datetime(2026, 11, 23, 10, 0, 0, 123456, datetime.UTC)
STAMP = "000000006b040ea0" "000000000001e240"


def test_catalogue_json_is_what_oamctl_says():
    assert run("oamctl", "--json", "records") == (0, (PACKAGE / "catalogue.json").read_text(), "")
    for kind, name in (
        (quorin.Result, "results"),
        (quorin.Operation, "operations"),
        (quorin.ApplyAction, "applyActions"),
        (quorin.Severity, "severities"),
    ):
        texts = [{"number": int(each), "text": each.text} for each in kind]
        assert texts == CATALOGUE[name]


def test_the_schema_describes_it():
    validator = jsonschema.Draft7Validator(
        json.loads((PACKAGE / "catalogue.schema.json").read_text())
    )
    validator.validate(CATALOGUE)
    text = json.dumps(CATALOGUE)
    for member, bad in (
        ('"id": "0x8010014"', '"id": 5'),
        ('"type": "u16"', '"type": "u7"'),
        ('"type": "u16"', '"type": "u16", "colour": "red"'),
    ):
        assert not validator.is_valid(json.loads(text.replace(member, bad, 1))), bad
    assert not validator.is_valid(CATALOGUE | {"results": None})


RECORDS = [
    ("Test1-Prov1", {"testField2": 0x1234}, "111d0002" "0002" "1234"),
    ("test3-prov1", {"testField1": True, "testField4": "ab\udcff"}, "111f0001" "000a" "01" "0000" "00" "0004" "6162ff00"),
    ("Test3-Prov3", {"testKey1": -2, "testKey2": 32}, "111f0009" "000a" "fffe" "0020" "00" "0000" "0000" "00"),
    (0x111F0005, {"key1": 1, "testField3": 1 << 63}, "111f0005" "001c" "00000001" "00000000" "00000000" "0000000000000000" "8000000000000000"),
]  # fmt: skip


@pytest.mark.parametrize("name, fields, block", RECORDS)
def test_a_record_is_these_bytes(name, fields, block):
    encoded = record_type(name).encode(fields)
    assert encoded.hex() == block
    decoded = quorin.decode(encoded)
    assert decoded.items() >= fields.items()
    assert record_type(name).encode(decoded) == encoded


def oamctl_decodes(block, *record):
    """The JSON of the fields without blanks, as it is somewhere in what oamctl prints."""
    status, out, err = run("oamctl", "--json", "decode", block.hex(), *record)
    assert (status, err) == (0, ""), block.hex()
    return out


@pytest.mark.parametrize("limit", ["min", "max"])
def test_oamctl_reads_every_record_and_key_set_alike(limit):
    def fields_of(types):
        values = {"bool": limit == "max", "text": "x" if limit == "max" else ""}
        fields = {each.name: values.get(each.type, getattr(each, limit)) for each in types}
        return fields, json.dumps(fields, separators=(",", ":"))

    for each in quorin.RECORDS:
        fields, shown = fields_of(each.fields)
        assert f'"fields":{shown}' in oamctl_decodes(each.encode(fields))
        if each.keys:
            keys, shown = fields_of(each.keys)
            assert f'"fields":{shown}' in oamctl_decodes(each.encode_keys(keys), each.name)
            assert each.decode_keys(each.encode_keys(keys)) == keys


def test_a_key_set_is_these_bytes():
    stats = record_type("Test3-Stats9")
    keys = {"key1": 9, "sfn": ANY, "sf": 3}
    block = "0013" "0001" "00" "0004" "00000009" "0002" "01" "0003" "00" "0002" "0003"
    assert stats.encode_keys(keys).hex() == block
    assert stats.decode_keys(bytes.fromhex(block), wildcard_allowed=True) == keys


NOTIFICATIONS = [
    ("event", 0x111D0001, {"severity": 3, "testEvtfield2": 34}, "0003" + STAMP + "0000" "0007" "00000000" "00" "0022"),
    ("alarm", 0x111D0001, {"alarmSet": True, "additionalText": "x"}, STAMP + "01" "00" "000b" "00000000" "00" "0000" "0002" "7800"),
    ("recordUpdateEvent", 0x111D0002, {"entryPcycles": 1 << 40}, STAMP + "0015" "00000000" "00" "0000010000000000" "0000000000000000"),
]  # fmt: skip


@pytest.mark.parametrize("kind, id, fields, block", NOTIFICATIONS)
def test_a_notification_is_these_bytes(kind, id, fields, block):
    type = quorin.notification_type(kind, id)
    encoded = type.encode({"time": TIME, **fields})
    assert encoded.hex() == f"{id:08x}{block}"
    assert type.decode(encoded).items() >= {"time": TIME, **fields}.items()


BAD = [
    (lambda: record_type("Test9"), "there is no record Test9"),
    (lambda: record_type("Test1-Prov1").encode({"sfn": 1}), "Test1-Prov1 has no field 'sfn'; it has testField2"),
    (lambda: record_type("Test1-Prov1").encode({"testField2": 65536}), "Test1-Prov1: testField2 must be a number from 0 to 65535, not 65536"),
    (lambda: record_type("Test1-Prov1").encode({"testField2": True}), "Test1-Prov1: testField2 must be a number, not True"),
    (lambda: record_type("Test3-Action1").encode({"testRun": 2}), "Test3-Action1: testRun must be True or False, not 2"),
    (lambda: record_type("Test3-Prov1").encode({"testField4": "x" * 33}), "Test3-Prov1: testField4 must be a text of at most 32 bytes, not of 33"),
    (lambda: record_type("Test3-Prov1").encode({"testField4": "a\0b"}), "Test3-Prov1: testField4 has a NUL, which would end it"),
    (lambda: record_type("Test3-Stats3").encode_keys({"sfn": 1}), "keys of Test3-Stats3: sf is missing"),
    (lambda: record_type("Test3-Stats3").encode_keys({"sfn": ANY, "sf": 1}, False), "keys of Test3-Stats3: sfn is a wildcard where none is allowed"),
    (lambda: quorin.decode(bytes.fromhex("111d")), "the block: the id at byte 0 needs 4 bytes, and 2 are left"),
    (lambda: quorin.decode(bytes.fromhex("111d000200011234")), "Test1-Prov1: the payload length at byte 4 is 0x1, not 0x2"),
    (lambda: quorin.decode(bytes.fromhex("111d0002000112")), "Test1-Prov1: testField2 at byte 6 needs 2 bytes, and 1 are left"),
    (lambda: quorin.decode(bytes.fromhex("111d00020003123456")), "Test1-Prov1: the end at byte 8 has 1 bytes more"),
    (lambda: quorin.decode(bytes.fromhex("111d00030005020000" "0000")), "Test1-Prov2: xyzService at byte 6 is 2, out of 1 to 1"),
    (lambda: record_type("Test3-Stats3").decode_keys(bytes.fromhex("0006000200020005")), "keys of Test3-Stats3: the number of sfn at byte 2 is 0x2, not 0x1"),
    (lambda: enums.number(quorin.Operation, "drop"), "Operation 'drop' is not one of Insert, Update, Delete, Set, Action"),
]  # fmt: skip


@pytest.mark.parametrize("attempt, problem", BAD, ids=[problem for _, problem in BAD])
def test_an_error_names_the_field(attempt, problem):
    with pytest.raises(quorin.QuorinError) as raised:
        attempt()
    assert str(raised.value) == problem


def test_a_number_out_of_range_can_be_sent():
    assert record_type("Test3-Prov3").encode({"testKey2": 33})[8:10] == bytes([0, 33])
