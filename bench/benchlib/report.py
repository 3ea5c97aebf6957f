"""The results as text: a line, a table, and the generated part of the page."""

HEAD = ("case", "engine", "cache", "files", "ours", "floor", "figure", "aim", "kept", "per file",
        "peak")
UNITS = {"ratio": "{:.2f}", "ms": "{:+.1f} ms", "s": "{:.2f} s", "ms waited": "{:.0f} ms", "bytes a row": "{:.0f} bytes a row",
         "calls": "{:.2f} calls", "instructions": "{:.0f} instructions"}


def cells(result):
    """The cells of a result's row in the table."""
    unit, files = UNITS[result["unit"]], result["files"]
    aim = result["aim"]
    return (result["case"], result["engine"], result["cache"], f"{files:,}" if files else "",
            seconds(result.get("ours_s")), seconds(result.get("floor_s")),
            unit.format(result["figure"]),
            "" if aim is None else "≤ " + unit.replace("+", "").replace(".2f", "g")
            .replace(".1f", "g").format(aim).split(" ")[0],
            "" if aim is None else "yes" if result["kept"] else "no",
            f"{result['ours_s'] / files * 1e6:.2f} µs" if files and "ours_s" in result else "",
            f"{result['peak_kib'] / 1024:.1f} MiB" if "peak_kib" in result else "")


def seconds(value):
    if value is None:
        return ""
    return f"{value:.3f} s" if value >= 0.1 else f"{value * 1000:.1f} ms"


def plain(result):
    return "bench: " + "  ".join(f"{head} {cell}" for head, cell in zip(HEAD, cells(result)) if cell)


def table(head, rows):
    """A table in Markdown, which is also readable as text."""
    lines = [head, *rows]
    widths = [max(len(line[column]) for line in lines) for column in range(len(head))]
    text = ["| " + " | ".join(cell.ljust(width) for cell, width in zip(line, widths)) + " |"
            for line in lines]
    text.insert(1, "|" + "|".join("-" * (width + 2) for width in widths) + "|")
    return "\n".join(text)


def counts_table(counts):
    """The work for one file, in system calls and instructions."""
    return table(("case", "engine", "calls on the recording", "on its folder", "other calls",
                  "instructions", "of these in the log's gate", "messages"),
                 [(count["case"], count["engine"], *map(_calls, count["calls"].values()),
                   f"{count['instructions']:,.0f}", f"{count['gate_instructions']:.0f}",
                   f"{count['messages']:g}") for count in counts])


def _calls(calls):
    return ", ".join(f"{name} {number:.3g}" for name, number in
                     sorted(calls.items(), key=lambda each: -each[1]) if number >= 0.0005)


def peers_table(peers):
    return table(("program", "what it does", "files", "time", "per file", "peak"),
                 [(peer["program"], peer["state"], f"{peer['files']:,}", seconds(peer["seconds"]),
                   f"{peer['seconds'] / peer['files'] * 1e6:.2f} µs",
                   f"{peer['peak_kib'] / 1024:.1f} MiB") for peer in peers])


def containers_table(results):
    return table(("program", "kind", "video", "audio", "files", "by krindexer", "by krcontainers", "own reader",
                  "krcontainers"),
                 [(result["program"], result["layout"], ", ".join(result["video"]), ", ".join(result["audio"]),
                   str(result["files"]), str(result["krindexer"]), str(result["files"] - result["krindexer"]),
                   f"{result['own_us']:.0f} µs", f"{result['library_us']:.0f} µs") for result in results])


SLOW_HEAD = ("disk", "case", "files", "tool", "without help", "quicker", "serial floor", "floor in flight",
             "of in flight", "per file", "look-ups", "reads", "flushes", "most at once: tool", "floor in flight")


def slow_cells(result):
    """The tool's time, the floors', and the accesses of the tool to the disk for each file."""
    ours, files = result["ours"], result["files"]
    return (result["disk"], result["case"], f"{files:,}",
            *(seconds(result[key]) for key in ("ours_s", "alone_s")),
            f"{result['alone_s'] / result['ours_s']:.1f} times",
            *(seconds(result[key]) for key in ("serial_s", "in_flight_s")),
            f"{result['ours_s'] / result['in_flight_s']:.2f}",
            f"{result['ours_s'] / files * 1000:.2f} ms",
            *(f"{ours[kind] / files:.2f}" for kind in ("lookups", "reads", "flushes")),
            str(ours["deepest"]), str(result["in_flight"]["deepest"]))


def slow_table(results):
    return table(SLOW_HEAD, map(slow_cells, results))


def text(run):
    """All tables of a run."""
    parts = []
    if run["figures"]:
        parts.append(table(HEAD, map(cells, run["figures"])))
    if run["curve"]:
        parts.append("By number of files:\n\n" + table(HEAD, map(cells, run["curve"])))
    if run["counts"]:
        parts.append("For each file:\n\n" + counts_table(run["counts"]))
    if run["peers"]:
        parts.append("Other programs on the same tree:\n\n" + peers_table(run["peers"]))
    if run.get("containers"):
        parts.append("Recordings by the program that reads their headers:\n\n" + containers_table(run["containers"]))
    if run.get("slow"):
        parts.append("On slow disks:\n\n" + slow_table(run["slow"]))
    return "\n\n".join(parts)
