"""Handset: bytes, exceptions, iterators, events, threads and Ctrl-C."""
import gc
import os
import signal
import subprocess
import sys
import threading
import time
import weakref

import pytest
from conftest import PATIENCE, wait_until

import mova
from mova import AtError, Code, Handset, HandsetError, Info, InputSignal, Mode, OutputSignal, Timeout


@pytest.fixture
def handset(plain):
    with Handset(plain.link) as handset:
        patient(handset)
        yield handset


def patient(handset):
    for which in Timeout:
        handset.set_timeout(which, 200)


def test_at_gives_the_lines_of_the_answer(handset):
    assert handset.at("AT+CSQ", timeout=PATIENCE) == ["+CSQ: 21,99"]
    assert handset.at("AT", timeout=PATIENCE) == []
    assert handset.at("ATE0", timeout=PATIENCE) == []
    assert handset.at("AT+CSQ", timeout=PATIENCE) == ["+CSQ: 21,99"]


def test_an_answer_that_is_not_ok_is_an_exception(handset):
    with pytest.raises(AtError, match=r"^AT\+NOSUCH: ERROR$") as raised:
        handset.at("AT+NOSUCH", timeout=PATIENCE)
    assert (raised.value.command, raised.value.lines, raised.value.result) == ("AT+NOSUCH", [], "ERROR")


def test_a_failure_has_code_name_and_text(bench):
    bench.start("--fault", "silence")
    with Handset(bench.link) as handset:
        with pytest.raises(HandsetError) as raised:
            handset.at("AT", timeout=0.05)
        assert (raised.value.code, raised.value.name) == (0x4004, "NoAnswer")
        assert raised.value.text == "no (accepted) answer within the time"
        assert str(raised.value) == "AT: no (accepted) answer within the time (NoAnswer, 0x4004)"
        with pytest.raises(HandsetError) as raised:
            handset.at("")
        assert raised.value.code == Code.BadAtCommand


def test_a_port_that_is_not_there(tmp_path):
    for port in (str(tmp_path / "none"), 9, ""):
        with pytest.raises(HandsetError) as raised:
            with Handset(port):
                pass
        assert raised.value.code == Code.NotOpen


def test_objects_are_bytes(handset):
    assert handset.e2p_read(0x1234, 2) == b"\xff\xff"
    handset.e2p_write(0x1234, 2, b"\xaa\x0b")
    assert handset.e2p_read(0x1234, 2) == b"\xaa\x0b"
    assert handset.e2p_read_range(0x1234, 2, 1, 5) == b"\x0b"
    assert handset.e2p_write_range(0x1234, 2, 1, b"\x0c\x0d") == 1
    assert handset.e2p_read(0x1234, 2) == b"\xaa\x0c"
    with pytest.raises(HandsetError, match="E2P object 0x7777: E2P status 3 .E2pStatus3, 0x8202.") as raised:
        handset.e2p_read(0x7777, 1)
    assert raised.value.code == Code.E2pStatus3
    assert handset.hci(0, b"\x01\x02") == b"\x00\x01\x02"
    assert handset.wifi(0x21, b"\xaa\xbb") == b"\xaa\xbb"
    assert handset.info(Info.Imei) == "490154203237518"
    assert handset.set_info(Info.Field4, "HELLO") == "HELLO"


def test_a_request_gives_its_confirmation(handset):
    assert handset.rf_general(5, 0x0102) == b"\x05\x00\x02\x01"
    assert handset.rf_change_parameter(1, 2, 3, 0xABCD) == b"\x01\x00\x03\x00\xcd\xab"  # the status is where the access was
    assert handset.rf_change_table(1, 2, 3, b"\x0a\x0b") == b"\x01\x00\x03\x00\x0a\x0b"
    assert handset.rf_test_case(7, 1) == b"\x07\x00\x00\x00"
    assert list(handset.confirmations()) == []
    with pytest.raises(ValueError, match="1025"):
        handset.rf_change_table(1, 2, 3, bytes(1025))


def test_in_the_background_confirmations_come_one_after_another(handset):
    with handset.in_mode(Mode.BackgroundOk):
        assert handset.rf_general(5, 0x0102) is None
        coming = handset.confirmations(wait=PATIENCE)
        assert next(coming) == b"\x05\x00\x02\x01"
        handset.rf_general(5, 0x0304)
        assert next(coming) == b"\x05\x00\x04\x03"
        assert list(handset.confirmations()) == []
    assert handset.mode == Mode.SynchronousOk


def test_confirmations_that_come_of_themselves_are_waited_for(bench):
    bench.start("--unsolicited", "20")
    with Handset(bench.link) as handset, handset.in_mode(Mode.Background):
        coming = handset.confirmations(wait=PATIENCE)
        first, second = next(coming), next(coming)
        assert first and second and first != second


def test_events_are_told_on_another_thread(handset):
    heard, threads = [], set()

    def listen(data):
        threads.add(threading.get_ident())
        heard.append((data, handset.is_open))

    handset.on_confirmation = listen
    with handset.in_mode(Mode.Events):
        handset.rf_general(5, 0x0102)
        wait_until(lambda: heard, "the event")
    assert heard[0] == (b"\x05\x00\x02\x01", True)
    assert threading.get_ident() not in threads


def test_what_a_listener_raises_is_told_and_ends_nothing(handset, monkeypatch):
    told = []
    monkeypatch.setattr(sys, "unraisablehook", lambda unraisable: told.append(unraisable.exc_value))

    def listen(data):
        raise LookupError(data)

    handset.on_confirmation = listen
    with handset.in_mode(Mode.Events):
        for index in (1, 2):
            handset.rf_general(5, index)
            wait_until(lambda: len(told) == index, "the exception")
    assert [type(each) for each in told] == [LookupError, LookupError]


def test_raw_bytes(handset):
    handset.at("ATE0", timeout=PATIENCE)
    assert handset.raw_write(b"AT\r") == 3
    got = b""
    deadline = time.monotonic() + PATIENCE
    while len(got) < 6 and time.monotonic() < deadline:
        got += handset.raw_read()
    assert got == b"\r\nOK\r\n"
    assert handset.raw_read() == b""
    assert os.isatty(handset.fileno())
    with pytest.raises(HandsetError, match="SignalNotSet"):
        handset.set_signal(OutputSignal.Dtr, True)  # a pseudo-terminal has no lines
    assert handset.signal(InputSignal.Cts) is False


def test_files_are_written(plain, tmp_path):
    with Handset(plain.link, trace=tmp_path / "trace.log", log=str(tmp_path / "l\xf6g")) as handset:
        handset.e2p_read(0x1234, 2)
        handset.at("AT+CSQ", timeout=PATIENCE)
    assert "E2P-R" in (tmp_path / "trace.log").read_text()
    assert "AT+CSQ" in (tmp_path / "l\xf6g").read_text()


def test_a_closed_handset_raises(plain):
    handset = Handset(plain.link).open()
    assert "MovaCmdSvr" in handset.version
    handset.close()
    handset.close()
    with pytest.raises(ValueError, match="the handset is closed"):
        handset.at("AT")


def test_a_handset_goes_when_nobody_holds_it_whatever_it_calls(plain):
    handset = Handset(plain.link).open()
    handset.on_confirmation = handset._told  # a circle
    handset.mode = Mode.Events
    gone = weakref.ref(handset)
    del handset
    gc.collect()
    assert gone() is None
    Handset(plain.link).open().close()  # and its port with it


def slow(bench):
    """A handset that does not answer, and one that waits long for it."""
    bench.start("--fault", "silence")
    handset = Handset(bench.link).open()
    patient(handset)
    return handset


def test_other_threads_run_while_one_waits(bench):
    handset = slow(bench)
    outcome = []

    def wait():
        try:
            handset.e2p_read(0x1234, 2)
        except (HandsetError, ValueError) as raised:
            outcome.append(raised)

    waiting = threading.Thread(target=wait)
    waiting.start()
    for _ in range(20):  # would stand still if the wait kept Python's lock
        time.sleep(0.01)
    assert waiting.is_alive()
    handset.close()  # ends the wait
    waiting.join(PATIENCE)
    assert not waiting.is_alive()
    assert [raised.name for raised in outcome if isinstance(raised, HandsetError)] in (["Stopped"], ["NoAnswer"])


def test_signals_are_handled_while_the_main_thread_waits(bench):
    """One whose handler raises nothing does not end the wait; one that raises does."""
    handset = slow(bench)
    handled = []
    before = {number: signal.getsignal(number) for number in (signal.SIGUSR1, signal.SIGUSR2)}

    class Ended(Exception):
        pass

    def end(*_):
        raise Ended

    def send():
        os.kill(os.getpid(), signal.SIGUSR1)
        wait_until(lambda: handled, "the first signal")
        os.kill(os.getpid(), signal.SIGUSR2)

    try:
        signal.signal(signal.SIGUSR1, lambda *_: handled.append(handset.version))  # a handler may call the handset
        signal.signal(signal.SIGUSR2, end)
        sender = threading.Timer(0.2, send)
        sender.start()
        with pytest.raises(Ended):
            handset.e2p_read(0x1234, 2)
        sender.join(PATIENCE)
    finally:
        for number, handler in before.items():
            signal.signal(number, handler)
    assert len(handled) == 1
    assert not handset.is_open
    bench.start()
    assert handset.open().e2p_read(0x1234, 2) == b"\xff\xff"  # it goes on
    handset.close()


WAITING = """
import sys
from mova import Handset, Timeout
with Handset(sys.argv[1]) as handset:
    handset.set_timeout(Timeout.Acknowledgement, 200)
    print("waiting", flush=True)
    handset.e2p_read(0x1234, 2)
"""


def test_ctrl_c_ends_a_wait(bench):
    bench.start("--fault", "silence")
    process = bench.python(WAITING, bench.link)
    assert process.stdout.readline() == "waiting\n"
    time.sleep(0.2)
    process.send_signal(signal.SIGINT)
    _, told = process.communicate(timeout=PATIENCE)
    assert told.strip().splitlines()[-1] == "KeyboardInterrupt"
    assert process.returncode == -signal.SIGINT


LEAVING = """
import atexit
import sys

@atexit.register
def after_the_module():
    try:
        handset.is_open
    except ValueError as closed:
        print(closed)

from mova import Handset, Mode
handset = Handset(sys.argv[1], on_confirmation=lambda data: None).open()
handset.mode = Mode.Events
handset.rf_general(5, 1)
print("left", flush=True)
"""


def test_a_program_may_end_without_closing(bench):
    """The library's thread calls Python, so it has to end before Python does."""
    bench.start("--unsolicited", "1")
    process = bench.python(LEAVING, bench.link)
    assert process.communicate(timeout=PATIENCE) == ("left\nthe handset is closed\n", "")
    assert process.returncode == 0


def test_many_threads_share_a_handset(handset):
    failures = []

    def read():
        try:
            for _ in range(10):
                assert handset.e2p_read(0x1234, 2) == b"\xff\xff"
        except BaseException as raised:
            failures.append(raised)

    threads = [threading.Thread(target=read) for _ in range(8)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join(PATIENCE)
    assert failures == []


def test_codes_have_names_and_texts():
    assert mova.code_text(0x4004) == "no (accepted) answer within the time"
    assert mova.code_name(0x8202) == "E2pStatus3"
    assert mova.code_text(1) == ""
    assert Code.WrongData == 0x4206
    for code in Code:
        if code.name not in ("LogPathEmpty", "Success", "UnknownProperty"):
            assert mova.code_name(code) == code.name
    assert Code.WrongArrayType is Code.UnknownProperty


def test_printing_needs_no_terminal(plain):
    done = subprocess.run([sys.executable, "-c", "import mova; help(mova.Handset)"], capture_output=True, text=True,
                          env={**os.environ, "PYTHONPATH": os.path.dirname(os.path.dirname(mova.__file__))})
    assert "Ctrl-C" in done.stdout, done
