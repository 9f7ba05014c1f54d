#!/usr/bin/env python3
"""What scripts/analyse.py has to find: each mistake is planted in a file of its own."""
import importlib.util
import os
import pathlib
import re
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[3]
sys.dont_write_bytecode = True
found = importlib.util.spec_from_file_location("analyse", ROOT / "scripts/analyse.py")
analyse = importlib.util.module_from_spec(found)
found.loader.exec_module(analyse)

UNLOCKED = """#include "component/Core.h"

class Counter {
public:
    void add() { ++count_; }
    void addLocked() {
        const mova::LockGuard guard(mutex_);
        ++count_;
    }

private:
    mova::Mutex mutex_;
    int count_ MOVA_GUARDED_BY(mutex_) = 0;
};

bool isSerial(mova::Core& core) { return core.port.isSerial(); }
bool isSerialLocked(const std::shared_ptr<mova::Core>& core) {
    const mova::PortLock lock(core);
    return core->port.isSerial();
}
"""
LOCKED = "\n".join(line for line in UNLOCKED.split("\n") if "add()" not in line and "isSerial(mova" not in line)

UNTIDY = "int twice(int value)\n{\n  return 2*value;\n}\n"
TIDY = "int twice(int value) { return 2 * value; }\n"


class Analysis(unittest.TestCase):
    def setUp(self):
        os.chdir(ROOT)
        analyse.WORK.mkdir(parents=True, exist_ok=True)
        folder = tempfile.TemporaryDirectory(dir=analyse.WORK)  # where the tree's settings hold
        self.addCleanup(folder.cleanup)
        self.planted = pathlib.Path(folder.name, "Planted.cpp")

    def tidy(self, text):
        self.planted.write_text(text)
        job = analyse.TidyJob(str(self.planted), [self.planted], analyse.COMPILE)
        self.addCleanup(job.unit.unlink)
        return job.run()

    def format(self, text):
        self.planted.write_text(text)
        return analyse.FormatJob("planted", [self.planted]).run()

    def test_what_a_lock_guards_is_touched_without_it(self):
        found = self.tidy(UNLOCKED)
        place = re.escape(str(self.planted))
        said = re.findall(rf"{place}:(\d+):.*\[clang-diagnostic-thread-safety-analysis,-warnings-as-errors\]", found)
        self.assertEqual(said, ["5", "16"], found)  # a mutex of its own; the port's lock

    def test_nothing_else_is_said_of_it(self):
        self.assertIsNone(self.tidy(LOCKED))

    def test_another_style(self):
        self.assertIn(f"{self.planted}:1:", self.format(UNTIDY))

    def test_the_trees_own_style(self):
        self.assertIsNone(self.format(TIDY))


if __name__ == "__main__":
    unittest.main()
