"""Turns what the benchmarks wrote into one table: python scripts/bench_report.py FOLDER [--json FILE] [--plot FILE]

Fails (exit status 1) when a figure was not met. What is asked to be equal cannot be told from it by less than the
measurement resolves: such a figure is missed when all of the interval of the median's ratio lies beyond it. Times of
conversions are processor time, since what else runs on the machine must not count; all else is the median of pairs
measured in turns.
"""
import argparse
import json
import pathlib
import statistics
import sys


class Row:
    """One comparison. `better` is how many times faster than the peer ours is."""

    def __init__(self, what, ours, peer, peer_name, limit, limit_name, asked, met, half_width=None):
        self.what, self.ours, self.peer, self.peer_name = what, ours, peer, peer_name
        self.limit, self.limit_name, self.asked, self.met = limit, limit_name, asked, met
        self.half_width = half_width  # of the interval of the ratio, in percent

    @property
    def better(self):
        return self.peer / self.ours

    def cells(self):
        limit = f"{self.limit_name} {self.ours / self.limit:.2f}x" if self.limit else ""
        faster = f"{self.better:.2f}x" if self.half_width is None else f"{self.better:.3f}x +-{self.half_width:.1f} %"
        return (self.what, time_text(self.ours), f"{self.peer_name} {time_text(self.peer)}", faster,
                limit, self.asked, "" if self.met is None else "met" if self.met else "NOT MET")


def time_text(seconds):
    for unit, scale in (("s", 1), ("ms", 1e3), ("us", 1e6)):
        if seconds * scale >= 1 or unit == "us":
            return f"{seconds * scale:.3g} {unit}"


def load(folder, name):
    return json.loads((folder / f"{name}.json").read_text())["benchmarks"]


def conversion_times(benchmarks):
    """Processor seconds by (subject, size, who), in the order of the repetitions."""
    times = {}
    for b in benchmarks:
        if b.get("run_type") == "aggregate":
            continue
        scale = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}[b["time_unit"]]
        times.setdefault(tuple(b["run_name"].split("/")[:3]), []).append(b["cpu_time"] * scale)
    return times


# What ours is compared with one by one; all others do the same as ours word for word, and the fastest of them counts.
OTHERS = ("ours", "plain_loop", "unchecked_loop", "plain_conversion", "blobFromImage", "memset", "memcpy", "memchr")


def fastest_peer_rows(repetitions):
    for subject, size, who in repetitions:
        peers = {peer: times for (s, z, peer), times in repetitions.items() if (s, z) == (subject, size)}
        rivals = [peer for peer in peers if peer not in OTHERS]
        if who != "ours" or not rivals:
            continue
        best = min(rivals, key=lambda peer: statistics.median(peers[peer]))
        ratios = sorted(theirs / ours for theirs, ours in zip(peers[best], peers["ours"]))
        spread = int(0.98 * len(ratios) ** 0.5)
        low, high = ratios[len(ratios) // 2 - spread], ratios[len(ratios) // 2 + spread]
        ours, peer = statistics.median(peers["ours"]), statistics.median(peers[best])
        yield Row(f"{subject} {size}", ours, peer, best, statistics.median(peers["memset"]), "memset", "not slower",
                  high >= 1, (high - low) / 2 * 100)


def conversion_rows(times):
    def memory(subject, size, who):
        # A new array takes as many bytes as one that is there.
        return times[subject.replace("_to_new_", "_to_"), size, who]

    def row(subject, size, peer, asked, met):
        ours, limit = times[subject, size, "ours"], memory(subject, size, "memset")
        return Row(f"{subject} {size}", ours, times[subject, size, peer], peer, limit, "memset", asked, met)

    main = "u8_hwc_to_f32_chw"
    for size, factor in (("640x640x3", 6), ("224x224x3", 5), ("1920x1080x3", 4)):
        ours, blob = times[main, size, "ours"], times[main, size, "blobFromImage"]
        asked, met = f">= {factor}x", blob / ours >= factor
        if size == "640x640x3":
            asked, met = asked + ", memset <= 1.6x", met and ours <= 1.6 * times[main, size, "memset"]
        yield row(main, size, "blobFromImage", asked, met)
    size = "640x640x3"
    narrow = "f32_chw_to_u8_hwc"
    yield row(narrow, size, "plain_loop", ">= 5x", times[narrow, size, "plain_loop"] / times[narrow, size, "ours"] >= 5)
    for subject, size, who in sorted(times):
        if who == "plain_conversion":
            ratio = times[subject, size, "ours"] / times[subject, size, who]
            yield Row(f"{subject} {size}", times[subject, size, "ours"], times[subject, size, who], who, None, "",
                      "time <= 1.05x", ratio <= 1.05)
        if "normalized" in subject:
            continue
        channels = size.rsplit("x", 1)[-1]
        special = (subject, size) in ((main, "640x640x3"), (narrow, "640x640x3"))
        if who != "ours" or not size.startswith("640x640") or channels not in "134" or special:
            continue
        ours = times[subject, size, "ours"]
        near = max(memory(subject, size, call) for call in ("memset", "memcpy"))
        met = times[subject, size, "plain_loop"] / ours >= 4 or ours <= 1.5 * near
        yield row(subject, size, "plain_loop", ">= 4x or 1.5x memory", met)


# What a pair has to satisfy, by the start of its name: as text, and as a test of its counters.
PAIRS = (
    ("read_next/", "not slower", lambda c: c["ratio_low"] <= 1.0),
    ("cold/", "not slower", lambda c: c["ratio_low"] <= 1.0),
    ("create/", "time <= 1.1x, peak <= peer + weights",
     lambda c: c["ratio"] <= 1.1 and c["ours_peak_MiB"] <= c["peer_peak_MiB"] + c["weights_MiB"]),
    ("first_load/", "time <= 1.1x", lambda c: c["ratio"] <= 1.1),
    ("authenticate/", "time <= 1.1x, peak as without",
     lambda c: c["ratio"] <= 1.1 and c["ours_peak_MiB"] <= c["peer_peak_MiB"] + 2),
    ("create_runner/", "time <= 1.1x", lambda c: c["ratio"] <= 1.1),
    ("first_answer/stored", "less time", lambda c: c["ratio_high"] < 1),
    ("first_answer/", "", lambda c: None),
    ("create_sibling/", "under 1 ms", lambda c: c["ours_s"] < 1e-3),
    ("run_filled/classifier", "within 1 %", lambda c: c["ratio_low"] <= 1.01),
    ("run_filled/one_node", "less than 1 us more", lambda c: c["ours_s"] - c["peer_s"] < 1e-6),
    ("run_call/", "time <= 1.05x", lambda c: c["ratio_low"] <= 1.05),
    ("run_photo/", "not slower", lambda c: c["ratio_low"] <= 1.0),
    ("throughput/", "within 2 %", lambda c: c["ratio_low"] <= 1.02),
    ("precision/", "", lambda c: None),
    ("check/", "time <= 1.15x", lambda c: c["ratio"] <= 1.15),
    ("verify/", "not slower", lambda c: c["ratio_low"] <= 1.0),
)


def pair_rows(benchmarks):
    for c in benchmarks:
        subject, case, peer = c["run_name"].split("/")[:3]
        name = f"{subject}/{case}"
        asked, met = next((asked, test(c)) for start, asked, test in PAIRS if name.startswith(start))
        what = f"{subject} {case}"
        half = (c["ratio_high"] - c["ratio_low"]) / 2 * 100
        if "ours_peak_MiB" in c:
            what += f", peak {c['ours_peak_MiB']:.0f} MiB ({c['peer_peak_MiB']:.0f})"
        if "largest_difference" in c:
            what += f", outputs differ by up to {c['largest_difference']:.3f}"
        limit_name = {"check": "SHA-256", "authenticate": "GMAC"}.get(subject, "AES" if "sealed" in case else "copy")
        # The pair's own ratio is steadier than that of the two medians.
        yield Row(what, c["ours_s"], c["ours_s"] / c["ratio"], peer, c.get("limit_s"), limit_name, asked, met, half)


def print_table(rows):
    table = [("what", "ours", "peer", "faster", "limit", "asked", "")] + [row.cells() for row in rows]
    widths = [max(len(line[i]) for line in table) for i in range(len(table[0]))]
    for number, line in enumerate(table):
        print("  ".join(cell.ljust(width) for cell, width in zip(line, widths)).rstrip())
        if number == 0:
            print("  ".join("-" * width for width in widths))


def write_plot(rows, file):
    """Bars of how many times faster ours is. The scale is linear, and ends at 20."""
    height, left, width, most = 18, 420, 460, 20
    lines = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{left + width + 70}" height="{height * (len(rows) + 2)}" '
             'font-family="sans-serif" font-size="12">',
             f'<text x="{left}" y="14">times faster than the peer; the line is 1</text>']
    for i, row in enumerate(rows, 1):
        y = i * height + 6
        bar = min(row.better, most) / most * width
        colour = "#c0392b" if row.met is False else "#2c7fb8"
        lines += [f'<text x="{left - 6}" y="{y + 12}" text-anchor="end">{row.what} / {row.peer_name}</text>',
                  f'<rect x="{left}" y="{y + 2}" width="{bar:.1f}" height="{height - 5}" fill="{colour}"/>',
                  f'<text x="{left + bar + 4:.1f}" y="{y + 12}">{row.better:.2f}</text>']
    one = left + width / most
    lines += [f'<line x1="{one}" y1="20" x2="{one}" y2="{height * (len(rows) + 1) + 6}" stroke="#333"/>', "</svg>"]
    file.write_text("\n".join(lines) + "\n")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("--json", type=pathlib.Path)
    parser.add_argument("--plot", type=pathlib.Path)
    options = parser.parse_args()

    repetitions = conversion_times(load(options.folder, "conversions"))
    rows = list(conversion_rows({key: statistics.median(times) for key, times in repetitions.items()}))
    rows += list(fastest_peer_rows(repetitions))
    rows += list(pair_rows([pair for name in ("caches", "load", "backend", "first_answer", "digest") for pair in load(options.folder, name)]))
    print_table(rows)
    if options.json:
        options.json.write_text(json.dumps([dict(vars(row), better=row.better) for row in rows], indent=1) + "\n")
    if options.plot:
        write_plot(rows, options.plot)
    asked = [row for row in rows if row.met is not None]
    missed = sum(not row.met for row in asked)
    print(f"\n{len(asked) - missed} of {len(asked)} figures met")
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main())
