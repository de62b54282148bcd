"""Makes a wheel of what was installed: make_wheel.py WORK DIST VERSION PLATFORM, with the installation in WORK/installed.

The files lie in it as they are installed, below the prefix of the environment: the program finds its libraries beside bin, in
lib, and no Python is started with it.
"""
import pathlib
import shutil
import subprocess
import sys

METADATA = """Metadata-Version: 2.1
Name: ombrel
Version: {version}
Summary: Seals, proves and runs closed neural networks: the program of Ombrel, with its libraries
Requires-Python: >=3.7
Classifier: Operating System :: POSIX :: Linux
"""
WHEEL = """Wheel-Version: 1.0
Generator: ombrel
Root-Is-Purelib: false
Tag: py3-none-{platform}
"""


def main(work, dist, version, platform):
    folder = work / "ombrel"
    data = folder / f"ombrel-{version}.data" / "data"
    information = folder / f"ombrel-{version}.dist-info"
    information.mkdir(parents=True)
    # Links as files, for pip knows none; so all is there that the list of parts names.
    shutil.copytree(work / "installed", data)
    (information / "METADATA").write_text(METADATA.format(version=version))
    (information / "WHEEL").write_text(WHEEL.format(platform=platform))
    subprocess.run([sys.executable, "-m", "wheel", "pack", "--dest-dir", dist, folder], check=True, stdout=subprocess.DEVNULL)


if __name__ == "__main__":
    main(pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]), *sys.argv[3:])
