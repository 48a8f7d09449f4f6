"""The client against a real daemon."""

import os
import sys

import pytest
from conftest import run

import quorin
from quorin import ANY, ApplyAction, Client, Daemon, Operation, Result


def test_each_request_is_answered(quorin_daemon, quorin_client):
    client = quorin_client
    assert client.get("Test3-Stats5").blocks[0].hex() == "111f000b00040000" "0103"
    assert client.get(0x111F000B).records[3] == {"testField1": 30, "testField2": 4, "testField3": 2}
    row = {"sfn": 5, "sf": 3, "testField1": 5, "testField2": 3}
    raw = bytes.fromhex("000c00010002000500020002" "0003")
    assert client.get("Test3-Stats3", {"sfn": 5, "sf": 3}, raw).records == [row, row]
    assert len(client.get("Test3-Stats8", {"key1": ANY, "key2": 5}).records) == 40
    assert len(client.get("Test3-Stats9", batch_size=12).records) == 12
    client.get("Test3-Stats4", clear_on_read=True)
    assert client.get("Test3-Stats4").records[0]["testField2"] == 1

    page = client.get_keys("Test3-Stats8", {"key1": ANY, "key2": 5}, batch_size=30)
    assert (page.keys[29], page.last_batch) == ({"key1": 30, "key2": 5}, False)
    walked = client.walk_keys("Test3-Stats8", {"key1": ANY, "key2": 5}, batch_size=30)
    assert [keys["key1"] for keys in walked] == list(range(1, 41))

    reply = client.set("Test1-Prov3", {"testField1": 5}, op="insert", transaction_id=7)
    assert (reply.result, reply.apply_action) == (0, ApplyAction.REBOOT_REQUIRED)
    assert client.set(bytes.fromhex("111f00040001" "01"), op=Operation.ACTION).ok
    assert client.init_prov_complete().ok
    reply = client.set("Test3-Action1", {"testRun": True}, op="action")
    assert reply.apply_action == ApplyAction.REBOOT_POSSIBLE
    assert client.notify("Prov-Labels-Config", {"labelsConfig": 3}, op=1, apply_action=3).ok
    assert client.clear("Test2-Stats1").ok
    assert "set Insert 111d0004 transaction id 7" in quorin_daemon.out
    assert "notify Insert 8010014 regDownloadFlag=0 applyAction=reboot-req" in quorin_daemon.out


def test_what_is_refused(quorin_client):
    reply = quorin_client.get(0x22220001)
    assert (reply.result, reply.text) == (Result.INVALID_RECORD_ID, "Invalid-Record-Id")
    with pytest.raises(quorin.ResultError) as refused:
        reply.check()
    assert str(refused.value) == "Invalid-Record-Id (14): Invalid record id 0x22220001"
    reply = quorin_client.set("Test3-Prov3", {"testKey2": 33})
    assert reply.result == Result.BAD_VALUE
    with pytest.raises(quorin.RequestError) as failed:
        quorin_client.call("get", record="0x111f0003")
    assert (failed.value.code, str(failed.value)) == (-32602, "get: recordId is missing (-32602)")


@pytest.mark.quorin("--mgmt-result=77", groups=[0x111E])
def test_a_result_that_has_no_name_is_a_number(quorin_client):
    reply = quorin_client.get("Test2-Stats1")
    assert (reply.result, reply.text, len(reply.records)) == (77, "???", 1)


@pytest.mark.quorin(auto=False)
def test_the_service_registration_by_hand(quorin_client):
    quorin_client.subscribe()
    assert quorin_client.get("Test3-Stats5").result == Result.INVALID_RECORD_ID
    assert quorin_client.svc_reg_ind().ok
    groups = ["0x801", "0x111d", "0x111e", "0x111f"]
    assert quorin_client.notification("svcRegInd").params["groups"] == groups
    assert quorin_client.svc_reg_result(12, "success", [0x111F]).ok
    assert quorin_client.svc_reg_result(14, 0).ok
    # The last one first: others wait in the queue.
    quorin_client.notification("svcRegEndInd")
    assert [each.method for each in quorin_client.notifications] == ["svcRegSetUpdateInd"]
    assert quorin_client.get("Test3-Stats5").ok


@pytest.mark.quorin("--sleep-time", "1")
def test_a_reply_that_comes_late_is_dropped(quorin_client):
    quorin_client.timeout = 0.1
    with pytest.raises(quorin.NoReply, match="no reply to clear in time"):
        quorin_client.clear("Test2-Stats1")
    quorin_client.timeout = 30
    assert len(quorin_client.get("Test3-Stats5").records) == 4
    with pytest.raises(quorin.NoReply, match="no notification event transactionId=9 in time"):
        quorin_client.notification("event", 0.01, transactionId=9)


def test_a_daemon_that_dies_is_noticed(quorin_daemon, quorin_client):
    quorin_daemon.kill()
    with pytest.raises(quorin.ConnectionLost):
        quorin_client.get("Test3-Stats5")
    with pytest.raises(quorin.ConnectionLost, match="its daemon has ended"):
        Client(quorin_daemon.path)


def test_it_stops_and_leaves_nothing():
    with Daemon("--quiet", groups=[0x111F]) as daemon:
        daemon.client.get("Test3-Stats5")
        daemon.stop()
        assert not os.path.exists(daemon.path)
    assert daemon.out == "get111f000b\n"
    assert not os.path.exists(os.path.dirname(daemon.path))


@pytest.mark.parametrize(
    "options, settings, reason",
    [
        (["--group", "many"], {}, "status 255; it said:\ngroup not a number"),
        (["--no-such-option"], {}, "status 255; it said:\n"),
        ([], {"program": "/nowhere/quorin"}, "there is no program /nowhere/quorin"),
        ([], {"log_level": 9}, "ZEL_LOG_LEVEL"),
    ],
)
def test_why_it_did_not_start(options, settings, reason):
    with pytest.raises(quorin.StartError) as failed:
        Daemon(*options, **settings)
    assert reason in str(failed.value)


def test_a_user_who_may_not_start_it_is_told():
    if os.geteuid() != 0:
        pytest.skip("only root can become another user")
    told = run("setpriv", "--reuid=65534", "--regid=65534", "--clear-groups",
               sys.executable, "-c", "import quorin; quorin.Daemon()")  # fmt: skip
    assert 'only root and the account "apps" can start quorin, and this is user 65534' in told[2]


@pytest.mark.quorin("--sleep-time", "3600", clock="manual")
def test_time_passes_on_another_connection(quorin_daemon, quorin_client):
    quorin_client.subscribe(requests=True)
    request = quorin_client.send("get", recordId="0x111f000b")
    advance = quorin_daemon.connect().advance(3600)
    # With the first one of the simulator.
    assert (advance.ended, advance.settled) == (2, True)
    assert len(request.reply()["records"]) == 4
    entry = quorin_client.notification("request").entry
    assert (entry.method, entry.record_name) == ("get", "Test3-Stats5")


def test_the_journal_by_page(quorin_daemon, quorin_client):
    for record in ("Test3-Stats5", "Test3-Stats1", "Test3-Stats5"):
        quorin_client.get(record)
    whole = quorin_client.journal(method="get", record="Test3-Stats5")
    first, second = whole.entries
    assert whole.last == second.seq == first.seq + 2
    page = quorin_client.journal(after=first.seq, limit=1)
    assert [entry.record_name for entry in page.entries] == ["Test3-Stats1"]
    quorin_client.set(b"\x11")
    refused = str(quorin_client.journal(limit=1).entries[0])
    assert ": set 0x11: Bad-Value, apply action no-action-required, error string" in refused
    assert "the daemon was not called" in refused
    assert quorin_client.journal_clear() >= 4
    assert quorin_client.journal().entries == []


def test_faults(quorin_client):
    quorin_client.subscribe()
    fault = quorin_client.fault(notification="svcRegInd", duplicate=True, count=2, delay=0.001)
    assert quorin_client.fault_list()[0].items() >= {"count": 2, "delayMilliseconds": 1}.items()
    quorin_client.svc_reg_ind()
    assert [quorin_client.notification("svcRegInd").params["type"] for _ in range(2)] == [0, 0]
    assert (fault.hits(), fault.remove(), fault.remove()) == (1, True, False)
    quorin_client.fault(method="get", disconnect=True)
    with pytest.raises(quorin.ConnectionLost, match="the daemon has ended the connection"):
        quorin_client.get("Test3-Stats5")
