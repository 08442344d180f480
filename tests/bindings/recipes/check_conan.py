#!/usr/bin/env python3
"""Runs the Conan recipe as Conan would, with stand-ins for what it imports from Conan:

    check_conan.py <build tree>

The sources are exported and configured for real, with the recipe's options; what that would compile is installed
from a tree that is built. For Windows, the archives stand for themselves.
"""

import fnmatch
import importlib.util
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import types
import zipfile

ROOT = pathlib.Path(__file__).resolve().parents[3]
BUILT = pathlib.Path(sys.argv[1])


def run(*command):
    done = subprocess.run(command, capture_output=True, text=True)
    assert done.returncode == 0, f"{command}\n{done.stdout}{done.stderr}"


class ConanFile:
    """The attributes that Conan gives a recipe."""

    def __init__(self, system, arch, shared, folder):
        self.settings = types.SimpleNamespace(os=system, arch=arch, compiler="gcc", build_type="Release")
        self.info = types.SimpleNamespace(settings=types.SimpleNamespace(**vars(self.settings)))
        self.options = types.SimpleNamespace(shared=shared)
        self.recipe_folder = str(ROOT / "bindings" / "conan")
        self.export_sources_folder = self.source_folder = str(folder / "source")
        self.build_folder, self.package_folder = str(folder / "build"), str(folder / "package")
        self.properties = {}
        self.cpp_info = types.SimpleNamespace(libs=[], system_libs=[], set_property=self.properties.__setitem__)


class CMakeToolchain:
    def __init__(self, recipe):
        recipe.cache_variables = self.cache_variables = {}

    def generate(self):
        pass


class CMake:
    def __init__(self, recipe):
        self.recipe = recipe

    def configure(self):
        values = [f"-D{name}={'ON' if value else 'OFF'}" for name, value in self.recipe.cache_variables.items()]
        run("cmake", "-S", self.recipe.source_folder, "-B", self.recipe.build_folder, "-G", "Ninja", *values)
        cache = pathlib.Path(self.recipe.build_folder, "CMakeCache.txt").read_text()
        for name in self.recipe.cache_variables:
            assert f"{name}:BOOL=" in cache, f"the project does not know {name}"

    def build(self, target):
        run("cmake", "--build", self.recipe.build_folder, "--target", target, "--", "-n")  # knows it, does not make it

    def install(self):
        run("cmake", "--install", BUILT, "--prefix", self.recipe.package_folder)


def copy(recipe, pattern, source, target):
    source = pathlib.Path(source)
    folder = source / re.split(r"[*?]", pattern)[0].rpartition("/")[0]  # not the whole tree, with its builds
    for path in folder.rglob("*") if re.search(r"[*?]", pattern) else [source / pattern]:
        name = str(path.relative_to(source))
        if path.is_file() and fnmatch.fnmatch(name, pattern):
            place = pathlib.Path(target, name)
            place.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(path, place)


def rm(recipe, pattern, folder):
    for path in pathlib.Path(folder).glob(pattern):
        path.unlink()


def unzip(recipe, archive, destination, strip_root):
    assert strip_root
    with zipfile.ZipFile(archive) as file:
        for name in file.namelist():
            place = pathlib.Path(destination, name.partition("/")[2])
            place.parent.mkdir(parents=True, exist_ok=True)
            place.write_bytes(file.read(name))


def module(name, **contents):
    made = sys.modules[name] = types.ModuleType(name)
    vars(made).update(contents)


class ConanInvalidConfiguration(Exception):
    pass


module("conan", ConanFile=ConanFile)
module("conan.errors", ConanInvalidConfiguration=ConanInvalidConfiguration)
module("conan.tools")
module("conan.tools.build", can_run=None)
module("conan.tools.cmake", CMake=CMake, CMakeToolchain=CMakeToolchain, cmake_layout=lambda recipe: None)
module("conan.tools.files", copy=copy, rm=rm, unzip=unzip, rmdir=lambda recipe, folder: shutil.rmtree(folder, True),
       load=lambda recipe, path: pathlib.Path(path).read_text())


def recipe_class(path, name):
    spec = importlib.util.spec_from_file_location(name, path)
    loaded = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(loaded)
    return getattr(loaded, name)


def create(system, arch, shared, folder):
    recipe = recipe_class(ROOT / "bindings/conan/conanfile.py", "KyvMathConan")(system, arch, shared, folder)
    recipe.set_version()
    recipe.export_sources()
    recipe.validate()
    for step in ("package_id", "layout", "generate", "build", "package", "package_info"):
        getattr(recipe, step)()
    return recipe, pathlib.Path(recipe.package_folder)


def refused(*configuration):
    try:
        create(*configuration)
    except ConanInvalidConfiguration:
        return True
    return False


def main():
    with tempfile.TemporaryDirectory() as folder:
        folder = pathlib.Path(folder)
        for shared, kept, gone in ((True, "libKyvMath.so", "libKyvMath.a"), (False, "libKyvMath.a", "libKyvMath.so")):
            recipe, package = create("Linux", "x86_64", shared, folder / f"linux{shared}")
            assert (package / "lib" / kept).exists() and not (package / "lib" / gone).exists()
            assert sorted(path.name for path in package.iterdir()) == ["bin", "include", "lib", "licenses"]
            assert recipe.properties["cmake_target_name"] == "KyvMath::KyvMath"
            client = str(folder / f"client{shared}")
            libraries = [f"-l{name}" for name in recipe.cpp_info.libs + recipe.cpp_info.system_libs]
            run("cc", str(ROOT / "bindings/conan/test_package/test_package.c"), f"-I{package}/include",
                f"-L{package}/lib", f"-Wl,-rpath,{package}/lib", *libraries, "-o", client)
            run(client)
        for arch in ("x86", "x86_64"):
            if list(ROOT.glob(f"dist/KyvMath-*-win{'32' if arch == 'x86' else '64'}.zip")):
                recipe, package = create("Windows", arch, True, folder / arch)
                assert (package / "bin/KyvMath.dll").exists() and (package / "lib/KyvMath.lib").exists()
                assert not hasattr(recipe.info.settings, "compiler")
                print("the recipe works for Windows on", arch)
        assert refused("Linux", "armv7", True, folder / "a") and refused("Windows", "x86", False, folder / "b")
        recipe_class(ROOT / "bindings/conan/test_package/conanfile.py", "KyvMathTestConan")
    print("the recipe works for Linux, as far as stand-ins can tell")


if __name__ == "__main__":
    main()
