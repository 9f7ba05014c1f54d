#!/usr/bin/env python3
"""samples.py TREE: no sample calls what does not exist. What there is stands in the interface description that the type library
is made of; the samples call it on a variable named "handset".

C#            is compiled by mcs against the interface as a COM reference would show it.
Python        is compiled and looked over by pyflakes; its calls are checked.
VBScript, VBA, JScript, PowerShell, and the ```vb blocks of the documentation: their calls are checked, in PowerShell also which
              arguments are references.
Names of numbers are those of the type library's enumerations; VBScript and JScript have none.
"""
import ast
import pathlib
import re
import subprocess
import sys
import tempfile

INTERFACE = "src/component/automation/MovaCmdSvr.idl"
ENUMERATIONS = "src/component/automation/Enumerations.idl"
CSHARP_TYPES = {"long": "int", "int": "int", "short": "short", "unsigned long": "uint", "unsigned short": "ushort",
                "unsigned char": "byte", "BSTR": "string", "VARIANT": "object"}


class Parameter:
    def __init__(self, text):
        flags, self.kind, self.name = re.fullmatch(r"\[([\w, ]+)\]\s*((?:unsigned )?\w+\*?)\s*(\w*)", text.strip()).groups()
        self.flags = set(flags.split(", "))
        self.result = "retval" in self.flags
        self.out = "out" in self.flags and not self.result

    def csharp(self):
        kind = CSHARP_TYPES[self.kind.rstrip("*")]
        how = ("ref " if "in" in self.flags else "out ") if self.out else ("ref " if self.kind.endswith("*") else "")
        return f"{how}{kind} {self.name or 'value'}"


class Entry:
    def __init__(self, flags, name, parameters):
        self.name = name
        self.read = "propget" in flags
        self.written = "propput" in flags
        every = [Parameter(text) for text in re.split(r",(?![^\[]*\])", parameters)] if parameters.strip() else []
        self.passed = [p for p in every if not p.result]
        self.result = next((p for p in every if p.result), None)

    def csharp(self):
        result = CSHARP_TYPES[self.result.kind.rstrip("*")] if self.result else "void"
        return f"    {result} {self.name}({', '.join(p.csharp() for p in self.passed)});"


def entries(idl):
    """(methods by name, types of the properties by name)"""
    body = re.search(r"interface IVeCmdManager : IDispatch\s*\{(.*?)\n    \};", idl, re.DOTALL)[1]
    methods, properties = {}, {}
    for flags, name, parameters in re.findall(r"\[((?:[^\[\]]|\"[^\"]*\")*)\]\s*HRESULT (\w+)\((.*?)\);", body, re.DOTALL):
        entry = Entry(flags, name, " ".join(parameters.split()))
        if entry.read or entry.written:
            properties[name] = CSHARP_TYPES[(entry.result or entry.passed[0]).kind.rstrip("*")]
        else:
            methods[name] = entry
    return methods, properties


def enumerations(idl):
    """{enumeration: {member: its number as it is written}}"""
    return {name: dict(re.findall(r"\b(mova\w+) = ([-\w]+)", body))
            for name, body in re.findall(r"\benum (\w+) \{(.*?)\n    \}", idl, re.DOTALL)}


def arguments(text):
    """Those of a call, of the text behind its bracket, or of a statement without one; up to its end."""
    found, depth, current, quote = [], 0, "", None
    for character in text:
        if quote:
            quote = None if character == quote else quote
        elif character in "\"'":
            quote = character
        elif character in "([":
            depth += 1
        elif character in ")]":
            if depth == 0:
                break
            depth -= 1
        elif character == "," and depth == 0:
            found.append(current.strip())
            current = ""
            continue
        current += character
    return found + [current.strip()] if found or current.strip() else []


class Samples:
    def __init__(self, tree):
        self.tree = pathlib.Path(tree)
        self.methods, self.properties = entries((self.tree / INTERFACE).read_text())
        self.enumerations = enumerations((self.tree / ENUMERATIONS).read_text())
        self.names = {name for members in self.enumerations.values() for name in members}
        self.failures = []
        self.calls = 0

    def fail(self, path, line, text):
        self.failures.append(f"{path.relative_to(self.tree)}:{line}: {text}")

    def check_call(self, path, line, name, passed, host):
        self.calls += 1
        names = {known.lower(): known for known in [*self.methods, *self.properties]}
        known = name if host in ("JScript", "Python") else names.get(name.lower())  # whose case counts
        if known in self.properties:
            if passed:
                self.fail(path, line, f"{name} is a property")
            return
        if known not in self.methods:
            self.fail(path, line, f"there is no {name}")
            return
        parameters = self.methods[known].passed
        wanted = {len(parameters)}
        if host == "Python":  # what only comes out is no argument there
            wanted = {sum("in" in p.flags for p in parameters)}
        if len(passed) not in wanted:
            self.fail(path, line, f"{name} takes {' or '.join(map(str, wanted))} arguments, not {len(passed)}")
        elif host == "PowerShell":
            for parameter, argument in zip(parameters, passed):
                if argument.startswith("[ref]") != parameter.out:
                    self.fail(path, line, f"{name}: {argument} for {parameter.name or 'value'}")

    def check_names(self, path, text, host, first=1):
        """Those of numbers, by how they begin."""
        for number, line in enumerate(text.splitlines(), first):
            for name in re.findall(r"\bmova[A-Z]\w+", line):
                if host in ("VBScript", "JScript"):
                    self.fail(path, number, f"{host} has no name {name}")
                elif name not in self.names and not (host == "VBA" and name.lower() in map(str.lower, self.names)):
                    self.fail(path, number, f"there is no number {name}")

    def check_basic(self, path, text, first=1):
        for number, line in enumerate(text.splitlines(), first):
            line = re.sub(r'"[^"]*"', lambda text: '"' + "_" * (len(text[0]) - 2) + '"', line).partition("'")[0]
            for found in re.finditer(r"\bhandset\.(\w+)(\(?)", line):
                rest = line[found.end():]
                statement = not found[2] and re.match(r"(.*:)?(\s*If .* Then|.* Else)?\s*$", line[:found.start()])
                if found[2]:
                    passed = arguments(rest)
                elif statement and not re.match(r"\s*=[^=]", rest):
                    passed = arguments(re.split(r" Else |:", rest)[0])
                else:
                    passed = []
                self.check_call(path, number, found[1], passed, "Basic")

    def check_brackets(self, path, host):
        comment = "#.*" if host == "PowerShell" else "//.*"
        for number, line in enumerate(path.read_text().splitlines(), 1):
            line = re.sub(comment, "", line)
            for found in re.finditer(r"\bhandset\.(\w+)(\(?)", line):
                self.check_call(path, number, found[1], arguments(line[found.end():]) if found[2] else [], host)

    def check_python(self, path):
        try:
            tree = ast.parse(path.read_text())
            compile(tree, path, "exec")
        except SyntaxError as error:
            self.fail(path, error.lineno, error.msg)
            return
        lint = subprocess.run(["pyflakes3", str(path)], capture_output=True, text=True)
        for line in lint.stdout.splitlines() or ([lint.stderr] if lint.returncode else []):
            self.failures.append(line)
        called = set()
        for node in ast.walk(tree):
            if isinstance(node, ast.Call) and self.of_handset(node.func):
                called.add(node.func)
                self.check_call(path, node.lineno, node.func.attr, node.args, "Python")
        for node in ast.walk(tree):
            if self.of_handset(node) and node not in called:
                self.check_call(path, node.lineno, node.attr, [], "Python")
                if node.attr in self.methods:
                    self.fail(path, node.lineno, f"{node.attr} is not called")
            if isinstance(node, ast.Assign) and isinstance(node.value, ast.Call) and node.value.func in called:
                self.check_results(path, node)

    @staticmethod
    def of_handset(node):
        return isinstance(node, ast.Attribute) and isinstance(node.value, ast.Name) and node.value.id == "handset"

    def check_results(self, path, node):
        entry = self.methods.get(node.value.func.attr)
        target = node.targets[0]
        if not entry:
            return
        given = sum(p.out for p in entry.passed) + bool(entry.result)
        taken = len(target.elts) if isinstance(target, ast.Tuple) else 1
        if taken != given:
            self.fail(path, node.lineno, f"{entry.name} gives {given} results, not {taken}")

    def check_csharp(self, path):
        self.calls += len(re.findall(r"\bhandset\.\w+", path.read_text()))
        members = [e.csharp() for e in self.methods.values()]
        members += [f"    {kind} {name} {{ get; set; }}" for name, kind in self.properties.items()]
        reference = "\n".join([
            "using System.Runtime.InteropServices;", "namespace MOVACMDSVRLib {",
            '[ComImport, Guid("ff0381d5-eb26-4f16-a82f-7f593595b369"), CoClass(typeof(VeCmdManagerClass))]',
            "public interface VeCmdManager {", *members, "}",
            '[ComImport, Guid("fe640147-2f81-4a07-af44-f1b818ed5cee")]', "public class VeCmdManagerClass { }",
            *(f"public enum {name} {{ {', '.join(f'{member} = {value}' for member, value in members.items())} }}"
              for name, members in self.enumerations.items()), "}"])
        with tempfile.TemporaryDirectory() as folder:
            stub = pathlib.Path(folder, "MOVACMDSVRLib.cs")
            stub.write_text(reference)
            compiled = subprocess.run(["mcs", "-warnaserror", f"-out:{folder}/Station.exe", str(stub), str(path)],
                                      capture_output=True, text=True)
        if compiled.returncode:
            said = (compiled.stdout + compiled.stderr).splitlines()
            # CS1502 tells of the call what another error tells of its argument.
            self.failures += [line for line in said if ": error CS" in line and "CS1502" not in line] or said

    def check(self):
        counts = {}
        for path in sorted((self.tree / "samples").rglob("*")):
            before = self.calls
            match path.suffix:
                case ".vbs" | ".bas":
                    self.check_basic(path, path.read_text())
                    self.check_names(path, path.read_text(), "VBScript" if path.suffix == ".vbs" else "VBA")
                case ".js":
                    self.check_brackets(path, "JScript")
                    self.check_names(path, path.read_text(), "JScript")
                case ".ps1":
                    self.check_brackets(path, "PowerShell")
                    self.check_names(path, path.read_text(), "PowerShell")
                case ".py":
                    self.check_python(path)
                    self.check_names(path, path.read_text(), "Python")
                case ".cpp":  # it is compiled with the component; its calls are checked there
                    self.check_names(path, path.read_text(), "C++")
                    continue
                case ".cs":
                    self.check_csharp(path)
                case _:
                    continue
            counts[str(path.relative_to(self.tree))] = self.calls - before
        for path in [self.tree / "README.md", *sorted((self.tree / "docs").glob("*.md"))]:
            text = path.read_text() if path.exists() else ""
            for block in re.finditer(r"^```vb\n(.*?)^```$", text, re.MULTILINE | re.DOTALL):
                self.check_basic(path, block[1], text.count("\n", 0, block.start(1)) + 1)
                self.check_names(path, block[1], "VBScript", text.count("\n", 0, block.start(1)) + 1)
            self.check_names(path, text, "documentation")
        for name, calls in counts.items():
            if calls < 10 and not self.failures:
                self.failures.append(f"{name}: only {calls} calls were found")
        return self.failures


if __name__ == "__main__":
    samples = Samples(sys.argv[1])
    for failure in samples.check():
        print(failure)
    print(f"{samples.calls} calls in the samples and the documentation, {len(samples.failures)} findings")
    sys.exit(1 if samples.failures else 0)
