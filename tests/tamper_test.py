"""Tampers with the package that is shipped: tamper_test.py PROGRAM MANIFEST PLUGIN TRAP COUNT.

PLUGIN is any plug-in library, which stands for the package's own where a thousand attempts with all of it would
take too long. TRAP is a library that leaves a file behind where it is opened, COUNT how many changed bytes are tried.
"""
import collections
import json
import os
import pathlib
import random
import shutil
import subprocess
import sys
import tempfile

LARGE = 1 << 20
PASSED, REFUSED = 0, 12  # exit codes of the program


class Package:
    """A copy of a package that the program is made to check."""

    def __init__(self, path, program, manifest):
        self.path, self.program, self.sprung = path, program, path.parent / "sprung"
        self.manifest = path / manifest.name
        path.mkdir(parents=True)

    def put(self, name, content):
        new = self.path.parent / "new"
        new.write_bytes(content)
        new.rename(self.path / name)

    def check(self):
        """The program's exit code, negative for a signal."""
        code = subprocess.run([self.program, "check", "--plugin", self.manifest], capture_output=True, timeout=60,
                              env={**os.environ, "OMBREL_TEST_TRAP": str(self.sprung)}).returncode
        if self.sprung.exists():
            sys.exit("the trap was opened")
        return code

    def expect(self, wanted, what):
        code = self.check()
        if code != wanted:
            sys.exit(f"{what}: exit code {code}, not {wanted}")


def copy_whole(path, program, manifest):
    package = Package(path, program, manifest)
    shutil.copytree(manifest.parent, path, dirs_exist_ok=True)
    for entry in json.loads(manifest.read_text())["dependencies"]:
        if "file" in entry:
            (path / entry["file"]).parent.resolve().mkdir(exist_ok=True)
            shutil.copy(manifest.parent / entry["file"], (path / entry["file"]).resolve())
    return package


def copy_small(path, program, manifest, plugin):
    """The engine's smaller files, of which the plug-in needs none."""
    package = Package(path, program, manifest)
    listed = json.loads(manifest.read_text())
    small = [entry for entry in listed["dependencies"] if "file" not in entry and entry["name"] != listed["name"] and
             (manifest.parent / entry["name"]).stat().st_size < LARGE and "openvino" not in entry["name"]]
    files = [manifest.parent / entry["name"] for entry in small] + [plugin]
    for file in files:
        shutil.copy(file, path)
    subprocess.run([program, "digest", plugin.name, *(file.name for file in files[:-1]), "--closed",
                    "--manifest", manifest.name], check=True, cwd=path, capture_output=True)
    return package, [file.name for file in files[:-1]]


def test_traps(package, trap, step):
    """In the place of each file, and under names that the loader or the engine would come to by itself; of both every
    step-th."""
    names = [entry["name"] for entry in json.loads(package.manifest.read_text())["dependencies"]]
    there = [path.name for path in package.path.iterdir() if path != package.manifest]
    if trap.suffix == ".dll":
        others = ["openvino_auto_batch_plugin.dll", "openvino_onnx_frontend.dll", "msvcp140.dll", "libombrel.dll"]
    else:
        release = next(name.rpartition(".")[2] for name in names if name.startswith("libopenvino.so."))
        others = ["libopenvino_auto_batch_plugin.so", "libopenvino_intel_gpu_plugin.so",
                  f"libopenvino_onnx_frontend.so.{release}", "libz.so.1", "libstdc++.so.6", "libombrel.so.1",
                  *(name + ".so" for name in names if not name.endswith(".so"))]
    kept = package.path.parent / "kept"
    for place in (package.path / name for name in (there + others)[::step]):
        own = place.exists()
        if own:
            place.rename(kept)
        shutil.copy(trap, place)
        package.expect(REFUSED, f"trap as {place.name}")
        place.unlink()
        if own:
            package.expect(REFUSED, f"without {place.name}")
            kept.rename(place)
    package.expect(PASSED, "the whole package without a trap")


def test_swaps_and_links(package, names):
    first, second = (package.path / name for name in names[:2])
    kept = first.read_bytes()
    package.put(first.name, second.read_bytes())
    package.expect(REFUSED, "another file's content")
    if first.suffix != ".dll":  # Wine shows no link as one
        first.unlink()
        outside = package.path.parent / first.name
        outside.write_bytes(kept)
        first.symlink_to(outside)
        package.expect(REFUSED, "a link out of the folder")
    package.put(first.name, kept)
    package.expect(PASSED, "as it was")


def change_bytes(package, names, count, generator):
    outcomes = collections.Counter()
    for _ in range(count):
        name = generator.choice(names)
        whole = (package.path / name).read_bytes()
        changed = bytearray(whole)
        changed[generator.randrange(len(whole))] ^= generator.randrange(1, 256)
        package.put(name, changed)
        outcomes[package.check()] += 1
        package.put(name, whole)
    return outcomes


def main():
    program, manifest, plugin, trap = (pathlib.Path(argument).resolve() for argument in sys.argv[1:5])
    count = int(sys.argv[5])
    with tempfile.TemporaryDirectory() as path:
        small, names = copy_small(pathlib.Path(path) / "small/package", program, manifest, plugin)
        small.expect(PASSED, "the small package")
        test_swaps_and_links(small, names)
        whole = copy_whole(pathlib.Path(path) / "whole/package", program, manifest)
        whole.expect(PASSED, "the whole package")
        test_traps(whole, trap, step=1 if count >= 1000 or trap.suffix == ".dll" else 4)

        generator = random.Random(4711)
        outcomes = change_bytes(small, names, count - count // 50, generator)
        large = [file.name for file in whole.path.iterdir() if file.stat().st_size >= LARGE]
        outcomes += change_bytes(whole, large, count // 50, generator)
        print(f"{count} changed bytes, by exit code: {dict(outcomes)}")
        if outcomes != {REFUSED: count}:
            sys.exit("not all were refused before the load")


main()
