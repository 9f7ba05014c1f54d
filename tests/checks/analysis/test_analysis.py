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

# Only a look into the standard library's functions sees who frees it.
FREED = """#include <memory>

int freed() {
    auto owner = std::make_unique<int>(1);
    const int* kept = owner.get();
    owner.reset();
    return *kept;
}
"""
# One path of 64, too far away for a look that follows each of the library's functions.
FAR = """#include <functional>
#include <memory>
#include <vector>

int far(bool a, bool b, bool c, bool d, bool e, bool f, std::vector<std::shared_ptr<int>>& all) {
    const int value = 1;
    const int* last = &value;
    int said = 0;
    const auto add = [&](bool yes, int bit) {
        if (yes) said += bit;
        all.push_back(std::make_shared<int>(said));
        const std::function<void()> tell = [&] { all.back() = all.front(); };
        tell();
    };
    add(a, 1);
    add(b, 2);
    add(c, 4);
    add(d, 8);
    add(e, 16);
    add(f, 32);
    if (said == 32) last = nullptr;
    return *last;
}
"""

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

    def analysed(self, text, check):
        """The lines that the analyser's check finds something in."""
        return "\n".join(line for line in (self.tidy(text) or "").split("\n") if f"[clang-analyzer-{check}," in line)

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

    def test_what_an_owner_has_freed_is_read(self):
        self.assertIn(f"{self.planted}:7:", self.analysed(FREED, "cplusplus.NewDelete"))

    def test_nothing_is_read_on_one_path_of_many(self):
        self.assertIn(f"{self.planted}:22:", self.analysed(FAR, "core.NullDereference"))

    def test_another_style(self):
        self.assertIn(f"{self.planted}:1:", self.format(UNTIDY))

    def test_the_trees_own_style(self):
        self.assertIsNone(self.format(TIDY))


if __name__ == "__main__":
    unittest.main()
