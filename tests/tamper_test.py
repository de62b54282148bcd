"""Tampers with a library that the shipped manifest lists: tamper_test.py PROGRAM MANIFEST PLUGIN COUNT.

Each attempt is a process of its own that has loaded nothing yet, since the loader runs first.
PLUGIN is any plug-in library; the program tests the engine's file as its dependency.
"""
import collections
import json
import pathlib
import random
import shutil
import subprocess
import sys
import tempfile

ENGINE_FILE, OTHER_FILE = "libtbbmalloc.so.2", "libhwloc.so.15"
PASSED, REFUSED = 0, 11  # exit codes of the program


class Folder:
    """A plug-in with one dependency."""

    def __init__(self, path, program, manifest, plugin):
        self.path, self.program, self.origin = path, program, manifest.parent
        shutil.copy(plugin, path)
        listed = json.loads(manifest.read_text())
        self.hashes = {entry["name"]: entry["hashes"] for entry in listed["dependencies"]}
        self.plugin = {"name": plugin.name, "folder": ".", "initialize": "Initialize", "create": "Create",
                       "model_suffix": ""}

    def original(self, name):
        return (self.origin / name).read_bytes()

    def put(self, name, content):
        new = self.path / "new"
        new.write_bytes(content)
        new.rename(self.path / name)

    def check(self, name, digests_of=None):
        """The program's exit code, negative for a signal."""
        dependency = {"name": name, "hashes": self.hashes[digests_of or name]}
        manifest = self.path / "manifest.json"
        manifest.write_text(json.dumps({**self.plugin, "dependencies": [dependency]}))
        return subprocess.run([self.program, "check", "--plugin", manifest], capture_output=True,
                              timeout=60).returncode


def expect(what, got, wanted):
    if got != wanted:
        sys.exit(f"{what}: exit code {got}, not {wanted}")


def test_other_files(folder):
    for name, other in (ENGINE_FILE, OTHER_FILE), (OTHER_FILE, ENGINE_FILE):
        folder.put(name, folder.original(other))
    for name in ENGINE_FILE, OTHER_FILE:
        expect(f"{name} swapped", folder.check(name), REFUSED)
        folder.put(name, folder.original(name))
        expect(f"{name} as it is", folder.check(name), PASSED)
    expect("digest of another file", folder.check(ENGINE_FILE, OTHER_FILE), REFUSED)
    for target, wanted in (ENGINE_FILE, PASSED), (OTHER_FILE, REFUSED):
        (folder.path / ENGINE_FILE).unlink()
        (folder.path / ENGINE_FILE).symlink_to(folder.origin / target)
        expect(f"link to {target}", folder.check(ENGINE_FILE), wanted)


def test_changed_bytes(folder, count):
    whole = folder.original(ENGINE_FILE)
    generator = random.Random(4711)
    outcomes = collections.Counter()
    for _ in range(count):
        changed = bytearray(whole)
        changed[generator.randrange(len(whole))] ^= generator.randrange(1, 256)
        folder.put(ENGINE_FILE, changed)
        outcomes[folder.check(ENGINE_FILE)] += 1
    # A signal and 127 are the loader's end, before there was anything to test.
    print(f"{count} changed bytes, by exit code: {dict(outcomes)}")
    if outcomes[PASSED] or outcomes[REFUSED] < 0.9 * count:
        sys.exit("accepted, or not refused by the test")


def main():
    program, manifest, plugin = map(pathlib.Path, sys.argv[1:4])
    with tempfile.TemporaryDirectory() as path:
        folder = Folder(pathlib.Path(path), program, manifest, plugin)
        test_other_files(folder)
        test_changed_bytes(folder, int(sys.argv[4]))


main()
