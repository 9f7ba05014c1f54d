#!/usr/bin/env python3
"""What layers.py has to find: each rule is broken in a small tree of its own."""
import pathlib
import tempfile
import unittest

from layers import Tree

SOUND = {
    "src/base/Text.h": "#include <string>\n",
    "src/platform/Clock.h": '#include "base/Text.h"\n',
    "src/platform/posix/PosixClock.cpp": '#include "platform/posix/PosixClock.h"\n#include <sys/time.h>\n',
    "src/platform/posix/PosixClock.h": '#include "platform/Clock.h"\n',
    "src/platform/win32/Win32Clock.h": '#include "platform/Clock.h"\n#include <windows.h>\n',
    "src/device/Port.h": '#include "platform/Clock.h"\n#include "mova/Codes.h"\n',
    "src/component/automation/Entry.cpp": '#include "platform/win32/Win32Clock.h"\n#include "device/Port.h"\n',
    "include/mova/Codes.h": "#include <cstdint>\n",
    "tools/cli/Command.cpp": '#include "base/Text.h"\n#include "mova/Codes.h"\n#include <unistd.h>\n',
    "tools/handset/Frames.h": "#include <string>\n",
    "python/module.cpp": '#include "mova/Codes.h"\n',
    "tests/oracle/Engine.cpp": '#include "oracle/Engine.h"\n',
    "tests/oracle/Engine.h": "#include <string>\n",
}


class Layers(unittest.TestCase):
    def found(self, changes, exceptions=()):
        with tempfile.TemporaryDirectory() as root:
            for name, text in {**SOUND, **changes}.items():
                if text is not None:
                    path = pathlib.Path(root, name)
                    path.parent.mkdir(parents=True, exist_ok=True)
                    path.write_text(text)
            return Tree(root, exceptions).check()

    def finds(self, words, changes, exceptions=()):
        failures = self.found(changes, exceptions)
        self.assertEqual(len(failures), 1, failures)
        self.assertIn(words, failures[0])

    def test_a_sound_tree_passes(self):
        self.assertEqual(self.found({}), [])

    def test_an_upward_include(self):
        self.finds("looks up: device/Port.h", {"src/platform/Clock2.h": '#include "device/Port.h"\n'})

    def test_an_upward_include_of_a_source_file(self):
        self.finds("looks up: device/Port.h", {"src/base/Text.cpp": '  #  include "device/Port.h"\n'})

    def test_a_folder_that_is_no_layer(self):
        self.finds("is in no layer", {"src/attic/Old.h": "#include <string>\n"})

    def test_an_adapter_included_from_outside(self):
        self.finds("includes an adapter", {"src/device/Port.cpp": '#include "platform/posix/PosixClock.h"\n'})

    def test_an_adapter_included_by_the_other(self):
        self.finds("includes an adapter", {"src/platform/win32/A.cpp": '#include "platform/posix/PosixClock.h"\n'})

    def test_an_adapter_included_by_its_own_layer(self):
        self.finds("includes an adapter", {"src/platform/Pick.cpp": '#include "platform/posix/PosixClock.h"\n'})

    def test_a_library_outside_its_module(self):
        self.assertEqual(self.found({"src/platform/rfc2217/A.cpp": '#include "platform/posix/PosixClock.h"\n'
                                                                   "#include <gensio/gensio.h>\n"}), [])
        self.finds("a library that the component does without", {"src/platform/posix/A.cpp": "#include <gensio/gensio.h>\n"})

    def test_a_system_header_outside_the_adapters(self):
        for header in ("unistd.h", "sys/stat.h", "windows.h"):
            self.finds("a header of the system", {"src/device/Port.cpp": f"#include <{header}>\n"})

    def test_a_system_header_in_the_public_face(self):
        self.finds("a header of the system", {"include/mova/Events.h": "#include <windows.h>\n"})

    def test_a_public_face_that_looks_behind_it(self):
        self.finds("looks behind it", {"include/mova/Events.h": '#include "base/Text.h"\n'})

    def test_a_relative_path(self):
        self.finds("not by its path", {"src/device/Port.cpp": '#include "../base/Text.h"\n'})

    def test_a_header_that_is_not_there(self):
        self.finds("what is not there", {"src/device/Port.cpp": '#include "device/Gone.h"\n'})

    def test_a_circle(self):
        self.finds("a circle: src/base/A.h -> src/base/B.h -> src/base/A.h",
                   {"src/base/A.h": '#include "base/B.h"\n', "src/base/B.h": '#include "base/A.h"\n'})

    def test_a_tool_that_goes_below_the_public_face(self):
        self.finds("may not include: device/Port.h", {"tools/cli/Ports.cpp": '#include "device/Port.h"\n'})

    def test_a_handset_that_shares_code_with_the_component(self):
        for header in ("device/Port.h", "mova/Codes.h"):
            self.finds("may not include", {"tools/handset/Frames.cpp": f'#include "{header}"\n'})

    def test_a_trace_reader_that_shares_code_with_the_component(self):
        self.finds("may not include", {"tools/trace/Reader.cpp": '#include "device/Port.h"\n'})

    def test_a_tool_that_nothing_is_said_of(self):
        self.finds("nothing says what it may include", {"tools/novel/main.cpp": "#include <string>\n"})

    def test_a_python_module_that_goes_below_the_public_face(self):
        self.finds("may not include", {"python/more.cpp": '#include "base/Text.h"\n'})

    def test_an_oracle_that_shares_code_with_what_it_judges(self):
        for header in ("base/Text.h", "mova/Codes.h"):
            self.finds("may not include", {"tests/oracle/Frames.cpp": f'#include "{header}"\n'})

    def test_an_exception_holds_for_its_folder_and_header_alone(self):
        exceptions = {("tools/cli", "device/Port.h")}
        use = {"tools/cli/Ports.cpp": '#include "device/Port.h"\n'}
        self.assertEqual(self.found(use, exceptions), [])
        self.finds("platform/Clock.h", {**use, "tools/cli/B.cpp": '#include "platform/Clock.h"\n'}, exceptions)
        self.finds("tools/handset", {**use, "tools/handset/B.cpp": '#include "device/Port.h"\n'}, exceptions)

    def test_an_exception_that_nobody_needs(self):
        self.finds("nobody needs any more", {}, {("tools/cli", "device/Port.h")})

    def test_an_empty_tree(self):
        self.assertTrue(self.found({name: None for name in SOUND}))


if __name__ == "__main__":
    unittest.main()
