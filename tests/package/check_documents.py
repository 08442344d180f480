#!/usr/bin/env python3
"""Compiles or runs every code block of the documents.

    check_documents.py --library <libKyvMath.so> [--bindings <packed bindings>] [document ...]
    check_documents.py --links <folder>     only the links of all documents in a folder

A block is fenced by ``` and the language's name. What happens to it:

  c, cpp        with a main(): compiled as strictly as our own code, linked with the library, run; must return 0.
                Without: joined with the document's other fragments of that language and the file
                tests/package/<document>_main.<language> that calls them and checks what they promise.
  c windows     compiled with both MinGW compilers where they are; check_package.sh runs it.
  python        joined with the document's other fragments and tests/package/<document>_main.py, and run with
                KYVMATH_LIBRARY set to the library's path.
  <any> same    a whole program, in C, C++, Python, C# or Pascal: compiled with the packed binding and run; all such
                programs of a document must print one text, which the document states.
  cmake         configured after find_package's preamble, in an installed copy (--prefix) when one is given.
  sh            read by the shell without running it; ./dev must know the command. With more words (sh linux,
                sh windows ...) check_package.sh runs it in an unpacked package.
  text, none    not code.

Any other language is an error: nothing slips by because nobody knows how to test it. Links within the project must
lead somewhere, to a heading too.
"""

import argparse
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent.parent
WARNINGS = ["-Wall", "-Wextra", "-Wpedantic", "-Wconversion", "-Wshadow", "-Werror"]
COMPILERS = {"c": ["cc", "-std=c99"], "cpp": ["c++", "-std=c++20"]}
# Which command and which packed binding a program of another language takes.
HOSTS = {"python": ("/usr/bin/python3", "*linux*.whl"), "csharp": ("mcs", "*.nupkg"), "pascal": ("fpc", "*")}
MINGW = ("i686-w64-mingw32-gcc-win32", "x86_64-w64-mingw32-gcc-win32")
LINK = re.compile(r"\]\((?!https?:)([^)#\s]*)(?:#([^)\s]+))?\)")
FENCE = re.compile(r"^```(.*?)\n(.*?)^```", re.MULTILINE | re.DOTALL)


class Failure(Exception):
    pass


def blocks_of(document):
    """[(first line of the block, info words, text)]"""
    content = document.read_text(encoding="utf-8")
    return [(content.count("\n", 0, match.start()) + 2, match[1].split(), match[2])
            for match in FENCE.finditer(content)]


def run(command, **options):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, **options)
    if done.returncode != 0:
        raise Failure(f"{' '.join(map(str, command))}\n{done.stdout}")
    return done.stdout


def anchors_of(document):
    """Headings as the usual renderers turn them into anchors."""
    headings = re.findall(r"^#+ +(.*)$", FENCE.sub("", document.read_text(encoding="utf-8")), re.MULTILINE)
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings}


def check_links(document):
    for path, anchor in LINK.findall(FENCE.sub("", document.read_text(encoding="utf-8"))):
        target = document.parent / path if path else document
        if not target.exists():
            raise Failure(f"{document}: no {path}")
        if anchor and target.suffix == ".md" and anchor not in anchors_of(target):
            raise Failure(f"{document}: no heading '{anchor}' in {target.name}")


class Checker:
    def __init__(self, library, prefix, bindings, scratch):
        self.library = library
        self.bindings = bindings
        self.prefix = prefix
        self.scratch = scratch
        self.skipped = set()

    def compile_and_run(self, language, text):
        source = self.scratch / f"block.{language}"
        program = self.scratch / "block"
        source.write_text(text, encoding="utf-8")
        run(COMPILERS[language] + WARNINGS + ["-O1", "-I", ROOT / "include", source, self.library,
                                               f"-Wl,-rpath,{self.library.parent}", "-lm", "-pthread", "-o", program])
        return run([program], cwd=self.scratch)

    def run_program(self, language, text):
        """Output of a whole program, or None where something that it takes is missing."""
        if language in COMPILERS:
            return self.compile_and_run(language, text)
        tool, package = HOSTS[language]
        found = sorted(self.bindings.glob(package)) if self.bindings else []
        if shutil.which(tool) is None or not found:
            self.skipped.add(f"programs in {language} (no {tool}, or no --bindings)")
            return None
        folder = self.scratch / language
        folder.mkdir()
        program = folder / "program"
        program.write_text(text, encoding="utf-8")
        if language == "python":
            run([tool, "-m", "zipfile", "-e", found[-1], folder])
            return run([tool, program], cwd=folder)  # finds the package beside the program
        if language == "csharp":
            run([ROOT / "tests/bindings/dotnet/unpack.sh", found[-1], folder])
            run([tool, "-langversion:latest", "-warnaserror", "-r:KyvMath.Net.dll,netstandard.dll,System.Memory.dll",
                 "-out:program.exe", program], cwd=folder)
            return run(["mono", "program.exe"], cwd=folder)
        run([tool, "-v0", "-vew", f"-Fu{ROOT / 'bindings/pascal'}", f"-FU{folder}", f"-o{folder / 'block'}",
             f"-Fl{self.library.parent}", f"-k-rpath={self.library.parent}", program])
        return run([folder / "block"], cwd=folder)

    def compile_for_windows(self, text):
        source = self.scratch / "block.c"
        source.write_text(text, encoding="utf-8")
        for compiler in MINGW:
            if shutil.which(compiler):
                run([compiler, "-std=c99"] + WARNINGS + ["-I", ROOT / "include", "-c", source,
                                                         "-o", self.scratch / "block.o"])
            else:
                self.skipped.add(f"no {compiler}")

    def check_shell(self, text):
        run(["sh", "-n", "-c", text])
        known = run([ROOT / "dev", "help"], cwd=ROOT) if "./dev" in text else ""
        for command in re.findall(r"^\s*\./dev +([a-z]+)", text, re.MULTILINE):
            if not re.search(rf"^  {command}\b", known, re.MULTILINE):
                raise Failure(f"./dev does not know '{command}'")

    def check_cmake(self, text):
        if self.prefix is None:
            self.skipped.add("cmake blocks (no --prefix)")
            return
        (self.scratch / "CMakeLists.txt").write_text(
            "cmake_minimum_required(VERSION 3.16)\nproject(block LANGUAGES C CXX)\n"
            "file(WRITE ${PROJECT_BINARY_DIR}/host.cpp \"int main() {}\")\n"
            "add_executable(host ${PROJECT_BINARY_DIR}/host.cpp)\n" + text, encoding="utf-8")
        run(["cmake", "-S", self.scratch, "-B", self.scratch / "configured", f"-DCMAKE_PREFIX_PATH={self.prefix}"])

    def check_fragments(self, document, language, fragments):
        if not fragments:
            return
        suffix = {"python": "py"}.get(language, language)
        main = HERE / f"{document.stem.lower()}_main.{suffix}"
        if not main.exists():
            raise Failure(f"fragments of {language}, but no {main.name} that uses them")
        text = "\n".join(fragments) + "\n" + main.read_text(encoding="utf-8")
        if language == "python":
            program = self.scratch / "block.py"
            program.write_text(text, encoding="utf-8")
            run([sys.executable, program], env=dict(os.environ, KYVMATH_LIBRARY=str(self.library)))
        else:
            self.compile_and_run(language, text)

    def check_document(self, document):
        fragments = {"c": [], "cpp": [], "python": []}
        count = 0
        outputs = {}
        for line, words, text in blocks_of(document):
            language = words[0] if words else "text"
            try:
                if words[1:] == ["same"]:
                    outputs[language] = self.run_program(language, text)
                elif language in COMPILERS and words[1:] == ["windows"]:
                    self.compile_for_windows(text)
                elif language in COMPILERS and re.search(r"\bmain\(", text):
                    self.compile_and_run(language, text)
                elif language in fragments:
                    fragments[language].append(text)
                elif language == "sh":
                    self.check_shell(text)
                elif language == "cmake":
                    self.check_cmake(text)
                elif language != "text":
                    raise Failure(f"nobody knows how to test '{language}'")
            except Failure as failure:
                raise Failure(f"{document}:{line}: {failure}") from None
            count += language != "text"
        printed = {output.strip() for output in outputs.values() if output is not None}
        if len(printed) > 1 or not all(text in document.read_text(encoding="utf-8") for text in printed):
            raise Failure(f"{document}: programs do not all print what the document says: {outputs}")
        for language, texts in fragments.items():
            try:
                self.check_fragments(document, language, texts)
            except Failure as failure:
                raise Failure(f"{document}: fragments of {language}: {failure}") from None
        return count


def links_lead_somewhere(folder):
    documents = list(folder.rglob("*.md"))
    for document in documents:
        try:
            check_links(document)
        except Failure as failure:
            print(failure, file=sys.stderr)
            return 1
    return 0 if documents else 1


def main():
    parser = argparse.ArgumentParser()
    needed = parser.add_mutually_exclusive_group(required=True)
    needed.add_argument("--library", type=pathlib.Path)
    needed.add_argument("--links", type=pathlib.Path)
    parser.add_argument("--prefix", type=pathlib.Path)
    parser.add_argument("--bindings", type=pathlib.Path)
    parser.add_argument("documents", nargs="*", type=pathlib.Path)
    arguments = parser.parse_args()
    if arguments.links:
        return links_lead_somewhere(arguments.links)
    documents = arguments.documents or sorted(
        path for pattern in ("*.md", "docs/**/*.md", "examples/**/*.md", "tools/**/*.md", "bench/**/*.md", "bindings/**/*.md")
        for path in ROOT.glob(pattern))
    failed = False
    skipped = set()
    for document in documents:
        with tempfile.TemporaryDirectory() as scratch:
            checker = Checker(arguments.library.resolve(), arguments.prefix, arguments.bindings,
                              pathlib.Path(scratch).resolve())
            try:
                check_links(document)
                count = checker.check_document(document)
                print(f"{document.name}: {count} blocks")
            except Failure as failure:
                print(failure, file=sys.stderr)
                failed = True
            skipped |= checker.skipped
    for reason in sorted(skipped):
        print(f"not tried: {reason}")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
