#!/usr/bin/env python3
"""layers.py SOURCE_TREE: fails when an include looks where it must not.

src/, include/   a layer includes itself and the layers below it; the public face includes nothing of src/
adapters         platform/win32, platform/posix, platform/rfc2217 and component/automation are included by themselves
                 alone (the last one builds on win32, rfc2217 on posix), and only they include headers of the system
libraries        gensio is seen by platform/rfc2217 alone
tools/, python/  each folder includes what ALLOWED gives it
tests/oracle/    shares nothing with what it judges
everywhere       by a path from the folder's root, of a header that is there, and never in a circle
"""
import pathlib
import re
import sys

# From the ground up. mova/ (the public face) stands beside base/: everybody may include it.
LAYERS = ("base", "platform", "logging", "device", "transport", "services", "atchannel", "component")
FACE = "mova"
ADAPTERS = {"platform/win32": (), "platform/posix": (), "platform/rfc2217": ("platform/posix",),
            "component/automation": ("platform/win32",)}
# Libraries that the component does without: only the module that is loaded when it is needed may see them.
LIBRARIES = {"gensio": "platform/rfc2217"}

# What each folder outside src/ may include. The handset is written from the line protocol and the trace reader from
# the trace's description: sharing the component's codec, they would share its mistakes.
ALLOWED = {
    "tools/cli": ("cli", "simulation", "trace", "expression", "program", "base", FACE),
    "tools/expression": ("expression",),
    "tools/handset": ("handset", "program", "base/Printable.h", "base/Text.h"),
    "tools/program": ("program", "base/Printable.h", "base/Text.h"),
    # It is a platform: it has what is asked of one, and sees none of the real ones.
    "tools/simulation": ("simulation", "handset", "platform/KeyTree.h", "platform/Platform.h", "platform/SerialDriver.h",
                         "platform/Threading.h"),
    "tools/trace": ("trace", "base", FACE),
    "tools/viewer": ("viewer", "expression", "program", "base", FACE),
    "python": ("native", FACE),
    "tests/oracle": ("oracle",),
}

# What stands against the rules above, with its reason. One that nobody needs any more is an error: the list shrinks.
EXCEPTIONS = {
    ("tools/cli", "device/PortDiscovery.h"): "`mova ports` lists what the component would find",
    ("tools/cli", "platform/Platform.h"): "`mova ports` asks the system as the component does; SessionPlatform listens in it",
    ("tools/cli", "platform/SerialDriver.h"): "`mova signals` names the bits of the modem status; LineTap is a driver",
    ("tools/cli", "platform/posix/PosixFolders.h"): "where the links COMn are",
    ("tools/cli", "platform/posix/PosixPlatform.h"): "`mova ports` lists the devices that have no number: where the kernel names them",
    ("tools/cli", "platform/posix/RemoteName.h"): "--port names a port of another machine",
    ("tools/viewer", "logging/MyDebugMsg.h"): "the name of the channel that it listens to",
    ("tools/viewer", "platform/Platform.h"): "its file is made as the component makes its own",
    ("tools/viewer", "platform/posix/PosixFolders.h"): "what the channel's socket is called",
    ("tools/viewer", "platform/posix/PrivateFolder.h"): "where the channel's socket lives",
    ("tools/viewer", "platform/posix/FileDescriptor.h"): "the owner of a file descriptor",
}

# Made by the build.
GENERATED = re.compile(r"^component/automation/generated/|^MovaCmdSvr[A-Za-z_]*\.h$")

INCLUDE = re.compile(r'^\s*#\s*include\s*(?:"([^"]+)"|<([^>]+)>)', re.M)


class Tree:
    def __init__(self, root, exceptions):
        self.root = pathlib.Path(root)
        self.exceptions = exceptions
        self.failures = []
        self.needed = set()  # exceptions that were needed
        self.graph = {}      # of headers and sources: each with what it includes

    def files(self, folder):
        base = self.root / folder
        return [(path, path.relative_to(base).as_posix()) for path in sorted(base.rglob("*"))
                if path.suffix in (".h", ".cpp", ".c")]

    def fail(self, path, what, include):
        self.failures.append(f'{path.relative_to(self.root)} {what}: {include}')

    def permit(self, folder, path, what, include):
        if (folder, include) in self.exceptions:
            self.needed.add((folder, include))
        else:
            self.fail(path, what, include)

    def where(self, include, roots):
        found = [root / include for root in roots if (root / include).is_file()]
        return found[0] if found else None

    def each_include(self, folder, roots):
        """(path, its name in the folder, the quoted or None, the angled or None), with what holds everywhere."""
        for path, name in self.files(folder):
            node = self.graph.setdefault(path, [])
            for quoted, angled in INCLUDE.findall(path.read_text(errors="replace")):
                target = self.where(quoted, roots) if quoted else None
                if target:
                    node.append(target)
                elif quoted and not GENERATED.match(quoted):
                    self.fail(path, "includes what is not there, or not by its path from the root", quoted)
                yield path, name, quoted, angled

    def check_layers(self):
        roots = (self.root / "src", self.root / "include")
        for path, name, quoted, angled in self.each_include("src", roots):
            layer = name.split("/")[0]
            if layer not in LAYERS:
                self.fail(path, "is in no layer", layer)
                continue
            home = next((adapter for adapter in ADAPTERS if name.startswith(adapter + "/")), None)
            if angled and is_foreign(angled) and not home:
                self.fail(path, "includes a header of the system", angled)
            if angled and LIBRARIES.get(angled.split("/")[0], home) != home:
                self.fail(path, "includes a library that the component does without", angled)
            if not quoted or quoted.startswith(FACE + "/"):
                continue
            target = quoted.split("/")[0]
            if target in LAYERS and LAYERS.index(target) > LAYERS.index(layer):
                self.fail(path, "looks up", quoted)
            adapter = next((adapter for adapter in ADAPTERS if quoted.startswith(adapter + "/")), None)
            if adapter and adapter != home and adapter not in ADAPTERS.get(home, ()):
                self.fail(path, "includes an adapter", quoted)

    def check_face(self):
        for path, _, quoted, angled in self.each_include("include", (self.root / "include", self.root / "src")):
            if quoted and not quoted.startswith(FACE + "/"):
                self.permit("include", path, "of the public face looks behind it", quoted)
            if angled and is_foreign(angled):
                self.fail(path, "includes a header of the system", angled)

    def check_folders(self):
        for folder in sorted(path for path in (self.root / "tools").glob("*") if path.is_dir()):
            if self.files(folder) and f"tools/{folder.name}" not in ALLOWED:
                self.failures.append(f"tools/{folder.name}: nothing says what it may include")
        roots = tuple(self.root / folder for folder in ("tools", "tests", "python", "src", "include"))
        for folder, allowed in ALLOWED.items():
            for path, _, quoted, _ in self.each_include(folder, roots):
                if quoted and quoted.split("/")[0] not in allowed and quoted not in allowed:
                    self.permit(folder, path, "may not include", quoted)

    def check_circles(self):
        done, way = set(), []

        def visit(path):
            if path in way:
                circle = way[way.index(path):] + [path]
                self.failures.append("a circle: " + " -> ".join(str(p.relative_to(self.root)) for p in circle))
                return
            if path in done:
                return
            way.append(path)
            for target in self.graph.get(path, ()):
                visit(target)
            way.pop()
            done.add(path)

        for path in sorted(self.graph):
            visit(path)

    def check(self):
        self.check_layers()
        if not self.graph:
            self.failures.append(f"no sources below {self.root / 'src'}")
        self.check_face()
        self.check_folders()
        self.check_circles()
        for folder, include in sorted(set(self.exceptions) - self.needed):
            self.failures.append(f"an exception that nobody needs any more: {folder}, {include}")
        return self.failures


def is_foreign(angled):
    """Not of the C++ library, and none of the C library's headers of types."""
    return ("." in angled or "/" in angled) and not re.fullmatch(r"std[a-z]+\.h", angled)


if __name__ == "__main__":
    tree = Tree(sys.argv[1], EXCEPTIONS)
    if tree.check():
        sys.exit("\n".join(tree.failures))
    print(f"{len(tree.graph)} files look where they may")
