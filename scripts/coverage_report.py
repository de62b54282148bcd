"""Sums up what gcov knows of the lines of src/ and include/: coverage_report.py BUILD LEAST_PERCENT."""
import collections
import json
import pathlib
import subprocess
import sys


def runs_by_line(build):
    """The number of runs of each line, over all object files that it was compiled into."""
    runs = collections.defaultdict(collections.Counter)
    root = pathlib.Path.cwd()
    for data in sorted(build.rglob("*.gcda")):
        report = subprocess.run(["gcov", "--json-format", "--stdout", data], check=True,
                                capture_output=True).stdout
        for entry in json.loads(report)["files"]:
            path = pathlib.Path(entry["file"])
            name = path.relative_to(root) if path.is_relative_to(root) else path
            if name.parts[0] not in ("src", "include"):
                continue
            for line in entry["lines"]:
                runs[str(name)][line["line_number"]] += line["count"]
    return runs


def main():
    runs = runs_by_line(pathlib.Path(sys.argv[1]).resolve())
    total = covered = 0
    for name in sorted(runs):
        missed = sorted(line for line, count in runs[name].items() if count == 0)
        total += len(runs[name])
        covered += len(runs[name]) - len(missed)
        share = 100 * (1 - len(missed) / len(runs[name]))
        print(f"{share:6.1f} %  {name}" + (f"  not: {', '.join(map(str, missed))}" if missed else ""))
    share = 100 * covered / total
    print(f"{share:6.1f} %  {covered} of {total} lines")
    return 0 if share >= float(sys.argv[2]) else 1


sys.exit(main())
