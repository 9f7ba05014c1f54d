"""What all programs tell in one form: versions, errors, exit codes, manual pages and completions.

test_texts.py FOLDER_OF_PROGRAMS
"""
import os
import pathlib
import re
import subprocess
import sys
import unittest

PROGRAMS = sys.argv.pop(1)
SOURCE = pathlib.Path(__file__).resolve().parents[3]
NAMES = ("mova", "mova-viewer", "mova-handset")
PATIENCE = 60  # seconds


def run(name, *arguments, **options):
    return subprocess.run([os.path.join(PROGRAMS, name), *arguments], capture_output=True, text=True, timeout=PATIENCE, **options)


def offered(name, *words):
    """What bash would offer for the last word."""
    script = """
        source "$1"; shift
        COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1))
        "_${1//-/_}"
        printf '%s\\n' "${COMPREPLY[@]}"
    """
    done = subprocess.run(["bash", "-uc", script, "bash", SOURCE / "packaging/completions" / name, name, *words],
                          capture_output=True, text=True, timeout=PATIENCE)
    assert done.stderr == "", done.stderr
    return done.stdout.split()


class Texts(unittest.TestCase):
    maxDiff = None

    def test_the_manual_pages_are_the_programs_own(self):
        for name in NAMES:
            page = run(name, "--man-page")
            self.assertEqual((page.returncode, page.stderr), (0, ""))
            self.assertEqual(page.stdout, (SOURCE / "docs" / f"{name}.1").read_text(), f"make it anew: {name} --man-page >docs/{name}.1")

    def test_the_completions_are_the_programs_own(self):
        for name in NAMES:
            self.assertEqual(run(name, "--completion").stdout, (SOURCE / "packaging/completions" / name).read_text(),
                             f"make it anew: {name} --completion >packaging/completions/{name}")

    def test_product_and_component_have_versions_of_their_own(self):
        product = re.search(r"project\(MovaCmdSvr VERSION ([0-9.]+)", (SOURCE / "CMakeLists.txt").read_text())[1]
        self.assertEqual(run("mova", "--version").stdout, f"mova {product}\ncomponent <MovaCmdSvr Ver 1.8.6>\n")
        for name in NAMES[1:]:
            self.assertEqual(run(name, "--version").stdout, f"{name} {product}\n")

    def test_a_wrong_option_is_named_with_the_one_that_may_be_meant(self):
        for name, written, meant in (("mova", "--jsn", "--json"), ("mova-viewer", "--ojbect", "--object"),
                                     ("mova-handset", "--replya", "--replay")):
            done = run(name, written)
            self.assertEqual(done.returncode, 2)
            self.assertEqual(done.stderr, f'{name}: there is no option {written}; did you mean "{meant}"?\n'
                                          f'  hint: "{name} --help" tells more\n')
            self.assertEqual(done.stdout, "")
        done = run("mova", "at", "AT", "--tiemout", "5")
        self.assertEqual(done.returncode, 2)
        self.assertIn('mova: there is no option --tiemout; did you mean "--timeout"?\n', done.stderr)
        done = run("mova", "e2p", "dmup")
        self.assertEqual(done.returncode, 2)
        self.assertIn('mova: there is no command "dmup"; did you mean "dump"?\n', done.stderr)
        self.assertIn('mova: there is no command "bogus"\n', run("mova", "bogus").stderr)

    def test_the_other_programs_end_with_the_same_codes(self):
        for name, status, arguments in (("mova-viewer", 2, ("--count", "0")), ("mova-viewer", 2, ("--regex", "a(")),
                                        ("mova-viewer", 2, ("word",)), ("mova-viewer", 7, ("--file", "/nowhere/x")),
                                        ("mova-handset", 2, ("--fault", "noise")), ("mova-handset", 2, ("/nowhere/profile",)),
                                        ("mova-handset", 3, ("--link", "/nowhere/link")), ("mova-handset", 7, ("--record", "/nowhere/x"))):
            done = run(name, *arguments)
            self.assertEqual(done.returncode, status, (arguments, done.stderr))
            self.assertTrue(done.stderr.startswith(f"{name}: "), done.stderr)

    def test_help_fits_a_terminal_and_tells_the_exit_codes(self):
        for name in NAMES[1:]:
            text = run(name, "--help").stdout
            self.assertEqual([line for line in text.splitlines() if len(line) > 80], [])
            self.assertIn("Exit codes:\n  0  done", text)
            self.assertIn("\n  7  ", text)
            self.assertIn(f"Usage: {name} [OPTIONS]", text)

    def test_commands_are_completed(self):
        self.assertEqual(offered("mova", "e2"), ["e2p"])
        self.assertEqual(sorted(offered("mova", "--port", "7", "e2p", "d")), ["diff", "dump"])
        self.assertEqual(offered("mova", "raw", "w"), ["write"])

    def test_options_are_completed_with_those_of_the_program(self):
        self.assertEqual(offered("mova", "e2p", "dump", "--retr"), ["--retries"])
        self.assertEqual(offered("mova", "e2p", "dump", "--tim"), ["--timeout"])
        self.assertEqual(offered("mova", "e2p", "dump", "--vers"), [])
        self.assertEqual(offered("mova-viewer", "--ig"), ["--ignore-case"])
        self.assertEqual(offered("mova-handset", "--uns"), ["--unsolicited"])

    def test_choices_are_completed(self):
        self.assertEqual(offered("mova", "--colour", "al"), ["always"])
        self.assertEqual(offered("mova-handset", "--echo", ""), ["on", "off"])

    def test_where_a_file_is_meant_nothing_stands_in_the_way_of_file_names(self):
        self.assertEqual(offered("mova", "--trace", "e"), [])


unittest.main()
