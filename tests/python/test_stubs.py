"""The stubs tell what is there, and nothing else."""
import ast
import inspect
import os
import re

import mova
from mova import _native, numbers

FOLDER = os.path.dirname(mova.__file__)


def stub(name):
    with open(os.path.join(FOLDER, name)) as file:
        return ast.parse(file.read())


def test_the_package_says_that_it_is_typed():
    assert os.path.exists(os.path.join(FOLDER, "py.typed"))


def test_the_native_module():
    told = stub("_native.pyi").body
    names = {each.name for each in told if isinstance(each, (ast.FunctionDef, ast.ClassDef))}
    names |= {each.target.id for each in told if isinstance(each, ast.AnnAssign)}
    assert names == {name for name in dir(_native) if not name.startswith("_")}


def test_its_methods_and_how_many_arguments_they_take():
    told = next(each for each in stub("_native.pyi").body if isinstance(each, ast.ClassDef))
    stubs = {each.name: len(each.args.posonlyargs) + len(each.args.args) for each in told.body}
    assert stubs.pop("__init__") == 3
    real = {name: len(re.findall(r"arg\d+|self", inspect.getdoc(getattr(_native.CommandManager, name)).splitlines()[0]))
            for name in dir(_native.CommandManager) if not name.startswith("_")}
    assert stubs == real


def test_the_names_of_numbers():
    told = {each.name: [row.targets[0].id for row in each.body] for each in stub("numbers.pyi").body
            if isinstance(each, ast.ClassDef)}
    assert tuple(told) == numbers.NAMES
    for name, rows in told.items():
        assert rows == list(getattr(numbers, name).__members__)


def test_every_function_of_the_package_has_types():
    for module in (mova.automation, mova.handset):
        for cls in (each for _, each in inspect.getmembers(module, inspect.isclass) if each.__module__ == module.__name__):
            for name, function in inspect.getmembers(cls, inspect.isfunction):
                if function.__module__ == module.__name__:
                    assert "return" in function.__annotations__, f"{cls.__name__}.{name}"
