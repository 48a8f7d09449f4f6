"""The pytest plugin, in a pytest of its own."""

TESTS = """
import pytest

pytestmark = pytest.mark.quorin("--quiet", clock="real", groups=[0x111E])

@pytest.mark.quorin("--mgmt-result", "12", groups=[0x111F])
def test_fails(quorin_client):
    reply = quorin_client.get("Test3-Stats5")
    assert reply.result == 0

def test_passes(quorin_daemon):
    assert quorin_daemon.client.get("Test2-Stats1").ok

@pytest.mark.quorin("--group", "many", groups=())
def test_does_not_start(quorin_client):
    pass

def test_crashes(quorin_daemon):
    quorin_daemon.process.kill()
    quorin_daemon.process.wait()
"""


def test_a_failed_test_shows_its_daemon(pytester):
    pytester.makepyfile(TESTS)
    result = pytester.runpytest_subprocess("-p", "quorin.pytest_plugin", "--strict-markers")
    result.assert_outcomes(failed=1, passed=2, errors=2)
    result.stdout.fnmatch_lines(
        [
            "*StartError: quorin has ended with status 255; it said:",
            "*group not a number, please check and try again",
            "*StopError: quorin has ended with signal 9*",
            "*quorin: command line*",
            "*quorin --group 0x111f --quiet --mgmt-result 12",
            "*quorin: standard output*",
            "get111f000b",
            "*quorin: journal*",
            "* connection 1: get Test3-Stats5: Not-Permitted, 4 records, *us",
        ]
    )
