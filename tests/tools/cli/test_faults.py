"""Every command with every fault of the handset: exit code, JSON and text against what the handset really sent."""
import concurrent.futures
import json
import os
import re
import subprocess

from bench import GENEROUS, HANDSET, BenchTest, main

FAULTS = ("silence", "wrong-checksum", "wrong-echo", "wrong-record", "wrong-data", "missing-ack", "missing-ok",
          "duplicate-segment", "skipped-segment", "two-families", "hang-up")

PROFILE = """[e2p]
[[e2p.objects]]
object = 0x2001
record = 1
data = "%s"
[[e2p.objects]]
object = 0x1234
record = 2
data = "1122"
""" % ("A5" * 300)

RF_FRAME = "AT*MOVA=090005000201000000000F"
DUMP = "# mova e2p dump of <test>\n# object record data\n0x1234 2 1122\n"

# A command, the row of ENDINGS that it follows, and what it prints when nothing is wrong. PATIENCE is the longest wait,
# in milliseconds or, with _S, in seconds.
COMMANDS = (
    ("rf", "rf general 5 0x0102", "05000201\n"),
    ("rf", "rf param 6 1 2 0x3456", "060002005634\n"),
    ("rf", "rf table 7 1 3 " + "0A" * 101, "07000300" + "0A" * 101 + "\n"),
    ("rf", "rf testcase 8 1", "08000000\n"),
    ("rf", "rf var 2 9 1,2,4,0A0B0C0D", "090002000A0B0C0D\n"),
    ("rf", "rf general 5 0x0102 --no-confirmation", "05000201\n"),
    ("action", "hci 0 0102", "000102\n"),
    ("action", "hci 2", "00\n"),
    ("action", "hci 16 0102 --no-confirmation", "000102\n"),
    ("action", "wifi 0x21 AABB", "AABB\n"),
    ("action", "wifi 0 AABB", "AABB\n"),
    ("action", "wifi 0 AABB --no-confirmation", "AABB\n"),
    ("read", "e2p read 0x1234 2", "1122\n"),
    ("read", "e2p read 0x2001 1", "A5" * 300 + "\n"),
    ("read", "e2p read 0x2001 1 --offset 4 --length 2", "A5A5\n"),
    ("read", "e2p auth-request 1 1", "0123456789ABCDEF\n"),
    ("read", "e2p hash-request 1 1", "5A" * 20 + "\n"),
    ("read", "e2p dump all.e2p --objects 0x1234 --records 2", "1 object in all.e2p\n"),
    ("lock", "e2p lock-otp 1 1 --yes", "done\n"),
    ("write", "e2p write 0x1234 2 AABB", "2 bytes written and read back\n"),
    ("write", "e2p write 0x1234 2 AA --offset 1", "1 byte written and read back\n"),
    ("echo", "e2p write 0x1234 2 AABB --no-verify", "2 bytes written\n"),
    ("echo", "e2p password 1 1 AABB", "AABB\n"),
    ("echo", "e2p auth-key 1 1 AABB", "AABB\n"),
    ("echo", "e2p serial-number 1 1 AABB", "AABB\n"),
    ("diff", "e2p diff same.e2p", "1 object, no difference\n"),
    ("restore", "e2p restore same.e2p", "0 objects written and read back, 1 right already\n"),
    ("at", "at AT+CSQ", "+CSQ: 21,99\nOK\n"),
    ("at-request", "at " + RF_FRAME, "OK\n"),
    ("info", "info", None),
    ("raw", "raw write --text AT\\r --read --bytes 9 --for PATIENCE --ascii", "AT\\r\\r\\nOK\\r\\n\n"),
    ("raw", "raw read --for 100 --bytes 1", None),
    ("monitor", "monitor --count 1 --seconds PATIENCE_S --send " + RF_FRAME, None),
    ("none", "signals", "CTS off  DSR off  RING off  CARRIER off\n"),
)

NO_ANSWER = (4, "NoAnswer")
PORT_GONE = (6, "ReadFailed")
DAMAGED = (6, "ChecksumMismatch")
NOT_OWN = (6, "WrongCommandEcho")
WITHOUT_REPLY = {"silence": NO_ANSWER, "missing-ack": NO_ANSWER, "missing-ok": NO_ANSWER, "hang-up": PORT_GONE}

# How the commands of a row end, by fault; every other fault leaves the answer whole: 0. An answer that the component
# dropped has its code for no reply, and the line's reason.
E2P = {**WITHOUT_REPLY, "wrong-checksum": NOT_OWN, "wrong-echo": NOT_OWN, "wrong-record": (6, "WrongRecord"),
       "skipped-segment": NOT_OWN, "two-families": NOT_OWN}
ENDINGS = {
    "rf": {**WITHOUT_REPLY, "wrong-checksum": DAMAGED},
    "action": {**WITHOUT_REPLY, "wrong-checksum": NOT_OWN, "wrong-echo": NOT_OWN, "skipped-segment": NOT_OWN,
               "two-families": NOT_OWN},
    # A handset that reads other data than it keeps cannot be told from one that keeps them: wrong-data is a success.
    "read": E2P,
    "lock": E2P,
    "write": {**E2P, "wrong-data": (6, "WrongData")},
    "echo": {**E2P, "wrong-data": (6, "WrongData")},
    "diff": {**E2P, "wrong-data": (1, None)},
    "restore": {**E2P, "wrong-data": (6, "WrongData")},
    "at": {"silence": NO_ANSWER, "hang-up": PORT_GONE},
    "at-request": {**WITHOUT_REPLY, "wrong-checksum": DAMAGED},
    "info": E2P,
    "raw": {"silence": (4, None), "hang-up": PORT_GONE},
    "monitor": {"silence": (4, None), "wrong-checksum": DAMAGED, "hang-up": PORT_GONE},
    "none": {},
}
# Where the component would have made a success of it, the code is the line's.
OWN_ENDINGS = {
    ("hci 0 0102", "wrong-checksum"): DAMAGED,
    ("wifi 0 AABB", "wrong-checksum"): DAMAGED,
    ("wifi 0 AABB --no-confirmation", "wrong-checksum"): DAMAGED,
    ("hci 0 0102", "skipped-segment"): (6, "WrongDataLength"),
    ("wifi 0 AABB", "skipped-segment"): (6, "WrongDataLength"),
    ("wifi 0 AABB --no-confirmation", "skipped-segment"): (6, "WrongDataLength"),
    ("e2p read 0x2001 1", "skipped-segment"): (6, "WrongDataLength"),
    ("e2p read 0x2001 1 --offset 4 --length 2", "skipped-segment"): (6, "WrongDataLength"),
    # These ask for the IMEI first, on which the handset hangs up.
    ("e2p dump all.e2p --objects 0x1234 --records 2", "hang-up"): (6, "WriteFailed"),
    ("e2p restore same.e2p", "hang-up"): (6, "WriteFailed"),
}
# Nothing is sent that it could answer, or hang up on.
OWN_ENDINGS.update({("raw read --for 100 --bytes 1", fault): (4, None) for fault in (None, *FAULTS)})

REASONS = {
    "silence": "nothing arrived",
    "wrong-checksum": "the confirmation is damaged: its checksum is wrong",
    "wrong-record": "the answer names object 0x",
    "wrong-echo": "the answer names ",
    "missing-ack": "no acknowledgement (*MOVA=ACK) arrived",
    "missing-ok": "no OK arrived behind the acknowledgement",
    "skipped-segment": " of the confirmation is missing, part ",
    "two-families": "another confirmation came before the answer",
    "hang-up": "the port went down",
}
# These have their own words.
NO_REASON = {("at", "silence"), ("info", "silence"), ("raw", "silence"), ("raw", "hang-up"), ("monitor", "silence"),
             ("diff", "wrong-data"), ("write", "wrong-data"), ("echo", "wrong-data"), ("restore", "wrong-data")}


# --- what the handset really sent, told by its log and by nothing of the component

def unescape(text):
    return re.sub(r"\\(r|n|\\|x..)", lambda m: {"r": "\r", "n": "\n", "\\": "\\"}.get(m[1]) or chr(int(m[1][1:], 16)), text)


def exchanges(log):
    """Each request to the handset with the lines that it sent before the next."""
    found = []
    for line in log.splitlines():
        event = re.match(r" *[0-9.]+ (<-|->) ?(.*)", line)
        if event and event[1] == "<-":
            found.append((unescape(event[2]), []))
        elif event and found:
            found[-1][1].extend(part for part in unescape(event[2]).replace("\r", "\n").split("\n") if part)
    return found


def payload_of(line):
    """The bytes of a frame behind "MOVA=", None when it is not whole."""
    try:
        frame = bytes.fromhex(line.split("MOVA=")[1])
    except ValueError:
        return None
    checksum = 0
    for byte in frame:
        checksum ^= byte
    return frame[2:-1] if checksum == 0 and int.from_bytes(frame[:2], "little") == len(frame) - 2 else None


def is_answered(request, lines):
    """Whether the handset answered one frame whole, and named what it was asked for."""
    sent = payload_of(request)
    if "*MOVA=ACK" not in lines or "OK" not in lines[lines.index("*MOVA=ACK"):]:
        return False
    confirmations = [payload_of(line) for line in lines if line.startswith("*MOVA=") and line != "*MOVA=ACK"]
    if None in confirmations:
        return False
    own = [confirmation for confirmation in confirmations if confirmation[0] == sent[0]]
    if sent[0] not in (0x80, 0xA0, 0xB0):
        return bool(own) or sent[6] < sent[7]
    reply, last = b"", 0
    for confirmation in own:
        if confirmation[2] == last:
            continue
        if confirmation[2] != last + 1:
            return False
        reply, last = reply + confirmation[3:], confirmation[2]
    asked = sent[3:]
    if sent[0] == 0x80:
        return (int.from_bytes(reply[:2], "little") == len(reply) - 2 and reply[2] == asked[2] and reply[4:8] == asked[4:8])
    if sent[0] == 0xA0:
        return int.from_bytes(reply[:2], "little") == len(reply) - 3 and reply[2] == asked[2]
    return int.from_bytes(reply[2:4], "little") == len(reply) - 4 and reply[0] == asked[0]


class Bench:
    """A folder and a handset of its own for one run, so that runs go side by side."""

    def __init__(self, test, name):
        self.test = test
        self.folder = test.path(name)
        os.mkdir(self.folder)
        for file, text in (("profile.toml", PROFILE), ("same.e2p", DUMP)):
            with open(os.path.join(self.folder, file), "w") as out:
                out.write(text)

    def run(self, words, timeout, *options):
        ready = os.path.join(self.folder, "ready")
        log = os.path.join(self.folder, "log")
        with open(log, "w") as out:
            handset = subprocess.Popen([HANDSET, "profile.toml", "--link", "COM7", "--ready-file", ready, "--baud-rate", "0",
                                        "--log", *options], cwd=self.folder, stdout=subprocess.PIPE, stderr=out)
        try:
            handset.stdout.readline()
            environment = {**self.test.environment, "MOVA_DEVICE_DIR": self.folder}
            ended = subprocess.run([self.test.program, "-p", "7", "-t", timeout, *words], cwd=self.folder, env=environment,
                                   capture_output=True, text=True, stdin=subprocess.DEVNULL, timeout=GENEROUS)
        finally:
            handset.terminate()
            handset.stdout.close()
            handset.wait(GENEROUS)
        with open(log) as text:
            return ended, exchanges(text.read())


class FaultsTest(BenchTest):
    def setUp(self):
        super().setUp()
        from bench import MOVA
        self.program = MOVA

    def judge(self, fault, row, command, expected_output):
        """The faults of one run as texts, none when all is as it has to be."""
        status, code = OWN_ENDINGS.get((command, fault), ENDINGS[row].get(fault, (0, None)))
        options = ["--fault", fault] if fault else []
        # Short where nothing is to come, for busy machines longer where something is.
        patience = 300 if fault == "silence" else 4000 if status in (4, 6) else 20000
        timeout = str(patience)
        words = command.replace("PATIENCE_S", str(max(1, patience // 1000))).replace("PATIENCE", timeout).split(" ")
        wrong = []

        def expect(good, what):
            if not good:
                wrong.append("%s with %s: %s" % (command, fault, what))

        bench = Bench(self, "%s %s" % (fault, command.replace("/", "")[:60]))
        text, sent = bench.run(words, timeout, *options)
        if os.path.exists(os.path.join(bench.folder, "all.e2p")):
            os.remove(os.path.join(bench.folder, "all.e2p"))
        for left in (f for f in os.listdir(bench.folder) if f.endswith(".part")):
            os.remove(os.path.join(bench.folder, left))
        object, sent_again = bench.run(["--json", *words], timeout, *options)
        expect(text.returncode == status, "exit %d, not %d\n%s%s" % (text.returncode, status, text.stdout, text.stderr))
        expect(object.returncode == status, "exit %d with --json, not %d\n%s" % (object.returncode, status, object.stdout))
        result = json.loads(object.stdout.splitlines()[-1])
        expect(result["ok"] == (status == 0), "ok is %s" % result["ok"])
        if status == 0:
            expect(text.stderr == "", "told an error: " + text.stderr)
            # What the handset flips in the data it prints flipped.
            if expected_output is not None and fault != "wrong-data":
                expect(text.stdout == expected_output, "printed " + text.stdout)
            if row not in ("raw", "monitor"):
                for request, lines in sent + sent_again:
                    if request.startswith("AT*MOVA="):
                        expect(is_answered(request, lines), "a success of %s -> %s" % (request, lines))
                    else:
                        expect(lines and lines[-1] == "OK", "a success of %s -> %s" % (request, lines))
        else:
            error = result.get("error", {})
            expect(error.get("name") == code, "the code %s, not %s" % (error.get("name"), code))
            expect(error.get("status") == status, "the status %s" % error.get("status"))
            expect("mova: " in text.stderr and error.get("message", "?") in text.stderr, "the text " + text.stderr)
            if fault in REASONS and (row, fault) not in NO_REASON and not command.startswith("raw read"):
                expect(REASONS[fault] in error.get("message", ""), "the reason " + error.get("message", ""))
        return wrong

    def hold(self, fault):
        # Most of them wait most of the time.
        with concurrent.futures.ThreadPoolExecutor(24) as pool:
            runs = [pool.submit(self.judge, fault, *row) for row in COMMANDS]
            wrong = [line for run in runs for line in run.result()]
        self.assertEqual(wrong, [], "\n".join(wrong))

    def test_every_fault_of_the_handset_is_held(self):
        names = subprocess.run([HANDSET, "--fault", "none"], capture_output=True, text=True).stderr
        self.assertEqual(tuple(names.strip().split("there are: ")[1].splitlines()[0].split(", ")), FAULTS)

    def test_every_command_is_held(self):
        listed = self.mova("--help").out.split("Commands:")[1].split("\n\n")[0]
        names = set(re.findall(r"^  ([a-z0-9]+) ", listed, re.M))
        # These have no answers of their own: they list, show a file or what comes, or run the commands above.
        self.assertEqual(names - {"ports", "stations", "trace", "terminal", "shell", "run"}, {command.split(" ")[0] for _, command, _ in COMMANDS})

    def test_a_healthy_handset(self):
        self.hold(None)


def held(fault):
    return lambda self: self.hold(fault)


for fault in FAULTS:
    setattr(FaultsTest, "test_" + fault.replace("-", "_"), held(fault))


class SessionFaultsTest(BenchTest):
    SCRIPT = "rf general 5 0x0102\nhci 0 0102\n"

    def test_a_script_does_not_pass(self):
        self.start_handset("--fault", "wrong-checksum")
        self.write("s.mova", self.SCRIPT)
        result = self.ask("-t", "20000", "run", "--keep-going", "--junit", "r.xml", "s.mova", "--json")
        self.assertEnds(result, 6)
        report = result.json()
        self.assertEqual((report["ok"], report["passed"], report["failed"]), (False, 0, 2))
        for step in report["steps"]:
            self.assertIn("the confirmation is damaged: its checksum is wrong", "\n".join(step["output"]))
        self.assertIn('failures="2"', self.read("r.xml"))

    def test_a_script_may_expect_the_damage(self):
        self.start_handset("--fault", "wrong-checksum")
        self.write("s.mova", "rf general 5 0x0102\nexpect-code ChecksumMismatch\n")
        self.assertEnds(self.ask("-t", "20000", "run", "s.mova"), 0)

    def test_a_shell_does_not_pass(self):
        self.start_handset("--fault", "wrong-checksum")
        result = self.ask("-t", "20000", "shell", given="rf general 5 0x0102\n")
        self.assertEnds(result, 6, "")
        self.assertIn("its checksum is wrong", result.err)

    def test_damage_of_one_answer_is_read_again(self):
        self.start_handset("--fault", "wrong-checksum=1")
        self.assertEnds(self.ask("-t", "20000", "e2p", "read", "0x1234", "2"), 0, "FFFF\n")

    def test_each_try_is_told(self):
        self.start_handset("--fault", "silence=2")
        result = self.ask("-t", "2000", "e2p", "read", "0x1234", "2")
        self.assertEnds(result, 0, "FFFF\n")
        self.assertEqual(result.err, "object 0x1234 record 2: nothing arrived; try 2 of 3\n"
                                     "object 0x1234 record 2: nothing arrived; try 3 of 3\n")
        self.start_handset("--fault", "silence=1")
        result = self.ask("-t", "2000", "--json", "e2p", "read", "0x1234", "2")
        self.assertEnds(result, 0)
        self.assertEqual(result.err, "")

    def test_a_part_that_is_missing_once_is_read_again(self):
        self.write("profile.toml", PROFILE)
        self.start_handset(self.path("profile.toml"), "--fault", "skipped-segment=1")
        self.assertEnds(self.ask("e2p", "read", "0x2001", "1"), 0, "A5" * 300 + "\n")


OWN = "*MOVA=05000500020103"
OTHER = "*MOVA=05007E0000007B"


class ConversationsTest(BenchTest):
    """Answers that no fault of the handset gives, told byte by byte."""

    def answer(self, *parts):
        text = "<- %s\n" % RF_FRAME + "".join("-> %s\n" % part for part in parts)
        self.start_handset("--replay", self.write("conversation.log", text))

    def general(self, *options):
        return self.ask("-t", "2000", "rf", "general", "5", "0x0102", *options)

    def test_only_an_acknowledgement(self):
        self.answer(r"*MOVA=ACK\r\nOK\r\n")
        result = self.general()
        self.assertEnds(result, 4, "")
        self.assertIn("acknowledged, but no confirmation arrived", result.err)
        self.assertIn("--no-confirmation", result.err)
        result = self.general("--no-confirmation")
        self.assertEnds(result, 0, "acknowledged, without a confirmation\n")
        self.assertEqual(self.general("--no-confirmation", "--json").json(),
                         {"command": "rf general", "ok": True, "confirmations": []})

    def test_an_acknowledgement_of_an_action(self):
        for command, frame in (("hci 0 0102", "AT*MOVA=0900A001010200000102A8"), ("hci 5 0102", "AT*MOVA=0900A001010200050102AD"),
                               ("wifi 0x21 AABB", "AT*MOVA=0A00B0010121000200AABB88")):
            text = "<- %s\n" % frame + "-> *MOVA=ACK\\r\\nOK\\r\\n\n"
            self.start_handset("--replay", self.write("conversation.log", text))
            self.assertEqual(self.ask(*command.split()).status in (4, 6), True, command)
            self.assertEnds(self.ask(*command.split(), "--no-confirmation"), 0, "acknowledged, without a confirmation\n")
            self.assertIsNone(self.ask(*command.split(), "--no-confirmation", "--json").json()["reply"])

    def test_a_confirmation_behind_the_ok(self):
        self.answer(r"*MOVA=ACK\r\nOK\r\n" + OWN + r"\r\n")
        self.assertEnds(self.general(), 0, "05000201\n")

    def test_a_confirmation_of_another_service(self):
        self.answer(r"*MOVA=ACK\r\n" + OTHER + r"\r\nOK\r\n")
        result = self.general()
        self.assertEnds(result, 6, "")
        self.assertIn("a confirmation of service 0x7E arrived, none of 0x05\n  0x4203 WrongCommandEcho", result.err)

    def test_its_own_among_others(self):
        self.answer(r"*MOVA=ACK\r\n%s\r\n%s\r\nOK\r\n" % (OWN, OTHER))
        self.assertEnds(self.general(), 0, "05000201\n")

    def test_a_late_ok_of_another_command(self):
        self.answer(r"OK\r\n")
        result = self.general()
        self.assertEnds(result, 4, "")
        self.assertIn("no acknowledgement", result.err)

    def test_damaged_frames(self):
        for line, reason in (("*MOVA=0500050002010", "the confirmation is cut short"),
                             ("*MOVA=050005000201", "the confirmation is cut short: 6 of 7 bytes"),
                             ("*MOVA=0500050002010303", "the confirmation is damaged: 8 bytes, it says 7"),
                             ("*MOVA=0500050002G103", "the confirmation is damaged: it is not hexadecimal")):
            self.answer(r"*MOVA=ACK\r\n" + line + r"\r\nOK\r\n")
            result = self.general()
            self.assertEnds(result, 6, "")
            self.assertIn(reason, result.err)
            self.assertEnds(self.general("--no-confirmation"), 6, "")

    def test_a_reply_that_says_another_length(self):
        # The last segment never came; the component takes what did.
        frame = "AT*MOVA=0C0080010106008000341202002E"
        text = "<- %s\n" % frame + r"-> *MOVA=ACK\r\n*MOVA=0E008000010900800034120200FFFF22\r\nOK\r\n" + "\n"
        self.start_handset("--replay", self.write("conversation.log", text))
        result = self.ask("e2p", "read", "0x1234", "2")
        self.assertEnds(result, 6, "")
        self.assertIn("the answer is cut short: 10 of 11 bytes arrived\n  0x4207 WrongDataLength", result.err)

    def test_a_monitor_tells_of_damage_before_a_good_one(self):
        text = "<- AT\n-> " + r"*MOVA=05007E0000007C\r\n%s\r\n" % OTHER + "\n"
        self.start_handset("--replay", self.write("conversation.log", text))
        result = self.ask("--json", "monitor", "--count", "1", "--seconds", "30", "--send", "AT")
        self.assertEnds(result, 6)
        last = json.loads(result.lines[-1])
        self.assertEqual((last["ok"], last["count"], last["damaged"]), (False, 1, 1))
        self.assertIn("its checksum is wrong", last["error"]["message"])

    def test_a_refused_question_of_the_info(self):
        self.write("profile.toml", '[answers]\n"AT%V" = { result = "ERROR" }\n')
        self.start_handset(self.path("profile.toml"))
        result = self.ask("--json", "info")
        self.assertEnds(result, 1)
        self.assertIsNone(result.json()["version"])
        self.assertEqual(result.json()["error"]["message"], "software version was not told: the handset says ERROR")


if __name__ == "__main__":
    main()
