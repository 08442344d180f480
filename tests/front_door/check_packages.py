#!/usr/bin/env python3
"""Holds each ./dev command's list of packages against what its work asks for, without a second system.

    check_packages.py <scratch folder> [command with its arguments ...]

For each command line the packages that ./dev would install, and all that they depend on, are looked up in this
machine's package database. A root folder of their files alone is laid out with hard links, and the command runs in it
up to the first build: whatever its CMake options look for and its packages lack is not there either. (The compiler's
checks at configuration count; what only a later step starts is tried by bare_root.sh.) Also checked: that --help
installs nothing, and that an unknown command is named.

Exits with 77 (skipped) where this cannot be done: no Debian, or no right to change the root folder.
"""

import functools
import os
import pathlib
import re
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
COMMANDS = ["demo", "demo win32", "lint", "bench", "package linux", "package win32", "fuzz 1", "coverage", "test linux",
            "test linux-asan", "test linux32-short", "test win32", "test win64-short", "test linux-arm64-short"]
NO_CHECKOUT = {".git", "build", "dist", "demo"}  # at the top: what commands leave there
# Stand in front of the real ones: a command that gets as far as building, or as its first tool on the sources, has all
# that its configuration asks for.
STAND_INS = {
    "cmake": """#!/bin/sh
for argument; do
  case $argument in --build) touch /configured && exit 1 ;; esac
done
exec /usr/bin/cmake "$@"
""",
    "clang-tidy": """#!/bin/sh
touch /configured && exit 255
"""}
ISOLATED = """
mount --rbind /dev "$1/dev" && mount --rbind /proc "$1/proc" && root=$1 && shift &&
exec chroot "$root" /usr/bin/env -i HOME=/root PATH=/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin "$@"
"""


def output_of(*command, **options):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True, **options).stdout


class Packages:
    """The installed packages of this machine."""

    def __init__(self):
        self.depends, self.providers, self.always = {}, {}, {"apt"}
        fields = "${db:Status-Status}\t${Package}\t${Architecture}\t${Priority}\t${Essential}\t${Provides}\t" \
                 "${Pre-Depends}, ${Depends}\n"
        self.native = output_of("dpkg", "--print-architecture").strip()
        for line in output_of("dpkg-query", "-W", "-f", fields).splitlines():
            status, package, architecture, priority, essential, provides, depends = line.split("\t")
            if status != "installed":
                continue
            name = self.qualified(package, architecture)
            self.depends[name] = [[self.plain(one) for one in alternatives.split("|")]
                                  for alternatives in depends.split(",") if alternatives.strip()]
            for provided in provides.split(","):
                self.providers.setdefault(self.plain(provided), []).append(name)
            if priority == "required" or essential == "yes":
                self.always.add(name)

    def qualified(self, package, architecture):
        return package if architecture in (self.native, "all") else f"{package}:{architecture}"

    @staticmethod
    def plain(dependency):
        return re.sub(r":any$", "", dependency.split("(")[0].strip())

    def find(self, name, architecture):
        """The installed package of that name for an architecture, or one that provides it."""
        for candidate in (f"{name}:{architecture}", name) if architecture else (name,):
            if candidate in self.depends:
                return candidate
        providers = self.providers.get(name, [])
        same = [one for one in providers if one.endswith(f":{architecture}")] if architecture else []
        return (same or providers or [None])[0]

    def closure(self, wanted):
        """The packages, what they depend on, and what every Debian has."""
        found, queue = set(), [*wanted, *self.always]
        while queue:
            name = queue.pop()
            if name in found:
                continue
            found.add(name)
            architecture = name.partition(":")[2]
            for alternatives in self.depends[name]:
                fits = [one for one in (self.find(other, architecture) for other in alternatives) if one]
                queue += fits[:1]
        return found


TOPS = ("usr", "bin", "sbin", "lib", "lib32", "lib64", "libx32", "etc", "var")
NOT_NEEDED = ("/usr/share/doc/", "/usr/share/man/", "/usr/share/locale/")
real_folder = functools.lru_cache(maxsize=None)(os.path.realpath)


class Root:
    """A root folder with the files of some packages alone; what is linked is not copied. From one set of packages to
    the next only the difference is linked or removed. Folders stay: nothing looks for an empty one."""

    def __init__(self, folder, native):
        self.folder, self.native = folder, native
        self.files, self.choices, self.listed = {}, [], {}
        for top in pathlib.Path("/").iterdir():
            if top.is_symlink():
                (folder / top.name).symlink_to(os.readlink(top))
        for name in ("dev", "proc", "tmp", "root", "usr/local/bin", "etc/alternatives"):
            (folder / name).mkdir(parents=True, exist_ok=True)
        (folder / "tmp").chmod(0o1777)
        for tool, text in STAND_INS.items():
            stand_in = folder / "usr/local/bin" / tool
            stand_in.write_text(text)
            stand_in.chmod(0o755)
        shutil.copytree(ROOT, folder / "kyvmath",
                        ignore=lambda parent, names: NO_CHECKOUT if pathlib.Path(parent) == ROOT else ())

    def hold(self, packages):
        """Makes it the root of these packages, in which no command has run yet."""
        for link in self.choices:
            link.unlink(missing_ok=True)
        wanted = {}
        for package in sorted(packages):
            for target, source in self.files_of(package).items():
                wanted.setdefault(target, source)
        for target in self.files.keys() - wanted.keys():
            if not os.path.isdir(target) or os.path.islink(target):
                pathlib.Path(target).unlink(missing_ok=True)
        for target in wanted.keys() - self.files.keys():
            self.place(wanted[target], target)
        self.files = wanted
        self.link_alternatives()
        for tool in ("dpkg-query", "apt-get"):  # ./dev then takes its packages as given
            (self.folder / "usr/bin" / tool).unlink(missing_ok=True)
        for name in NO_CHECKOUT:
            shutil.rmtree(self.folder / "kyvmath" / name, ignore_errors=True)
        (self.folder / "configured").unlink(missing_ok=True)

    def files_of(self, package):
        """Where the files of a package come to lie, each with its place on this machine."""
        if package not in self.listed:
            info = pathlib.Path("/var/lib/dpkg/info")
            names = (package, f"{package}:{self.native}", package.partition(":")[0])
            text = next(one for one in (info / f"{name}.list" for name in names) if one.exists()).read_text()
            paths = [line for line in text.splitlines()
                     if line.count("/") > 1 and line.split("/")[1] in TOPS and not line.startswith(NOT_NEEDED)]
            self.listed[package] = {f"{self.folder}{real_folder(os.path.dirname(path))}/{os.path.basename(path)}": path
                                    for path in paths}
        return self.listed[package]

    @staticmethod
    def place(path, target):
        if os.path.isdir(path) and not os.path.islink(path):
            os.makedirs(target, exist_ok=True)
        elif os.path.lexists(path) and not os.path.lexists(target):
            os.makedirs(os.path.dirname(target), exist_ok=True)
            if os.path.islink(path):
                os.symlink(os.readlink(path), target)
            elif os.path.isfile(path):
                os.link(path, target)

    def link_alternatives(self):
        """Names that are not a package's own but the administrator's choice among packages: c++, cc, awk ..."""
        self.choices = []
        for folder in ("/usr/bin", "/usr/lib"):
            for name in pathlib.Path(folder).iterdir():
                if not name.is_symlink() or not os.readlink(name).startswith("/etc/alternatives/"):
                    continue
                choice = pathlib.Path(os.readlink(name))
                if os.path.lexists(choice) and (self.folder / os.readlink(choice)[1:]).exists():
                    for link in (name, choice):
                        placed = self.folder / str(link)[1:]
                        if not os.path.lexists(placed):
                            placed.symlink_to(os.readlink(link))
                            self.choices.append(placed)


def in_root(root, *command):
    unshare = ["unshare", "--mount"] + ([] if os.geteuid() == 0 else ["--user", "--map-root-user"])
    return subprocess.run([*unshare, "sh", "-c", ISOLATED, "sh", root, *command], stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)


def check_command(packages, command, root):
    wanted = output_of(ROOT / "dev", "needs", *command.split()).split()
    absent = [name for name in wanted if name not in packages.depends]
    root.hold(packages.closure(set(wanted) - set(absent)))
    trial = in_root(root.folder, "true")
    if trial.returncode != 0:
        print(f"skipped: {trial.stdout.strip()}")
        raise SystemExit(77)
    done = in_root(root.folder, "/kyvmath/dev", *command.split())
    configured = (root.folder / "configured").exists()
    verdict = "has what it asks for" if configured else "not tried" if absent else "FAILED"
    print(f"{verdict}: ./dev {command} ({len(wanted)} packages; not on this machine: {' '.join(absent) or 'none'})")
    if not configured:
        print(done.stdout)
    return configured or bool(absent)


def check_manners(scratch):
    """--help and a wrong word: neither looks at a package."""
    spy = scratch / "spy"
    spy.mkdir(parents=True, exist_ok=True)
    for tool in ("dpkg-query", "apt-get", "cmake"):
        (spy / tool).write_text(f"#!/bin/sh\ntouch '{scratch}/touched'\nexit 1\n")
        (spy / tool).chmod(0o755)
    environment = dict(os.environ, PATH=f"{spy}:{os.environ['PATH']}")
    (scratch / "touched").unlink(missing_ok=True)
    names = sorted({command.split()[0] for command in COMMANDS} | {"format"})
    good = True
    for command, code, words in [([name, "--help"], 0, name) for name in names] + [(["tset"], 1, "no command 'tset'")]:
        done = subprocess.run([ROOT / "dev", *command], env=environment, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        if done.returncode != code or words not in done.stdout or (scratch / "touched").exists():
            print(f"FAILED: ./dev {' '.join(command)}: exit {done.returncode}\n{done.stdout}")
            good = False
    return good


def main():
    if not shutil.which("dpkg-query"):
        print("skipped: not a Debian system")
        return 77
    scratch = pathlib.Path(sys.argv[1]).resolve()
    scratch.mkdir(parents=True, exist_ok=True)
    good = check_manners(scratch)
    packages = Packages()
    shutil.rmtree(scratch / "root", ignore_errors=True)
    (scratch / "root").mkdir()
    try:
        root = Root(scratch / "root", packages.native)
        for command in sys.argv[2:] or COMMANDS:
            good = check_command(packages, command, root) and good
    finally:
        shutil.rmtree(scratch / "root")
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
