#!/usr/bin/python3
"""Prints the figures of bench/run.py as tables of ratios, in Markdown, and draws its charts."""

import argparse
import json
import pathlib
import statistics

import matplotlib

matplotlib.use("svg")
import matplotlib.pyplot as plt  # noqa: E402

# What everything is compared with: one message of the optimized library, used again and again.
OURS = "ours, reused"
OURS_ALONE = "ours, bytes alone"
OPTIMIZED = "optimized"

# The text of a chart stays text, and the same figures give the same file.
plt.rcParams.update({"svg.fonttype": "none", "svg.hashsalt": "cmnsys", "font.size": 9,
                     "axes.spines.top": False, "axes.spines.right": False})
OUR_COLOUR, PEER_COLOUR, FLOOR_COLOUR = "#1f5f99", "#b0643c", "#8a8a8a"


class Figures:
    def __init__(self, path):
        self.all = json.loads(path.read_text(encoding="utf-8"))
        self.samples = self.all["samples"]

    def quartiles(self, key):
        """Lower quartile, median and upper quartile, or None where nothing was measured."""
        values = self.samples.get(key)
        return statistics.quantiles(values, n=4, method="inclusive") if values else None

    def median(self, key):
        return self.quartiles(key)[1]

    def variants(self, pairs="1000"):
        """(variant, build) of all that was measured with so many pairs, peers by the plain build."""
        found = []
        for key in self.samples:
            parts = key.split("/")
            if parts[0] == "decode" and parts[2] == pairs:
                mine = parts[1].startswith("ours")
                if mine or parts[3] == "plain":
                    found.append((parts[1], parts[3]))
        return sorted(found, key=lambda v: self.median(f"decode/{v[0]}/{pairs}/{v[1]}"))


def ratio(quartiles, base):
    low, middle, high = (value / base for value in quartiles)
    return f"{middle:.2f} ({low:.2f}-{high:.2f})"


def row(*cells):
    return "| " + " | ".join(cells) + " |"


def messages_table(figures):
    base = {what: figures.median(f"{what}/{OURS}/1000/{OPTIMIZED}") for what in ("encode", "decode")}
    wire = figures.all["wire bytes an event"]
    lines = [row("variant", "library", "bytes", "build and write", "read every field"),
             "|---|---|--:|--:|--:|"]
    for variant, build in figures.variants():
        times = [figures.quartiles(f"{what}/{variant}/1000/{build}") for what in base]
        lines.append(row(
            variant, build if variant.startswith("ours") else "",
            f"{wire[variant] / wire[OURS]:.2f}",
            *(ratio(time, base[what]) if time else "-" for what, time in zip(base, times))))
    return lines


def one_event_table(figures):
    base = {what: figures.median(f"{what}/{OURS_ALONE}/1/{OPTIMIZED}")
            for what in ("encode", "decode")}
    lines = [row("one event", "library", "build and write", "read every field"), "|---|---|--:|--:|"]
    for variant, build in figures.variants("1"):
        times = [figures.quartiles(f"{what}/{variant}/1/{build}") for what in base]
        lines.append(row(variant, build if variant.startswith("ours") else "",
                         *(ratio(time, base[what]) if time else "-"
                           for what, time in zip(base, times))))
    return lines


def growth_series(figures, what):
    """{variant: [(pairs, ns an event)]} of the variants measured with several sizes."""
    series = {}
    for key in figures.samples:
        parts = key.split("/")
        if parts[0] == what and parts[3] == OPTIMIZED:
            variant = parts[1]
            if f"{what}/{variant}/100000/{OPTIMIZED}" in figures.samples:
                series.setdefault(variant, []).append((int(parts[2]), figures.median(key)))
    return {variant: sorted(points) for variant, points in sorted(series.items())}


def growth_table(figures):
    sizes = (100, 1000, 10000, 100000)
    lines = []
    for what, title in (("encode", "build and write"), ("decode", "read every field")):
        base = figures.median(f"{what}/{OURS}/1000/{OPTIMIZED}")
        lines += [row(title, *(f"{size:,} pairs" for size in sizes)), "|---|--:|--:|--:|--:|"]
        for variant, points in growth_series(figures, what).items():
            cells = dict(points)
            lines.append(row(variant, *(f"{cells[size] / base:.2f}" if size in cells else ""
                                        for size in sizes)))
        lines.append("")
    return lines[:-1]


def builds_table(figures):
    def against_plain(key):
        return f"{figures.median(key + '/' + OPTIMIZED) / figures.median(key + '/plain'):.2f}"

    def load(build):
        return (figures.median(f"start/schema library/{build}") -
                figures.median(f"start/runtime alone/{build}"))

    symbols = figures.all["symbols looked up when loaded"]
    size = figures.all["library bytes"]
    lines = [row("optimized build against plain build", "ratio"), "|---|--:|"]
    for what, title in (("encode", "build and write"), ("decode", "read every field")):
        for variant in ("ours, bytes alone", OURS, "ours, arena", "ours, heap", "ours, JSON"):
            lines.append(row(f"{title}: {variant}", against_plain(f"{what}/{variant}/1000")))
    lines += [
        row("load the schema library", f"{load(OPTIMIZED) / load('plain'):.2f}"),
        row("symbols looked up when it is loaded", f"{symbols[OPTIMIZED] / symbols['plain']:.2f}"),
        row("size of the schema library", f"{size[OPTIMIZED] / size['plain']:.2f}"),
        row("`cmnsys --version`", against_plain("start/cmnsys --version")),
        row("`cmnsys describe Gid`", against_plain("start/cmnsys describe Gid")),
    ]
    return lines


def rpc_table(figures):
    """Of each round the ratio to native at both ends, and the quartiles of these ratios."""
    titles = ["ours to ours", "ours to native", "native to ours"]
    securities = ["plaintext", "TLS"]
    cells = {}
    for key, values in figures.samples.items():
        kind, *rest = key.split("/")
        if kind != "rpc":
            continue
        security, name, figure, pair = rest
        base = figures.samples["/".join(("rpc", security, name, figure, "native to native"))]
        ratios = [value / native for value, native in zip(values, base)]
        cells[name, figure, pair, security] = ratio(
            statistics.quantiles(ratios, n=4, method="inclusive"), 1)
    lines = [row("calls", "of it", "client to server", *securities), "|---|---|---|--:|--:|"]
    for name, figure, pair in dict.fromkeys(key[:3] for key in sorted(
            cells, key=lambda key: titles.index(key[2]) if key[2] in titles else -1)):
        if pair in titles:
            lines.append(row(name, figure, pair,
                             *(cells[name, figure, pair, security] for security in securities)))
    return lines


def colour_of(variant):
    if variant.startswith("ours"):
        return OUR_COLOUR
    return FLOOR_COLOUR if variant in ("bytes copied", "hand-written") else PEER_COLOUR


def save(figure, path, title):
    figure.savefig(path, bbox_inches="tight", metadata={"Date": None, "Title": title})
    plt.close(figure)


def messages_chart(figures, path):
    variants = [v for v in figures.variants() if v[1] in ("plain", OPTIMIZED)
                and not (v[0].startswith("ours") and v[1] == "plain")]
    figure, axes = plt.subplots(1, 2, figsize=(9, 0.28 * len(variants) + 1), sharey=True)
    for axis, what, title in zip(axes, ("encode", "decode"), ("build and write",
                                                               "read every field")):
        base = figures.median(f"{what}/{OURS}/1000/{OPTIMIZED}")
        for place, (variant, build) in enumerate(variants):
            quartiles = figures.quartiles(f"{what}/{variant}/1000/{build}")
            if not quartiles:
                continue
            low, middle, high = (quartile / base for quartile in quartiles)
            axis.barh(place, middle, color=colour_of(variant),
                      xerr=[[middle - low], [high - middle]], ecolor="#333333")
            axis.text(high * 1.08, place, f"{middle:.2f}", va="center", fontsize=8)
        axis.axvline(1, color=OUR_COLOUR, linewidth=0.8, linestyle=":")
        axis.set_xscale("log")
        axis.set_title(title)
        axis.set_xlabel(f"CPU time of an event; {OURS} = 1")
        axis.margins(x=0.15)
    axes[0].set_yticks(range(len(variants)), [variant for variant, _ in variants])
    axes[0].invert_yaxis()
    save(figure, path, "CPU time to write and read an event")


def growth_chart(figures, path):
    figure, axes = plt.subplots(1, 2, figsize=(9, 3.6), sharey=True)
    for axis, what, title in zip(axes, ("encode", "decode"), ("build and write",
                                                               "read every field")):
        base = figures.median(f"{what}/{OURS}/1000/{OPTIMIZED}")
        for number, (variant, points) in enumerate(growth_series(figures, what).items()):
            axis.plot([pairs for pairs, _ in points], [time / base for _, time in points],
                      marker="os^Dvx*P"[number % 8], linewidth=1.2, markersize=4, label=variant,
                      linestyle="-" if variant.startswith("ours") else "--")
        axis.set_xscale("log")
        axis.set_ylim(bottom=0)
        axis.set_title(title)
        axis.set_xlabel("pairs of events in a message")
    axes[0].set_ylabel(f"CPU time of an event;\n{OURS}, 1,000 pairs = 1")
    axes[1].legend(loc="center left", bbox_to_anchor=(1.02, 0.5), frameon=False)
    save(figure, path, "CPU time of an event against the size of the message")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("figures", type=pathlib.Path, nargs="?",
                        default="build/bench/figures.json", help="what run.py wrote")
    parser.add_argument("--charts", type=pathlib.Path, default="build/bench",
                        help="folder for the charts")
    options = parser.parse_args()
    figures = Figures(options.figures)

    about = figures.all
    loads = " and ".join(f"{load:.1f}" for load in about["load"])
    print(f"{about['date']}, {about['processor']}, {about['cores']} cores, load {loads}; "
          f"1.00 is \"{OURS}\" of the {OPTIMIZED} library, of one event \"{OURS_ALONE}\"\n")
    kinds = {key.split("/")[0] for key in figures.samples}
    tables = [(table, {"encode", "start"})
              for table in (messages_table, one_event_table, growth_table, builds_table)]
    for table, needed in tables + [(rpc_table, {"rpc"})]:
        if needed <= kinds:
            print("\n".join(table(figures)) + "\n")

    if "encode" in kinds:
        options.charts.mkdir(parents=True, exist_ok=True)
        messages_chart(figures, options.charts / "performance-messages.svg")
        growth_chart(figures, options.charts / "performance-growth.svg")


if __name__ == "__main__":
    main()
