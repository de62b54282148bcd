"""The host program over a plug-in that echoes its input: program_test.py PROGRAM PLUGIN TRAP HOSTILE [TEST...].

What it prints, and that each failure ends with its documented exit code and one line on standard error.
TRAP is a library that leaves a file behind where it is opened, HOSTILE a plug-in that was taken over.
"""
import array
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest
import xml.etree.ElementTree

KEY = "0102030405060708090A0b0c0d0e0f10"
(SUCCESS, USAGE, BAD_KEY, FILE, IMAGE, MANIFEST, PLUGIN, MODEL, RUNNER, RUN, CHECK, PACKAGE, TRUST, NOT_AUTHENTIC,
 OTHER_KEY, FENCE) = 0, *range(2, 17)
PLAIN = "--size 4x2 --plugin m.json"


def ppm(width, height, first=0):
    samples = bytes((first + i) % 256 for i in range(width * height * 3))
    return f"P6 {width} {height} 255\n".encode() + samples


class Program(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = pathlib.Path(temporary.name)
        self.library = self.folder / "libecho.so"
        shutil.copy(echo_plugin, self.library)
        for name in ("plugins.xml", "net.xml", "net.bin", "fails.xml", "fails.bin"):
            (self.folder / name).write_text("x")
        (self.folder / "a.ppm").write_bytes(ppm(4, 2))
        (self.folder / "b.ppm").write_bytes(ppm(8, 4, 100))
        self.succeed("digest libecho.so --manifest m.json")

        self.write_key("key")

    def write_key(self, name, text=KEY + "\n", rights=0o600):
        (self.folder / name).write_text(text)
        (self.folder / name).chmod(rights)

    def run_program(self, arguments, typed="", **variables):
        """The exit code; what was printed is in `out` and `error` then."""
        done = subprocess.run([program, *arguments.split()], cwd=self.folder, input=typed,
                              capture_output=True, text=True, env={**os.environ, **variables})
        self.out, self.error = done.stdout, done.stderr
        return done.returncode

    def succeed(self, arguments, typed="", **variables):
        self.assertEqual(self.run_program(arguments, typed, **variables), SUCCESS,
                         (arguments, getattr(self, "error", "")))

    def raw_output(self, options):
        self.succeed(f"run net a.ppm --raw raw {options} {PLAIN}")
        return array.array("f", (self.folder / "raw").read_bytes())

    def write_changed(self, name, old, new):
        text = (self.folder / "m.json").read_text()
        self.assertIn(old, text)
        (self.folder / name).write_text(text.replace(old, new, 1))

    def test_runs_an_image_in_every_form(self):
        scale = array.array("f", [1 / 255])[0]  # in single precision
        expected = array.array("f", [(i % 8 * 3 + i // 8) * scale for i in range(24)])
        for form in ("u8-hwc", "u8-chw", "f32-hwc", "f32-chw", "input-buffer"):
            self.assertEqual(self.raw_output(f"--as {form}"), expected, form)
        self.assertEqual(self.raw_output(f"--key {KEY}")[0], 1.0)
        self.assertEqual(len(self.raw_output("b.ppm")), 48)

        (self.folder / "labels").write_bytes(b"first\nsecond\r\n")
        self.succeed(f"run net a.ppm --labels labels --top 24 {PLAIN}")
        self.assertRegex(self.out, r"\Aa.ppm  [0-9.]+ ms\n  class 23 +0.0902\n(.*\n)*"
                                   r"  second +0.0118\n(.*\n)*  first +0.0000\n\Z")
        self.assertIn("labels has 2 labels, the network puts out 24 values", self.error)

    def test_saves_what_it_says_as_pictures(self):
        self.succeed(f"run net a.ppm b.ppm --save new/folder --top 2 {PLAIN}")
        self.assertRegex(self.out, r"\Aa.ppm  .* ms\n(  class .*\n){2}  drawn in new/folder/a.png\nb.ppm ")
        drawn = [(self.folder / f"new/folder/{name}.png").read_bytes() for name in "ab"]
        self.assertEqual(drawn[0][:8], b"\x89PNG\r\n\x1a\n")
        self.assertNotEqual(*drawn)
        self.succeed(f"run net new/folder/a.png --json --save again {PLAIN}")
        self.assertEqual(json.loads(self.out)["images"][0]["picture"], "again/a.png")
        shutil.copy(self.folder / "new/folder/a.png", self.folder)
        (self.folder / "again/a.png").unlink()
        (self.folder / "again/a.png").mkdir()
        for options, code, message in (("a.png --save .", FILE, "will not overwrite the input a.png"),
                                       ("a.png a.ppm --save x", USAGE, "a.png and a.ppm would both be saved as x/a.png"),
                                       ("- --save x", USAGE, "--save has no name for standard input"),
                                       ("a.ppm --save a.png", FILE, "cannot make the folder a.png: "),
                                       ("a.ppm --save again", FILE, "cannot write again/a.png: it is a folder")):
            with self.subTest(options):
                self.assertEqual(self.run_program(f"run net {options} {PLAIN}"), code)
                self.assertRegex(self.error, r"\Aombrel: [^\n]*\n\Z")
                self.assertIn(message, self.error)
                self.assertFalse((self.folder / "x").exists())

    def test_ends_each_failure_with_its_code_and_one_line(self):
        (self.folder / "bad.json").write_text("{}")
        (self.folder / "text").mkdir()
        (self.folder / "text/libtext.so").write_text("no library")
        self.succeed("digest text/libtext.so --manifest text/m.json")
        self.write_changed("norange.json", '"offset": 0', '"offset": 0, "offset": 1')
        self.write_changed("noinit.json", "Initialize", "Finalize")
        self.write_changed("nocreate.json", '"Create', '"Destroy')
        (self.folder / "c.cfg").write_text("DataPath elsewhere/")
        (self.folder / "clear.xml").write_text("<?xml")
        (self.folder / "clear.bin").write_text("x")
        (self.folder / "text.ppm").write_text("P3 1 1 255 1 2 3")
        (self.folder / "note.png").write_text("no image")
        self.write_key("short", KEY[1:])
        self.write_key("long", KEY + "\n\n")
        self.write_key("open", KEY, 0o640)
        for arguments, code, message in (
                ("", USAGE, "subcommand is required"),
                ("run net a.ppm --plugin m.json", USAGE, "--size is required: the model"),
                ("info no --plugin m.json", MODEL, "no.xml is missing"),
                ("rum net", USAGE, "there is no command rum;"),
                (f"run net text.ppm {PLAIN}", IMAGE, "it is a PPM in text; PNG, JPEG and PPM of bytes"),
                (f"run clear a.ppm --key {KEY} --config c.cfg {PLAIN}", MODEL, "in the clear; leave the key out"),
                (f"run net a.ppm --labels text {PLAIN}", FILE, "cannot read text: Is a directory"),
                ("run net a.ppm --size 4", USAGE, '"4" is not WxH'),
                (f"run net - - {PLAIN}", USAGE, "holds one image only"),
                (f"run net - --key-file - {PLAIN}", USAGE, "both the key and an image"),
                (f"run net a.ppm --raw - --top 1 {PLAIN}", USAGE, "no room for classes"),
                (f"run net a.ppm --as u9 {PLAIN}", USAGE, "u9"),
                ("digest m.json --range 3", USAGE, "not OFFSET:LENGTH"),
                (f"run net a.ppm --key 12 {PLAIN}", BAD_KEY, "not 32 hexadecimal digits"),
                (f"run net a.ppm --key-file short {PLAIN}", BAD_KEY, "not 32 hexadecimal digits"),
                (f"run net a.ppm --key-file long {PLAIN}", BAD_KEY, "not 32 hexadecimal digits"),
                (f"run net a.ppm --key-file - {PLAIN}", BAD_KEY, "not 32 hexadecimal digits"),
                (f"run net a.ppm --key-file no {PLAIN}", FILE, "cannot open the key in no"),
                (f"run net a.ppm --key-file open {PLAIN}", BAD_KEY, "others may read the key in open"),
                (f"run net a.ppm --key-env NO_KEY {PLAIN}", BAD_KEY, "has no variable NO_KEY"),
                ("seal net new --key-file key --key-env X", USAGE, "--key-file excludes --key-env"),
                (f"seal net new --key-file key --key {KEY}", USAGE, "excludes"),
                (f"seal net new --key-env X --key {KEY}", USAGE, "excludes"),
                (f"seal net new --key {KEY} --key {KEY}", USAGE, "--key"),
                ("seal net new", USAGE, "one of --key-file, --key-env and --key is required"),
                ("keygen", USAGE, "from [--model,--signing] is required"),
                ("digest --manifest m.json", USAGE, "LIBRARY is required"),
                ("digest --manifest no.json --sign key", FILE, "cannot open no.json"),
                ("digest --manifest m.json --sign key", BAD_KEY, "not 64 hexadecimal digits"),
                ("check --plugin m.json --trust key", BAD_KEY, "key is no public key of 64"),
                ("check --plugin m.json --least-counter 1", USAGE, "requires --trust"),
                ("keygen --model key", FILE, "cannot make key: File exists"),
                (f"run net a.ppm --labels no {PLAIN}", FILE, "cannot open no"),
                (f"run net a.ppm --config no {PLAIN}", FILE, "configuration file no"),
                (f"run net a.ppm --raw no/raw {PLAIN}", FILE, "cannot write no/raw"),
                (f"run net no.ppm {PLAIN}", IMAGE, "no.ppm"),
                (f"run net note.png {PLAIN}", IMAGE, "note.png"),
                ("run net a.ppm --size 4x2 --plugin bad.json", MANIFEST, '"name" is missing'),
                ("run net a.ppm --size 4x2 --plugin norange.json", MANIFEST, '"offset" stands twice'),
                ("run net a.ppm --size 4x2 --plugin no.json", FILE, "cannot open no.json"),
                ("run net a.ppm --size 4x2 --plugin text/m.json", PLUGIN, "code -1, its library"),
                ("run net a.ppm --size 4x2 --plugin noinit.json", PLUGIN, "code -4, "),
                ("run net a.ppm --size 4x2 --plugin nocreate.json", PLUGIN, "create entry"),
                (f"run net.xml a.ppm {PLAIN}", MODEL, "name the model without .xml"),
                (f"run net a.ppm --config c.cfg {PLAIN}", MODEL, "cannot load model net"),
                (f"run net a.ppm --threads 13 {PLAIN}", RUNNER, "not ready"),
                ("run net a.ppm --as input-buffer --size 9x9 --plugin m.json", RUN, "9x9 has more"),
                ("run net a.ppm --size 4x1 --plugin m.json", RUN, "4x1 has fewer samples"),
                (f"run fails a.ppm {PLAIN}", RUN, "the echo fails, in two lines"),
                (f"bench fails {PLAIN}", RUN, "the echo fails, in two lines"),
                (f"seal net net --key {KEY}", FILE, "will not overwrite the input net.xml"),
                (f"seal no new --key {KEY}", FILE, "cannot open no.xml"),
                ("digest a.ppm --range 4294967295:1", FILE, "the range goes beyond"),
                ("digest a.ppm --closed", USAGE, "--closed requires --manifest"),
                ("check --plugin text/m.json", PLUGIN, "cannot load plug-in libtext.so")):
            with self.subTest(arguments):
                self.assertEqual(self.run_program(arguments), code)
                self.assertRegex(self.error, r"\Aombrel: [^\n]*\n\Z")
                self.assertIn(message, self.error)
                self.assertFalse((self.folder / "new.xml").exists())

    def test_speaks_json_and_works_in_pipes(self):
        self.succeed(f"run net a.ppm b.ppm --json --top 1 --key {KEY} {PLAIN}")
        answers = json.loads(self.out)["images"]
        self.assertEqual([answer["image"] for answer in answers], ["a.ppm", "b.ppm"])
        self.assertEqual(answers[0]["classes"][0]["class"], 23)
        self.succeed("check --plugin m.json --json")
        self.assertEqual(json.loads(self.out)["dependencies"][0]["verdict"], "ok")
        self.succeed(f"bench net --seconds 0.01 --json - {PLAIN}")
        self.assertEqual(json.loads(self.out)["width"], 4)

        expected = self.raw_output("").tobytes()
        command = f"run net - --raw - {PLAIN}".split()
        image = (self.folder / "a.ppm").read_bytes()
        done = subprocess.run([program, *command], cwd=self.folder, input=image, capture_output=True)
        self.assertEqual(done.stdout, expected)
        # More lines than a buffer holds, which are not to land in the file that gets the number of standard output.
        many = f"run net {'a.ppm ' * 999} --raw raw {PLAIN}".split()
        done = subprocess.run(["sh", "-c", 'exec "$@" >&-', "sh", program, *many], cwd=self.folder, capture_output=True)
        self.assertEqual(done.returncode, FILE)
        self.assertEqual((self.folder / "raw").read_bytes(), expected * 999)
        reading, closed = os.pipe()
        os.close(reading)
        with open("/dev/full", "wb") as full, open(closed, "wb") as pipe:
            for output, reason in ((full, b"No space left on device"), (pipe, b"Broken pipe")):
                for arguments in (command, ["--help"], ["run", "--help"], "check --plugin m.json --json".split()):
                    done = subprocess.run([program, *arguments], cwd=self.folder, input=image, stdout=output,
                                          stderr=subprocess.PIPE)
                    self.assertEqual(done.returncode, FILE, arguments)
                    self.assertEqual(done.stderr, b"ombrel: cannot write standard output: " + reason + b"\n")

    def test_is_described_by_its_own_help(self):
        def make(kind):
            generator = pathlib.Path(__file__).parent.parent / "tools/ombrel/make-manual"
            return subprocess.run([generator, kind, program], capture_output=True, text=True, check=True).stdout

        self.succeed("--version")
        self.assertRegex(self.out, r"\Aombrel [0-9.]+\nengine: OpenVINO 20[0-9]+\.[0-9]+\.[0-9]+, which this build was made "
                                   r"with\nmodel IV: .+\nkey mask: .+\n\Z")
        self.assertIn("\n.SH OMBREL RUN\n", make("man"))
        self.assertIn("\n.B \\-\\-size WxH\nwidth and height of", make("man"))
        for words, offered in (("ver", "verify"), ("run --fenced-", ""), ("run --fe", "--fenced --fence-limit"),
                               ("run --as f", "f32-hwc f32-chw")):
            ask = f"COMP_WORDS=(ombrel {words}) COMP_CWORD={len(words.split())}; _ombrel; echo ${{COMPREPLY[*]}}"
            done = subprocess.run(["bash", "-c", make("completion") + ask], capture_output=True, text=True)
            self.assertEqual(done.stdout, offered + "\n")

    def test_accepts_the_library_of_the_manifest_only(self):
        self.succeed("check --plugin m.json")
        self.assertRegex(self.out, r"\Alibecho.so +ok +/.*/libecho.so\n")
        self.library.write_bytes(self.library.read_bytes().replace(b"the echo", b"The echo"))
        for command in ("check", "run net a.ppm --size 4x2", "bench net --size 4x2"):
            self.assertEqual(self.run_program(f"{command} --plugin m.json"), PACKAGE)
            self.assertEqual(self.error, "ombrel: libecho.so is not a file that is listed\n"
                             "ombrel: 1 of 1 files are not as the manifest has them; nothing was loaded\n")

        # A digest of a part says nothing of the rest.
        self.succeed("digest libecho.so --range 0:64 --manifest m.json --name libecho")
        extended = (self.folder / "m.json").read_text()
        self.assertEqual(len(re.findall('"sha256"', extended)), 2)
        self.assertEqual(self.run_program("check --plugin m.json"), PACKAGE)
        self.assertIn("libecho.so is proven in part only", self.error)
        # A second digest is an alternative; the same one again changes nothing.
        self.succeed("digest libecho.so --manifest m.json")
        extended = (self.folder / "m.json").read_text()
        self.assertEqual(len(re.findall('"sha256"', extended)), 3)
        self.succeed("digest libecho.so --manifest m.json")
        self.assertEqual((self.folder / "m.json").read_text(), extended)
        self.succeed(f"run net a.ppm {PLAIN}")

    def test_maps_nothing_that_was_not_proven_first(self):
        package = self.folder / "package"
        package.mkdir()
        shutil.copy(self.library, package)
        (package / "plugins.xml").write_text("x")
        (package / "liblisted.so.1").write_text("listed")
        self.succeed("digest package/libecho.so package/liblisted.so.1 --manifest package/m.json "
                     "--file package/plugins.xml --outside net.bin --closed")
        self.assertIn('"file": "../net.bin"', (package / "m.json").read_text())
        for name, fault in (("libecho.so", "is not a file that is listed"),
                            ("liblisted.so.1", "is not a file that is listed"),
                            ("liblisted.so.1.so", "is not a file that is listed"),
                            ("plugins.xml", "is not a file that is listed"),
                            ("../net.bin", "is not a file that is listed"),
                            ("libz.so.1", "is not listed, in a folder that is closed")):
            for command in ("check", "run net a.ppm --size 4x2", "bench net --size 4x2"):
                place, kept = package / name, self.folder / "kept"
                with self.subTest(name, command=command):
                    if place.exists():
                        place.rename(kept)
                    shutil.copy(trap, place)
                    code = self.run_program(f"{command} --plugin package/m.json",
                                            OMBREL_TEST_TRAP=str(self.folder / "sprung"))
                    self.assertFalse((self.folder / "sprung").exists())
                    self.assertEqual(code, PACKAGE)
                    self.assertIn(f"ombrel: {name} {fault}\n", self.error)
                    place.unlink()
                    if kept.exists():
                        kept.rename(place)

    def test_tells_of_libraries_that_run_without_a_proof(self):
        for name in ("libtop.so", "libmiddle.so", "libdeep.so"):
            shutil.copy(trap.parent / name, self.folder)
        self.succeed("digest libtop.so libmiddle.so --manifest top.json")
        self.assertEqual(self.run_program("check --plugin top.json"), CHECK)
        self.assertRegex(self.error, r"\Aombrel: libdeep.so is not listed, and a loader could .*\n"
                                     r"ombrel: libecho.so is not listed, and .*\n"
                                     r"ombrel: 2 libraries of the folder have no proof")
        # A host of an open folder hears of them when one of them is mapped.
        self.assertEqual(self.run_program("run net a.ppm --size 4x2 --plugin top.json"), PLUGIN)
        self.assertIn("libdeep.so is mapped from its folder, and not listed", self.error)
        self.succeed("digest libdeep.so --manifest top.json --closed")
        self.assertEqual(self.run_program("check --plugin top.json"), PACKAGE)
        self.assertIn("ombrel: libecho.so is not listed, in a folder that is closed\n", self.error)

    def test_takes_a_manifest_that_is_signed_and_new_enough(self):
        self.succeed("keygen --signing signer")
        self.succeed("keygen --signing stranger")
        self.assertEqual((self.folder / "signer").stat().st_mode & 0o777, 0o600)
        self.assertEqual(self.run_program("check --plugin m.json --trust signer.pub"), TRUST)
        self.assertIn("m.json is not signed: m.json.sig cannot be opened", self.error)
        self.succeed("digest --manifest m.json --counter 2 --sign signer")
        first = [(self.folder / name).read_bytes() for name in ("m.json", "m.json.sig")]
        for command in ("check", "run net a.ppm --size 4x2", "bench net --size 4x2 --seconds 0.01"):
            self.succeed(f"{command} --plugin m.json --trust signer.pub --least-counter 2")
            for trust, error in (("stranger.pub", "or is signed by another key"),
                                 ("signer.pub --least-counter 3", "is an older one: its counter is 2, and")):
                self.assertEqual(self.run_program(f"{command} --plugin m.json --trust {trust}"), TRUST)
                self.assertIn(error, self.error)
        self.assertEqual(self.run_program("digest --manifest m.json --counter 1 --sign signer"), MANIFEST)
        self.succeed("digest libecho.so --manifest m.json --counter 3 --sign signer")
        self.succeed("check --plugin m.json --trust signer.pub --least-counter 3")
        for name, content in zip(("m.json", "m.json.sig"), first):  # an older pair, put back
            (self.folder / name).write_bytes(content)
        self.assertEqual(self.run_program("check --plugin m.json --trust signer.pub --least-counter 3"), TRUST)
        self.succeed("digest libecho.so --manifest m.json --model-suffix .net")
        self.assertIn("m.json.sig is of the manifest as it was", self.error)
        self.assertEqual(self.run_program("check --plugin m.json --trust signer.pub"), TRUST)

    def test_warns_of_files_that_others_may_change_or_refuses_them(self):
        self.library.chmod(0o644)
        self.succeed("check --plugin m.json --strict")
        self.assertEqual(self.error, "")
        self.library.chmod(0o666)
        line = "libecho.so may be changed or exchanged by other users\n"
        for command in ("check", "run net a.ppm --size 4x2"):
            self.succeed(f"{command} --plugin m.json")
            self.assertEqual(self.error, f"ombrel: warning: {line}")
            self.assertEqual(self.run_program(f"{command} --plugin m.json --strict"), PACKAGE)
            self.assertTrue(self.error.startswith(f"ombrel: {line}"))

    def test_springs_the_trap_where_it_is_listed(self):
        (self.folder / "trap").mkdir()
        shutil.copy(trap, self.folder / "trap/libtrap.so")
        self.succeed("digest trap/libtrap.so --manifest trap/m.json")
        self.run_program("check --plugin trap/m.json", OMBREL_TEST_TRAP=str(self.folder / "sprung"))
        self.assertTrue((self.folder / "sprung").exists())

    def test_takes_the_key_from_where_it_is_kept(self):
        expected = self.raw_output(f"--key {KEY}")
        for arguments, typed, variable in (("--key-file key", "", ""), ("--key-file -", KEY, ""),
                                           ("--key-file -", KEY + "\r\n", ""), ("--key-env THE_KEY", "", KEY)):
            with self.subTest(arguments):
                self.succeed(f"run net a.ppm --raw raw {arguments} {PLAIN}", typed, THE_KEY=variable)
                self.assertEqual((self.folder / "raw").read_bytes(), expected.tobytes())
        self.addCleanup(os.umask, os.umask(0))
        self.succeed("keygen --model made")
        made = (self.folder / "made").read_text()
        self.assertRegex(made, r"\A[0-9a-f]{32}\n\Z")
        self.assertEqual((self.folder / "made").stat().st_mode & 0o777, 0o600)
        self.assertNotIn(made.strip(), self.out + self.error)
        self.succeed("keygen --model other")
        self.assertNotEqual((self.folder / "other").read_text(), made)

    def use_hostile_plugin(self):
        package = self.folder / "package"
        package.mkdir()
        shutil.copy(hostile, package / "libhostile.so")
        self.succeed("digest package/libhostile.so --manifest package/m.json")

    def run_fenced(self, model, options="", manifest="package/m.json"):
        if re.search(b"__(asan|tsan|ubsan)_", program.read_bytes()):
            self.skipTest("a sanitizer needs calls that the fence refuses")
        code = self.run_program(f"run {model} a.ppm --size 4x2 --plugin {manifest} --fenced {options}")
        if re.search("kernel has no Landlock|kernel takes no filters", self.error):
            self.skipTest("an emulator: " + self.error)
        return code

    def test_gives_the_same_answers_behind_the_fence(self):
        for options in ("", "--as input-buffer", f"--key {KEY}", "--top 3 b.ppm"):
            expected = self.raw_output(options)
            self.assertEqual(self.run_fenced("net", f"--raw raw {options}", "m.json"), SUCCESS, self.error)
            self.assertEqual((self.folder / "raw").read_bytes(), expected.tobytes())
        self.assertEqual(self.run_fenced("net", "--save fenced", "m.json"), SUCCESS, self.error)
        self.succeed(f"run net a.ppm --save plain {PLAIN}")
        self.assertEqual(*((self.folder / place / "a.png").read_bytes() for place in ("fenced", "plain")))
        for arguments, code, message in (("fails", RUN, "the echo fails, in two lines"),
                                         ("no", MODEL, "no.xml is missing or empty"),
                                         ("net --threads 13", RUNNER, "not ready")):
            self.assertEqual(self.run_fenced(arguments, manifest="m.json"), code)
            self.assertRegex(self.error, rf"\Aombrel: [^\n]*{message}[^\n]*\n\Z")
        self.assertEqual(self.run_program(f"run net a.ppm --fence-limit 3 {PLAIN}"), USAGE)

    def test_lets_an_engine_that_was_taken_over_do_nothing(self):
        self.use_hostile_plugin()
        for fenced in (True, False):
            (self.folder / "victim").write_text("x")
            (self.folder / "net.xml").write_text("x")
            if fenced:
                self.assertEqual(self.run_fenced("net", "--raw raw"), SUCCESS, self.error)
                self.assertEqual((self.folder / "net.xml").read_text(), "x")
                self.assertTrue((self.folder / "victim").exists())
                self.assertFalse((self.folder / "planted").exists())
            else:
                self.succeed("run net a.ppm --raw raw --size 4x2 --plugin package/m.json")
            did = list(array.array("f", (self.folder / "raw").read_bytes()))
            self.assertEqual(did, [float(not fenced)] * len(did))
            self.assertGreater(len(did), 15)

    def test_ends_with_one_line_whatever_ends_the_engine(self):
        self.use_hostile_plugin()
        limit = "--fence-limit 0.5"
        for model, options, message in (("crashes", "", "crashed behind the fence: Segmentation fault|gave no answer"),
                                        ("aborts", "", "crashed behind the fence: Aborted"),
                                        ("throws", "", "crashed behind the fence: Aborted"),
                                        ("leaves", "", "gave no answer behind the fence"),
                                        ("lies", "", "gave no answer behind the fence"),
                                        ("loops", limit, "took more than 0.5 s behind the fence"),
                                        ("sleeps", limit, "took more than 0.5 s behind the fence")):
            with self.subTest(model):
                self.assertEqual(self.run_fenced(model, "--raw raw " + options), FENCE)
                self.assertRegex(self.error, rf"\Aombrel: the engine ({message})\n\Z")
                self.assertFalse(list(self.folder.glob("raw*")))
        self.assertEqual(self.run_fenced("prints"), MODEL)
        self.assertEqual(self.error, "?[2Jwhy?\nombrel: cannot load model prints: ?]0;told\n")

    def start_bench(self, arguments, typed="", **variables):
        """A run that has its key behind it, and goes on."""
        running = subprocess.Popen([program, *f"bench net --seconds 60 {arguments} {PLAIN}".split()],
                                   cwd=self.folder, stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
                                   env={**os.environ, **variables})
        self.addCleanup(running.wait)
        self.addCleanup(running.kill)
        running.stdin.write(typed.encode())
        running.stdin.close()
        while b"bench" not in pathlib.Path(f"/proc/{running.pid}/cmdline").read_bytes():
            time.sleep(0.01)
        times = pathlib.Path(f"/proc/{running.pid}/stat")
        while int(times.read_text().rsplit(")", 1)[1].split()[11]) < 20:  # hundredths of a second of its own
            time.sleep(0.01)
        return running

    def test_leaves_no_copy_of_the_key_behind(self):
        key = os.urandom(16)  # nothing that any library has in a table
        digits = key.hex()
        self.write_key("key", digits)
        for arguments, typed in (("--key-file key", ""), ("--key-file -", digits), ("--key-env THE_KEY", ""),
                                 (f"--key {digits}", "")):
            with self.subTest(arguments):
                variables = {"THE_KEY": digits} if "env" in arguments else {}
                process = pathlib.Path(f"/proc/{self.start_bench(arguments, typed, **variables).pid}")
                command = (process / "cmdline").read_bytes()
                if command.startswith(b"qemu"):
                    self.skipTest("the emulator has copies of its own")
                self.assertNotIn(digits.encode(), command)
                if os.geteuid() != 0:  # for everybody but the administrator it is closed
                    self.assertRaises(PermissionError, (process / "mem").open, "rb")
                    continue
                found = [where for where, content in memory_of(process)
                         for secret in (key, digits.encode()) if secret in content]
                self.assertEqual(found, [])
                self.assertRegex((process / "limits").read_text(), "Max core file size +0 ")

    def test_leaves_nothing_half_written_when_a_signal_ends_it(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            with self.subTest(number):
                with (self.folder / "net.bin").open("wb") as weights:
                    weights.truncate(1 << 30)  # takes a while to seal
                running = subprocess.Popen([program, *"seal net new --key-file key".split()], cwd=self.folder)
                while len(list(self.folder.glob("*.part"))) < 2:
                    self.assertIsNone(running.poll())
                running.send_signal(number)
                self.assertEqual(running.wait(), -number)
                self.assertEqual(list(self.folder.glob("new*")), [])

    def test_tells_a_terminal_how_far_it_has_come(self):
        def seen(arguments, until):
            main, other = os.openpty()
            running = subprocess.Popen([program, *arguments.split()], cwd=self.folder, stdout=subprocess.DEVNULL,
                                       stderr=other)
            os.close(other)
            self.addCleanup(os.close, main)
            text = b""
            while not re.search(until, text):
                try:
                    text += os.read(main, 1000)
                except OSError:  # it has ended
                    break
            running.terminate()
            running.wait()
            return text

        for name in ("net.bin", "large"):
            with (self.folder / name).open("wb") as file:
                file.truncate((1 << 31) - 32)
        line = rb"\A\r\[#* *\] [0-9]+ of 20[0-9]+ MiB "
        self.assertRegex(seen("digest large", rb"MiB digested"), line + rb"digested")
        self.assertRegex(seen("seal net new --key-file key", rb"MiB sealed"), line + rb"sealed")
        # It goes again, and nothing is said of what takes no time.
        self.assertRegex(seen("bench net --seconds 0.3 " + PLAIN, b"never"), rb"\A\r\[ *\] .* of 0.3 s(.*\r)* +\r\Z")
        self.assertEqual(seen("digest m.json", b"never"), b"")

    def test_seals_a_pair_and_measures_several_runners(self):
        self.succeed(f"seal net new --key {KEY}")
        sealed = [(self.folder / f"new.{end}").read_bytes() for end in ("xml", "bin")]
        self.assertEqual(len(sealed[0]), 16)
        self.assertEqual(*sealed)
        self.assertNotIn(KEY, self.out + self.error)

        self.succeed(f"authenticate net --key {KEY}")
        for base, form in (("new", "sealed"), ("net", "in the clear")):
            self.succeed(f"verify {base} --key {KEY}")
            self.assertEqual(self.out, f"{base} is the pair that was authenticated, {form}\n")
            for change, code, message in (
                    ("bin", NOT_AUTHENTIC, f"{base}.bin was changed in MiB 0"), ("auth", FILE, "cannot be opened")):
                file = self.folder / f"{base}.{change}"
                whole = file.read_bytes()
                file.unlink() if change == "auth" else file.write_bytes(whole[:-1] + b"?")
                self.assertEqual(self.run_program(f"verify {base} --key {KEY}"), code)
                self.assertIn(message, self.error)
                file.write_bytes(whole)
            self.assertEqual(self.run_program(f"verify {base} --key {KEY[::-1]}"), OTHER_KEY)

        self.succeed(f"info new --key {KEY} --plugin m.json --json")
        self.assertEqual(json.loads(self.out), {"model": "new", "sealed": True, "tags": True, "output_size": 24,
                                                "inputs": None, "outputs": None})
        self.succeed(f"bench net --runners 3 --seconds 0.05 --json j --plot p.svg {PLAIN}")
        bars = xml.etree.ElementTree.parse(self.folder / "p.svg").findall(".//*[@class='bar']")
        self.assertTrue(bars)
        for bar in bars:  # inside of the axes
            self.assertGreaterEqual(float(bar.get("y")), 90)
            self.assertTrue(70 <= float(bar.get("x")) <= 770)
        self.assertIn("3 runners", self.out)
        written = (self.folder / "j").read_text()
        self.assertIn('"p99.9"', written)
        self.assertIn('"runners": 3', written)
        self.assertEqual(self.error, "")


def memory_of(process):
    """Each readable mapping of a process and what is in it."""
    with (process / "mem").open("rb", 0) as memory:
        for line in (process / "maps").read_text().splitlines():
            start, end = (int(number, 16) for number in line.split()[0].split("-"))
            if "r" not in line.split()[1] or line.endswith(("[vvar]", "[vsyscall]")):
                continue
            if end - start > 1 << 36:
                raise unittest.SkipTest("the shadow of a sanitizer is too large to be searched")
            content = b""
            while start + len(content) < end:
                memory.seek(start + len(content))
                try:
                    content += memory.read(end - start - len(content))
                except OSError:  # behind the end of a file
                    break
            yield line, content


if __name__ == "__main__":
    program, echo_plugin, trap, hostile = (pathlib.Path(argument).resolve() for argument in sys.argv[1:5])
    unittest.main(argv=sys.argv[:1] + sys.argv[5:])
