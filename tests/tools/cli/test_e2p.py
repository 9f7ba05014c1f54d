"""E2P objects one by one, and whole stores: dumped, compared and restored, also after an interruption."""
import os
import signal
import stat
import subprocess
import time

from bench import HANDSET, BenchTest, main, wait_until

# A small store; the handset's own IMEI.
STORE = "4097 1 00112233\n4099 1 AABBCCDD\n4099 3 0102\n4100 2 FFFF\n8192 1 " + "5A" * 300 + "\n"
RANGES = ("--objects", "4096-4110,0x2000", "--records", "1-4")


def objects(text):
    return [line for line in text.splitlines() if not line.startswith("#")]


class ObjectTest(BenchTest):
    def setUp(self):
        super().setUp()
        self.start_handset("--store", self.write("store", STORE))

    def test_read_and_write(self):
        self.assertEnds(self.ask("e2p", "read", "0x1001", "1"), 0, "00112233\n")
        self.assertEnds(self.ask("e2p", "write", "0x1001", "1", "44 55 66 77"), 0, "4 bytes written and read back\n")
        self.assertEnds(self.ask("e2p", "read", "4097", "1"), 0, "44556677\n")

    def test_a_write_is_read_back(self):
        def asked():
            return [line for line in self.read("handset.log").splitlines() if " <- " in line]

        self.assertEnds(self.ask("e2p", "write", "0x1001", "1", "44556677"), 0)
        self.assertEqual(len(asked()), 2)
        self.assertIn("0A0081000110010044556677", asked()[0])
        self.assertIn("0600800001100100", asked()[1])
        self.assertEnds(self.ask("e2p", "write", "0x1001", "1", "44556677", "--no-verify"), 0, "4 bytes written\n")
        self.assertEqual(len(asked()), 3)

    def test_a_part(self):
        self.assertEnds(self.ask("e2p", "read", "4097", "1", "--offset", "1", "--length", "2"), 0, "1122\n")
        self.assertEnds(self.ask("e2p", "write", "4097", "1", "EEFF", "--offset", "2"), 0, "2 bytes written and read back\n")
        self.assertEnds(self.ask("e2p", "read", "4097", "1"), 0, "0011EEFF\n")

    def test_a_part_beyond_the_object_is_not_written(self):
        result = self.ask("e2p", "write", "4097", "1", "EEFF", "--offset", "3")
        self.assertEnds(result, 1, "")
        self.assertIn("object 0x1001 record 1 has 4 bytes, and not 5", result.err)
        self.assertEnds(self.ask("e2p", "read", "4097", "1"), 0, "00112233\n")
        self.assertEnds(self.ask("e2p", "read", "4097", "1", "--offset", "3", "--length", "2"), 1, "")

    def test_a_table(self):
        self.assertEnds(self.ask("e2p", "write", "4097", "1", "41424300"), 0)
        self.assertEnds(self.ask("e2p", "read", "4097", "1", "--table"), 0,
                        "000000  41 42 43 00" + "   " * 12 + "  ABC.\n")

    def test_what_is_not_there(self):
        result = self.ask("e2p", "read", "0x7777", "1")
        self.assertEnds(result, 1, "")
        self.assertIn("mova: object 0x7777 record 1 was not read\n  0x8202 E2pStatus3: the handset reports E2P status 3\n", result.err)

    def test_another_size_is_refused(self):
        result = self.ask("e2p", "write", "4097", "1", "00", "--json")
        self.assertEnds(result, 1)
        self.assertEqual(result.json()["error"]["hex"], "0x8204")

    def test_as_json(self):
        self.assertEqual(self.ask("e2p", "read", "4099", "3", "--json").json(),
                         {"command": "e2p read", "ok": True, "object": 4099, "record": 3, "offset": 0, "bytes": 2, "data": "0102"})

    def test_provisioning(self):
        self.assertEnds(self.ask("e2p", "password", "0", "0", "AABB"), 0, "AABB\n")
        self.assertEnds(self.ask("e2p", "auth-request", "0", "0"), 0, "0123456789ABCDEF\n")
        self.assertEnds(self.ask("e2p", "hash-request", "0", "0"), 0, "5A" * 20 + "\n")
        self.assertEnds(self.ask("e2p", "lock-otp", "0", "0"), 2, "")
        self.assertEnds(self.ask("e2p", "lock-otp", "0", "0", "--yes"), 0, "done\n")


class FailingLineTest(BenchTest):
    def test_a_lost_answer_is_asked_for_again(self):
        self.start_handset("--store", self.write("store", STORE), "--fault", "silence=1")
        self.assertEnds(self.ask("-t", "300", "e2p", "read", "4099", "3"), 0, "0102\n")

    def test_a_silent_handset(self):
        self.start_handset("--fault", "silence")
        result = self.ask("-t", "100", "e2p", "read", "4099", "3")
        self.assertEnds(result, 4, "")
        self.assertIn("0x4004 NoAnswer", result.err)

    def test_a_write_that_is_echoed_wrongly(self):
        self.start_handset("--store", self.write("store", STORE), "--fault", "wrong-data")
        result = self.ask("e2p", "write", "4099", "3", "0304")
        self.assertEnds(result, 6, "")
        self.assertIn("0x4206 WrongData: the handset echoed other data than was sent", result.err)


class DumpTest(BenchTest):
    def test_a_store_becomes_a_file(self):
        self.start_handset("--store", self.write("store", STORE))
        result = self.ask("e2p", "dump", "out.e2p", *RANGES)
        self.assertEnds(result, 0)
        self.assertEqual(result.lines[0], "4 objects in out.e2p")
        text = self.read("out.e2p")
        # Record 2 of 4100 is not asked for: its first one is not there.
        self.assertEqual(objects(text), ["4097 1 00112233", "4099 1 AABBCCDD", "4099 3 0102", "8192 1 " + "5A" * 300])
        self.assertIn("# imei: 490154203237518\n# objects: 4096-4110,8192\n# records: 1-4\n", text)
        self.assertTrue(text.endswith("# complete: 4\n"), text)

    def test_every_record(self):
        self.start_handset("--store", self.write("store", STORE))
        result = self.ask("e2p", "dump", "out.e2p", *RANGES, "--every-record", "--json")
        self.assertEnds(result, 0)
        answer = result.json()
        self.assertEqual((answer["objects"], answer["bytesRead"], answer["resumedWith"]), (5, 312, 0))
        # 16 objects, 12 of which do not exist, with 4 records each; 5 of the other 16 records do.
        self.assertEqual(answer["refused"], {"0x8202": 48, "0x8203": 11})
        self.assertEqual(objects(self.read("out.e2p")), STORE.splitlines())

    def test_a_dump_serves_the_simulated_handset(self):
        self.start_handset("--store", self.write("store", STORE))
        self.assertEnds(self.ask("e2p", "dump", "out.e2p", *RANGES), 0)
        self.start_handset("--store", self.path("out.e2p"))
        self.assertEnds(self.ask("e2p", "read", "4099", "3"), 0, "0102\n")

    def test_a_file_is_not_replaced_unasked(self):
        self.start_handset("--store", self.write("store", STORE))
        self.write("out.e2p", "mine\n")
        result = self.ask("e2p", "dump", "out.e2p", *RANGES)
        self.assertEnds(result, 7, "")
        self.assertIn("out.e2p is there already", result.err)
        self.assertEqual(self.read("out.e2p"), "mine\n")
        self.assertEnds(self.ask("e2p", "dump", "out.e2p", *RANGES, "--force"), 0)

    def test_what_is_no_regular_file_is_not_replaced(self):
        self.start_handset("--store", self.write("store", STORE))
        os.symlink(self.write("mine", "mine\n"), self.path("link"))
        os.mkfifo(self.path("pipe"))
        os.mkdir(self.path("folder"))
        for name in ("link", "pipe", "folder", "/dev/null"):
            result = self.ask("e2p", "dump", name, *RANGES, "--force")
            self.assertEnds(result, 7, "")
            self.assertIn("%s is there already, and is no regular file" % name, result.err)
        self.assertTrue(os.path.islink(self.path("link")))
        self.assertTrue(stat.S_ISFIFO(os.stat(self.path("pipe")).st_mode))

    def test_nor_is_an_unfinished_dump_that_is_none(self):
        self.start_handset("--store", self.write("store", STORE))
        os.symlink(self.write("mine", "mine\n"), self.path("link.part"))
        os.mkfifo(self.path("pipe.part"))
        os.mkdir(self.path("folder.part"))
        for name in ("link", "pipe", "folder"):
            result = self.ask("e2p", "dump", name, *RANGES, "--restart")
            self.assertEnds(result, 7, "")
            self.assertIn("%s.part is no regular file" % name, result.err)
        self.assertEqual(self.read("mine"), "mine\n")

    def test_a_second_dump_to_the_same_file_is_refused(self):
        self.start_handset("--store", self.write("store", STORE))
        first = self.start("--port", "7", "e2p", "dump", "out.e2p", "--objects", "0-65535", "--records", "1")
        wait_until(lambda: self.exists(self.path("out.e2p.part")) and self.read("out.e2p.part"), "the first object")
        other = os.path.join(self.folder, "COM8")
        second = subprocess.Popen([HANDSET, "--link", other, "--ready-file", other + ".ready", "--baud-rate", "0"],
                                  stdout=subprocess.DEVNULL)
        try:
            wait_until(lambda: os.path.exists(other + ".ready"), "the second handset")
            result = self.mova("--port", "8", "e2p", "dump", "out.e2p", "--objects", "4096-4110", "--restart")
            self.assertEnds(result, 7, "")
            self.assertIn("mova: out.e2p.part is being written by another program\n", result.err)
            self.assertIsNone(first.poll())  # the first one was under way all the time
        finally:
            second.terminate()
            second.wait()
            first.send_signal(signal.SIGINT)
            self.assertEnds(self.finish(first), 5)
        self.assertIn("# objects: 0-65535\n", self.read("out.e2p.part"))

    def test_a_byte_order_mark_before_a_dump_is_passed_over(self):
        marked = self.write("marked", "\ufeff4099 3 0102\n")
        self.start_handset(self.write("profile.toml", '\ufeff[identity]\nmodel = "X"\n'), "--store", marked)
        self.assertEnds(self.ask("e2p", "diff", marked), 0, "1 object, no difference\n")

    def test_ranges_that_are_none(self):
        result = self.ask("e2p", "dump", "out.e2p", "--objects", "7-3")
        self.assertEnds(result, 2, "")
        self.assertIn("--objects 7-3", result.err)

    def test_an_interrupted_dump_goes_on_where_it_stopped(self):
        store = self.write("store", STORE)
        self.start_handset("--store", store, "--delay", "40")
        process = self.start("--port", "7", "e2p", "dump", "out.e2p", *RANGES)
        part = self.path("out.e2p.part")
        wait_until(lambda: self.exists(part) and "4099 3" in self.read("out.e2p.part"), "the third object")
        process.send_signal(signal.SIGINT)
        result = self.finish(process)
        self.assertEnds(result, 5, "")
        self.assertIn("mova: interrupted\n  hint: the same command goes on where it stopped\n", result.err)
        self.assertFalse(self.exists(self.path("out.e2p")))
        self.assertIn("0600800001100100", self.read("handset.log"))  # the read of object 4097, record 1
        self.start_handset("--store", store)
        result = self.ask("e2p", "dump", "out.e2p", *RANGES, "--json")
        self.assertEnds(result, 0)
        self.assertEqual((result.json()["objects"], result.json()["resumedWith"]), (4, 3))
        self.assertNotIn("0600800001100100", self.read("handset.log"))
        self.assertEqual(objects(self.read("out.e2p")), ["4097 1 00112233", "4099 1 AABBCCDD", "4099 3 0102", "8192 1 " + "5A" * 300])
        self.assertFalse(self.exists(part))

    def test_a_line_that_was_not_written_to_its_end_is_read_again(self):
        self.start_handset("--store", self.write("store", STORE))
        self.write("out.e2p.part", "# mova e2p dump: 1\n# imei: 490154203237518\n# objects: 4096-4110,8192\n# records: 1-4\n"
                                   "4097 1 00112233\n4099 1 AAB")
        self.assertEnds(self.ask("e2p", "dump", "out.e2p", *RANGES), 0)
        self.assertEqual(objects(self.read("out.e2p")), ["4097 1 00112233", "4099 1 AABBCCDD", "4099 3 0102", "8192 1 " + "5A" * 300])

    def test_another_handsets_dump_does_not_go_on(self):
        self.start_handset("--store", self.write("store", STORE))
        self.write("out.e2p.part", "# mova e2p dump: 1\n# imei: 1\n# objects: 4096-4110,8192\n# records: 1-4\n")
        result = self.ask("e2p", "dump", "out.e2p", *RANGES)
        self.assertEnds(result, 7, "")
        self.assertIn("interrupted dump of the handset 1, this is 490154203237518", result.err)
        self.assertEnds(self.ask("e2p", "dump", "out.e2p", *RANGES, "--restart"), 0)

    def test_a_handset_that_falls_silent(self):
        self.start_handset("--fault", "silence")
        result = self.ask("-t", "100", "e2p", "dump", "out.e2p", *RANGES)
        self.assertEnds(result, 4, "")
        self.assertIn("the same command goes on where it stopped", result.err)
        self.assertIn("# next: 4096 1\n", self.read("out.e2p.part"))

    def exists(self, path):
        try:
            open(path).close()
            return True
        except FileNotFoundError:
            return False


class DamagedTextTest(BenchTest):
    """A character that is no digit counts as a 0 in the frame's checksum, so that one in the place of a 0 passes it."""

    OBJECTS = "4097 1 00112233\n4099 1 A0BBCCDD\n"
    # Data and checksum of the answer that tells object 4099.
    GOOD = "A0BBCCDD03"
    FLIPPED, CUT_BY_A_COMMENT, SHORT, HALF = "ApBBCCDD03", "A#BBCCDD03", "A0BBCCDE", "A0BBCCDD3"
    # With what is said of them.
    DAMAGED = {FLIPPED: "the confirmation is damaged: it is not hexadecimal",
               CUT_BY_A_COMMENT: "the confirmation is damaged: it is not hexadecimal",
               SHORT: "the confirmation is cut short: 17 of 18 bytes", HALF: "the confirmation is cut short"}

    def start_with_answers(self, *ends):
        """The reads of object 4099 are answered with these in turn, round and round."""
        request = "AT*MOVA=0C00800101060080000310010018"
        answer = request + "\\r\\n*MOVA=ACK\\r\\n*MOVA=10008000010A00800003100100%s\\r\\nOK\\r\\n"
        conversation = "".join("0 <- %s\n0 -> %s\n" % (request, answer % end) for end in ends)
        self.start_handset("--store", self.write("store", self.OBJECTS), "--replay", self.write("conversation", conversation))

    def dump(self, *more):
        return self.ask("e2p", "dump", "out.e2p", "--objects", "4097-4099", "--records", "1", *more)

    def test_is_read_again(self):
        for damaged in self.DAMAGED:
            self.start_with_answers(damaged, self.GOOD)
            self.assertEnds(self.dump("--force"), 0)
            self.assertEqual(objects(self.read("out.e2p")), ["4097 1 00112233", "4099 1 A0BBCCDD"], damaged)

    def test_that_stays_so_leaves_the_dump_unfinished(self):
        for damaged, reason in self.DAMAGED.items():
            self.start_with_answers(damaged)
            result = self.dump("--restart")
            self.assertEnds(result, 6, "")
            self.assertIn("mova: object 0x1003 record 1 was not read: %s\n  0x4207 WrongDataLength: "
                          "the data has another length than was sent or announced\n" % reason, result.err)
            self.assertNotIn("complete", self.read("out.e2p.part"))
            self.assertEqual(objects(self.read("out.e2p.part")), ["4097 1 00112233"])

    def test_is_no_difference(self):
        file = self.write("file", self.OBJECTS)
        self.start_with_answers(self.FLIPPED, self.GOOD)
        self.assertEnds(self.ask("e2p", "diff", file), 0, "2 objects, no difference\n")
        self.start_with_answers(self.FLIPPED)
        result = self.ask("e2p", "diff", file)
        self.assertEnds(result, 6, "")
        self.assertIn("object 0x1003 record 1 was not read", result.err)

    def test_is_nothing_to_restore_over(self):
        file = self.write("file", self.OBJECTS)
        self.start_with_answers(self.FLIPPED, self.GOOD)
        self.assertEnds(self.ask("e2p", "restore", file), 0, "0 objects written and read back, 2 right already\n")
        self.start_with_answers(self.FLIPPED)
        result = self.ask("e2p", "restore", file)
        self.assertEnds(result, 6, "")
        self.assertIn("object 0x1003 record 1 was not read", result.err)

    def test_is_not_what_was_written(self):
        self.start_with_answers(self.FLIPPED, self.GOOD)
        self.assertEnds(self.ask("e2p", "write", "4099", "1", "A0BBCCDD"), 0, "4 bytes written and read back\n")
        self.start_with_answers(self.FLIPPED)
        result = self.ask("e2p", "write", "4099", "1", "A0BBCCDD")
        self.assertEnds(result, 6, "")
        self.assertIn("object 0x1003 record 1 was written, and could not be read back", result.err)

    def test_is_not_written_back_with_a_part_in_it(self):
        self.start_with_answers(self.FLIPPED)
        self.assertEnds(self.ask("e2p", "write", "4099", "1", "EE", "--offset", "3"), 6, "")
        self.assertNotIn("008100031001", self.read("handset.log"))  # no write of the object


class DiffTest(BenchTest):
    def setUp(self):
        super().setUp()
        self.start_handset("--store", self.write("store", STORE))

    def test_no_difference(self):
        self.assertEnds(self.ask("e2p", "diff", self.write("file", STORE)), 0, "5 objects, no difference\n")

    def test_a_planted_difference_is_found(self):
        self.assertEnds(self.ask("e2p", "write", "8192", "1", "01 02 03", "--offset", "7"), 0)
        result = self.ask("e2p", "diff", self.write("file", STORE + "4097 9 00\n"))
        self.assertEnds(result, 1, "object 0x1001 record 9\n  only in %s\n"
                                   "object 0x2000 record 1\n  bytes 7-9: file 5A5A5A, handset 010203\n" % self.path("file"))
        self.assertIn("2 of 6 objects differ", result.err)

    def test_two_files(self):
        other = self.write("other", "4097 1 00112234\n4099 1 AABBCC\n9 9 99\n")
        result = self.mova("e2p", "diff", self.write("file", "4097 1 00112233\n4099 1 AABBCCDD\n"), other, "--json")
        self.assertEnds(result, 1)
        answer = result.json()
        self.assertEqual((answer["compared"], answer["different"]), (3, 3))
        self.assertEqual([(d["object"], d["record"]) for d in answer["differences"]], [(4097, 1), (4099, 1), (9, 9)])
        self.assertEqual(answer["differences"][0]["texts"], ["byte 3: %s 33, %s 34" % (self.path("file"), other)])

    def test_a_file_with_a_mistake(self):
        result = self.ask("e2p", "diff", self.write("file", "4097 1 00\n4097 2 0\n"))
        self.assertEnds(result, 7, "")
        self.assertIn("%s:2: this is no E2P object" % self.path("file"), result.err)
        self.assertEnds(self.ask("e2p", "diff", self.path("none")), 7, "")


class RestoreTest(BenchTest):
    ERASED = "4097 1 FFFFFFFF\n4099 1 AABBCCDD\n4099 3 FFFF\n4100 2 FFFF\n8192 1 " + "FF" * 300 + "\n"

    def test_what_differs_is_written_and_read_back(self):
        self.start_handset("--store", self.write("store", self.ERASED))
        file = self.write("file", STORE)
        self.assertEnds(self.ask("e2p", "restore", file), 0, "3 objects written and read back, 2 right already\n")
        self.assertEnds(self.ask("e2p", "diff", file), 0, "5 objects, no difference\n")
        self.assertEnds(self.ask("e2p", "restore", file), 0, "0 objects written and read back, 5 right already\n")

    def test_a_selection(self):
        self.start_handset("--store", self.write("store", self.ERASED))
        result = self.ask("e2p", "restore", self.write("file", STORE), "--objects", "4096-4099", "--records", "1-2")
        self.assertEnds(result, 0, "1 object written and read back, 1 right already\n")
        self.assertEnds(self.ask("e2p", "read", "4099", "3"), 0, "FFFF\n")

    def test_an_interrupted_restore_goes_on(self):
        self.start_handset("--store", self.write("store", self.ERASED), "--delay", "100")
        file = self.write("file", STORE)
        process = self.start("--port", "7", "e2p", "restore", file)
        # The write of object 4097, record 1, and its data.
        wait_until(lambda: "0A0081000110010000112233" in self.read("handset.log"), "the first write")
        process.send_signal(signal.SIGINT)
        result = self.finish(process)
        self.assertEnds(result, 5, "")
        self.assertIn("objects right so far; the same command goes on", result.err)
        self.assertEnds(self.ask("e2p", "restore", file), 0)
        self.assertEqual(self.read("handset.log").count("0A0081000110010000112233"), self.lines_of_one_write())
        self.assertEnds(self.ask("e2p", "diff", file), 0)

    def lines_of_one_write(self):
        return 3  # received, echoed, and in the confirmation

    def test_a_refusal(self):
        self.start_handset("--store", self.write("store", self.ERASED))
        file = self.write("file", "4097 1 00\n4099 3 0102\n")
        result = self.ask("e2p", "restore", file)
        self.assertEnds(result, 1, "")
        self.assertIn("object 0x1001 record 1 was not written\n  0x8204 E2pStatus5", result.err)
        result = self.ask("e2p", "restore", file, "--keep-going")
        self.assertEnds(result, 1, "1 object written and read back, 0 right already, 1 refused\n")

    def test_another_handsets_dump(self):
        self.start_handset("--store", self.write("store", self.ERASED))
        file = self.write("file", "# mova e2p dump: 1\n# imei: 123\n4099 3 0102\n# complete: 1\n")
        result = self.ask("e2p", "restore", file)
        self.assertEnds(result, 1, "")
        self.assertIn("is from the handset 123, this is 490154203237518", result.err)
        self.assertEnds(self.ask("e2p", "restore", file, "--force"), 0, "1 object written and read back, 0 right already\n")

    def test_an_unfinished_dump(self):
        self.start_handset("--store", self.write("store", self.ERASED))
        result = self.ask("e2p", "restore", self.write("file", "# mova e2p dump: 1\n4099 3 0102\n"))
        self.assertEnds(result, 7, "")
        self.assertIn("a dump that was not finished", result.err)


if __name__ == "__main__":
    main()
