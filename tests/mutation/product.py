# SPDX-License-Identifier: Apache-2.0
"""The copy of the tree, its build, and the files that a mutant replaces.

The build is never changed: a mutant's objects, and what is linked from them, are separate files that
replace those of the build only inside the private root of its tests.
"""
import filecmp
import json
import os
import re
import shlex
import shutil
import subprocess
from collections import defaultdict
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

# Headers on which more objects depend take too long to be chosen at random.
MOST_OBJECTS = 10
COMPILER_SECONDS = 120


def copy_tree(checkout, copy):
    """Updates the copy from the checkout, without ignored files. Identical files stay untouched, so that
    they are not rebuilt; leftovers of an interrupted run are removed."""
    listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
                            cwd=checkout, check=True, capture_output=True, text=True).stdout
    wanted = {name for name in listed.split("\0") if name and (checkout / name).is_file()}
    for path in list(copy.rglob("*")):
        name = path.relative_to(copy)
        if name.parts[0] != "build" and path.is_file() and str(name) not in wanted:
            path.unlink()
    for name in wanted:
        source, target = checkout / name, copy / name
        if target.is_file() and filecmp.cmp(source, target, shallow=False):
            shutil.copymode(source, target)
            continue
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(source, target)


class NotCompiled(Exception):
    """The compiler rejects the mutant, if only with a warning."""


class SameCode(Exception):
    """The mutant compiles to the same program."""


class Product:
    def __init__(self, copy, work):
        self.copy, self.work = copy, work
        self.build = copy / "build" / "release"
        self.library = "src/libzafoldap.so.5.0.0"
        self._read_commands()
        self._read_dependencies()

    def _ninja(self, *words):
        return subprocess.run(["ninja", *words], cwd=self.build, check=True, capture_output=True, text=True).stdout

    def _read_commands(self):
        self.commands = {}  # by object
        for entry in json.loads((self.build / "compile_commands.json").read_text()):
            words = shlex.split(entry["command"])
            self.commands[words[words.index("-o") + 1]] = words

    def _read_dependencies(self):
        """Finds which objects of the library and of the tests each library source is compiled into."""
        self.objects = defaultdict(set)
        target = None
        for line in self._ninja("-t", "deps").splitlines():
            if not line.startswith(" "):
                target = line.split(":")[0]
                continue
            name = Path(self.build, line.strip()).resolve()
            if target in self.commands and target.startswith(("src/", "tests/")) and name.is_relative_to(self.copy / "src"):
                self.objects[str(name.relative_to(self.copy))].add(target)

    def sources(self):
        """The sources that can be mutated: not those compiled into a fixture of the tests."""
        return sorted(name for name, objects in self.objects.items()
                      if all((self.build / self._part(object_)).exists() for object_ in objects))

    def quick_sources(self):
        return [name for name in self.sources() if len(self.objects[name]) <= MOST_OBJECTS]

    def make(self, path, text):
        """Builds a source with this text. Returns pairs of a file of the build and its replacement.
        Raises NotCompiled or SameCode."""
        folder = self.work / "mutant"
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir(parents=True)
        made = self._compile(path, text, folder, "-O0")
        changed = {name: file for name, file in made.items()
                   if not filecmp.cmp(file, self._plain(name), shallow=False)}
        if not changed:
            raise SameCode
        return [(file, self._link(file, changed, folder)) for file in sorted({self._part(name) for name in changed})]

    def make_unchanged(self, path):
        """Like make, for an unchanged source."""
        changed = {name: self._plain(name) for name in self.objects[path]}
        return [(self.library, self._link(self.library, changed, self.work))]

    def is_equivalent(self, path, text):
        """Whether the optimiser generates the same code as for the original source."""
        folder = self.work / "optimised"
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir(parents=True)
        made = self._compile(path, text, folder, None)
        return all(filecmp.cmp(file, self.build / name, shallow=False) for name, file in made.items())

    # Changes the source in place, because its name is part of its objects, and restores it immediately.
    def _compile(self, path, text, folder, level):
        file = self.copy / path
        original, times = file.read_text(), file.stat()
        try:
            file.write_text(text)
            names = sorted(self.objects[path])
            with ThreadPoolExecutor(2) as pool:
                outputs = list(pool.map(lambda name: self._compile_object(name, folder, level), names))
            return dict(zip(names, outputs))
        finally:
            file.write_text(original)
            os.utime(file, ns=(times.st_atime_ns, times.st_mtime_ns))

    def _compile_object(self, name, folder, level):
        words = list(self.commands[name])
        output = folder / name.replace("/", "_")
        words[words.index("-o") + 1] = str(output)
        if level:
            words.append(level)
        try:
            result = subprocess.run(words, cwd=self.build, capture_output=True, timeout=COMPILER_SECONDS)
        except subprocess.TimeoutExpired as error:
            raise NotCompiled from error
        if result.returncode != 0:
            raise NotCompiled
        return output

    def _plain(self, name):
        """The unchanged source's object, compiled the same way."""
        folder = self.work / "plain"
        folder.mkdir(parents=True, exist_ok=True)
        output = folder / name.replace("/", "_")
        if not output.exists():
            self._compile_object(name, folder, "-O0")
        return output

    def _part(self, name):
        """The library or the test program that an object is linked into."""
        if name.startswith("src/"):
            return self.library
        folder, target = re.fullmatch(r"(.*)/CMakeFiles/([^/]+)\.dir/.*", name).groups()
        return f"{folder}/{target}"

    def _link(self, file, changed, folder):
        command = self._ninja("-t", "commands", file).splitlines()[-1].replace("\\$", "$")
        output = folder / file.replace("/", "_")
        words = [str(changed.get(word, word)) for word in shlex.split(command)]
        words = [str(output) if word == file else word for word in words if word not in (":", "&&")]
        subprocess.run(words, cwd=self.build, check=True, capture_output=True)
        return output
