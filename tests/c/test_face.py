"""The C interface: a C program against the simulated handset, and that there is one function for each method.

test_face.py FOLDER_OF_PROGRAMS"""
import os
import re
import subprocess
import sys
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tools", "cli"))
import bench  # takes the folder of programs

OWN = {"mova_code_text", "mova_code_name", "mova_create", "mova_destroy", "mova_unread_text"}  # of no method


def read(*path):
    with open(os.path.join(bench.SOURCE, *path)) as file:
        return re.sub(r"//[^\n]*|/\*.*?\*/", "", file.read(), flags=re.DOTALL)


def functions():
    """Name and parameters of each in the header."""
    return dict(re.findall(r"MOVA_API [\w *]*?(mova_\w+)\(([^)]*)\) MOVA_NOEXCEPT;", read("include", "mova", "mova.h")))


def methods():
    face = read("include", "mova", "CVeCmdManager.h").split("class MOVA_API CVeCmdManager {")[1].split("private:")[0]
    return set(re.findall(r"[\w>] (\w+)\(", face)) - {"CVeCmdManager", "FinalRelease"}  # mova_destroy is that


def small(name):
    """ReadE2PObjectEx: read_e2p_object_ex."""
    name = name.replace("E2PObject", "_E2p_Object").replace("E2PPasswd", "_E2p_Passwd").replace("WiFi", "Wifi")
    return re.sub(r"_+", "_", re.sub(r"(?<=[a-z0-9])(?=[A-Z])", "_", name)).strip("_").lower()


class Face(bench.BenchTest):
    def test_the_header_keeps_what_it_promises(self):
        self.start_handset()
        result = subprocess.run([os.path.join(bench.BUILD, "tests", "c-face"), os.path.realpath(self.link), self.folder],
                                capture_output=True, text=True, env=self.environment, timeout=bench.GENEROUS)
        self.assertEqual((result.returncode, result.stdout, result.stderr), (0, "all as promised\n", ""))
        self.assertIn("E2P-R", self.read("trace.log"))
        self.assertIn("AT+CSQ", self.read("handset.log"))

    def test_there_is_one_function_for_each_method(self):
        self.assertGreater(len(methods()), 50)
        self.assertEqual({"mova_" + small(name) for name in methods()} | OWN, set(functions()))

    def test_the_program_calls_every_function_with_and_without_a_handle(self):
        program = read("tests", "c", "face.c")
        refused = program.split("static void a_null_handle_is_refused(void) {")[1].split("\n}\n")[0]
        for name, parameters in functions().items():
            with self.subTest(function=name):
                self.assertIn(name + "(", program.replace(refused, ""))
                if parameters.startswith("mova_handset*"):
                    self.assertRegex(refused, r"%s\((no|NULL)[,)]" % name)


if __name__ == "__main__":
    bench.main()
