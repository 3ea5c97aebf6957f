"""What was measured, as a table, as JSON and as a picture."""

COLUMNS = ("case", "engine", "cache", "files", "ours", "floor", "figure", "aim", "kept", "peak MiB",
           "per file")


def line_of(result):
    """The cells of a result."""
    is_difference = result["unit"] == "ms"
    aim = result.get("aim")
    return (result["case"], result["engine"], result["cache"], f"{result['files']:,}",
            seconds(result["ours_s"]), seconds(result["floor_s"]),
            f"{result['figure']:+.1f} ms" if is_difference else f"{result['figure']:.2f}",
            "" if aim is None else f"≤ {aim:g}{' ms' if is_difference else ''}",
            "" if aim is None else "yes" if result["kept"] else "no",
            f"{result['peak_kib'] / 1024:.1f}",
            f"{result['ours_s'] / result['files'] * 1e6:.2f} µs" if result["files"] else "")


def seconds(value):
    return f"{value:.3f} s" if value >= 0.1 else f"{value * 1000:.1f} ms"


def table(results, columns=COLUMNS):
    """In Markdown, which is read as it is as well."""
    cells = [columns, *map(line_of, results)]
    widths = [max(len(row[column]) for row in cells) for column in range(len(columns))]
    lines = ["| " + " | ".join(cell.ljust(width) for cell, width in zip(row, widths)) + " |"
             for row in cells]
    lines.insert(1, "|" + "|".join("-" * (width + 2) for width in widths) + "|")
    return "\n".join(lines)
