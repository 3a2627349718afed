"""Plot a `vorn replay` outputs CSV: the IAQ index with its accuracy, temperature and
humidity (raw and compensated), gas resistance and the stabilisation flags, with the
simulated ground-truth VOC from the raw log when it is given.

It only reads CSV files, so it works without the shared library; the columns are the
outputs' short names, which `vorn replay` writes too. Uses matplotlib's Agg backend (no
display needed).
"""

from __future__ import annotations

import itertools
import math
from dataclasses import dataclass, field
from pathlib import Path
from typing import Dict, Iterable, List, Optional, Sequence

from .ids import OutputId

try:
    import matplotlib

    matplotlib.use("Agg")
    import matplotlib.pyplot as plt  # (the backend must be chosen first)
    import numpy as np
    from matplotlib.patches import Patch
except ImportError as missing:  # --help still works; drawing says what to install
    MISSING = missing
else:
    MISSING = None

INSTALL_HINT = ("drawing needs matplotlib (with numpy): on Debian `sudo apt-get install "
                "python3-matplotlib`, elsewhere `pip install matplotlib`")

# More points than this are averaged into bins: a week at 3 s has 200,000 rows, far
# more than a picture can show, and binning keeps the plot fast and the lines calm.
MAX_POINTS = 4000
CHUNK_ROWS = 100_000  # rows parsed at a time

ACCURACY_COLOURS = {0: "#d9d9d9", 1: "#f4b6b6", 2: "#f9e4a6", 3: "#bfe5bf"}
ACCURACY_LABELS = {
    0: "0: not graded yet",
    1: "1: band too narrow",
    2: "2: learning",
    3: "3: calibrated",
}


@dataclass
class Table:
    """Numeric columns of a CSV file, by header name; empty fields become NaN."""

    columns: Dict[str, np.ndarray] = field(default_factory=dict)

    def get(self, name: str) -> Optional[np.ndarray]:
        return self.columns.get(name)


def read_csv(path: Path, wanted: Iterable[str]) -> Table:
    """Read the wanted columns (those present) of a CSV file with a header line.

    Empty fields (an output not produced in a step) and text that is no number become
    NaN. The file goes through numpy's C parser in blocks of CHUNK_ROWS lines and is
    kept in single precision (time in double), so a 120-day log at 3 s (3.5 million
    rows) needs a few hundred megabytes, not the whole text and its copies at once.
    """
    with open(path, newline="") as handle:
        header_line = handle.readline()
        header = [name.strip() for name in header_line.strip().split(",")]
        if not header_line.strip():
            raise ValueError(f"{path} is empty")
        if "time_s" not in header:
            raise ValueError(f"{path} has no time_s column (header: {','.join(header)})")
        names = [name for name in wanted if name in header]
        columns = [header.index(name) for name in names]
        blocks: Dict[str, List[np.ndarray]] = {name: [] for name in names}
        while True:
            body = "".join(itertools.islice(handle, CHUNK_ROWS))
            if not body:
                break
            try:
                data = _parse_numbers(body, columns)
            except ValueError:
                data = _parse_numbers_slowly(body, columns)
            for i, name in enumerate(names):
                blocks[name].append(data[:, i] if name == "time_s" else data[:, i].astype(np.float32))
    return Table({name: np.concatenate(parts) if parts else np.empty(0)
                  for name, parts in blocks.items()})


def _parse_numbers(body: str, columns: List[int]) -> np.ndarray:
    # Spell out the empty fields so that every field is a number for loadtxt.
    body = body.replace("\r", "")
    body = body.replace(",,", ",nan,").replace(",,", ",nan,")
    body = body.replace(",\n", ",nan\n")
    if body.endswith(","):
        body += "nan"
    lines = [line for line in body.split("\n") if line]
    if not lines:
        return np.empty((0, len(columns)))
    data = np.loadtxt(lines, delimiter=",", usecols=columns, ndmin=2, dtype=float)
    return data.reshape(len(lines), len(columns))


def _parse_numbers_slowly(body: str, columns: List[int]) -> np.ndarray:
    rows = []
    for line in body.splitlines():
        if not line.strip():
            continue
        fields = line.split(",")
        rows.append([_number(fields[i]) if i < len(fields) else math.nan for i in columns])
    return np.asarray(rows, dtype=float).reshape(len(rows), len(columns))


def _number(text: str) -> float:
    try:
        return float(text)
    except ValueError:
        return math.nan


def binned(x: np.ndarray, y: np.ndarray, bins: int, how: str = "mean"):
    """Reduce (x, y) to at most `bins` points: the bin's mean, min or max of y."""
    keep = ~np.isnan(y)
    x, y = x[keep], y[keep]
    if len(x) <= bins or len(x) == 0:
        return x, y
    edges = np.linspace(x[0], x[-1], bins + 1)
    which = np.clip(np.searchsorted(edges, x, side="right") - 1, 0, bins - 1)
    counts = np.bincount(which, minlength=bins)
    centre = (edges[:-1] + edges[1:]) / 2
    if how == "mean":
        sums = np.bincount(which, weights=y, minlength=bins)
        with np.errstate(invalid="ignore", divide="ignore"):
            reduced = sums / counts
    else:
        reduced = np.full(bins, np.inf if how == "min" else -np.inf)
        (np.minimum if how == "min" else np.maximum).at(reduced, which, y)
    present = counts > 0
    return centre[present], reduced[present]


def _time_axis(seconds: np.ndarray, start: float):
    span = (seconds[-1] - start) if len(seconds) else 0.0
    if span > 2 * 86400:
        return (seconds - start) / 86400.0, "time (days)"
    return (seconds - start) / 3600.0, "time (hours)"


def _shade_accuracy(ax, x: np.ndarray, accuracy: np.ndarray) -> None:
    """Colour the background by the IAQ accuracy, one span per run of equal grade."""
    xs, acc = binned(x, accuracy, MAX_POINTS, "min")
    if len(xs) == 0:
        return
    step = (xs[-1] - xs[0]) / max(len(xs) - 1, 1)
    start = 0
    for i in range(1, len(xs) + 1):
        if i == len(xs) or acc[i] != acc[start]:
            grade = int(acc[start])
            ax.axvspan(xs[start] - step / 2, xs[i - 1] + step / 2,
                       color=ACCURACY_COLOURS.get(grade, "white"), lw=0, zorder=0)
            start = i


def _line(ax, x, y, label, colour, how="mean", **style):
    if y is None:
        return False
    xs, ys = binned(x, y, MAX_POINTS, how)
    if len(xs) == 0:
        return False
    ax.plot(xs, ys, label=label, color=colour, lw=style.pop("lw", 1.0), **style)
    return True


def _legend(ax, **options) -> None:
    if ax.get_legend_handles_labels()[0]:
        ax.legend(**options)


def _first_time(x: np.ndarray, mask: np.ndarray) -> Optional[float]:
    hits = np.nonzero(mask)[0]
    return float(x[hits[0]]) if len(hits) else None


def _draw_flags(ax, x, out: Table, raw_x=None, raw=None) -> None:
    """The stabilisation flags replayed, as off/on step lines one above the other."""
    rows = ((CONTINUOUS_FLAG, "continuous time", "#e67e22", 0.0),
            (ACCUMULATED_FLAG, "accumulated time", "#8e44ad", 1.5))
    ticks, labels = [], []
    for column, name, colour, base in rows:
        flag = out.get(column)
        if flag is None:
            continue
        # The minimum per bin shows every drop, however short.
        _line(ax, x, flag + base, f"{name} flag", colour, how="min", lw=1.2,
              drawstyle="steps-mid")
        ticks += [base, base + 1]
        labels += [f"{name}: off", "on"]
    ax.set_yticks(ticks)
    ax.set_yticklabels(labels, fontsize=8)
    ax.set_ylim(-0.3, 2.8)
    ax.set_ylabel("stabilisation")


# The outputs drawn, by their column names in a `vorn replay` outputs CSV.
IAQ = OutputId.OUT_IAQ_INDEX.short_name
TEMPERATURE = OutputId.OUT_PASSTHROUGH_TEMPERATURE.short_name
COMPENSATED_TEMPERATURE = OutputId.OUT_COMPENSATED_TEMPERATURE.short_name
HUMIDITY = OutputId.OUT_PASSTHROUGH_HUMIDITY.short_name
COMPENSATED_HUMIDITY = OutputId.OUT_COMPENSATED_HUMIDITY.short_name
GAS = OutputId.OUT_PASSTHROUGH_GAS.short_name
ACCUMULATED_FLAG = OutputId.OUT_ACCUMULATED_TIME_FLAG.short_name
CONTINUOUS_FLAG = OutputId.OUT_CONTINUOUS_TIME_FLAG.short_name
OUTPUT_COLUMNS = ("time_s", IAQ, IAQ + "_accuracy", TEMPERATURE, COMPENSATED_TEMPERATURE,
                  HUMIDITY, COMPENSATED_HUMIDITY, GAS, ACCUMULATED_FLAG, CONTINUOUS_FLAG)
LOG_COLUMNS = ("time_s", "voc_ppb", "temperature_c", "humidity_pct", "gas_ohm")


def _draw_iaq(ax, x, out: Table, raw_x, raw: Table) -> None:
    """The IAQ index with its accuracy as background colour."""
    accuracy = out.get(IAQ + "_accuracy")
    if accuracy is not None:
        _shade_accuracy(ax, x, accuracy)
    _line(ax, x, out.get(IAQ), "IAQ index (bin mean)", "#1f3b73", lw=1.2)
    _line(ax, x, out.get(IAQ), "IAQ index (bin max)", "#6f8fd0", how="max", lw=0.6)
    ax.set_ylabel("IAQ index")
    ax.set_ylim(bottom=0)
    handles, _ = ax.get_legend_handles_labels()
    handles += [Patch(color=ACCURACY_COLOURS[g], label="accuracy " + ACCURACY_LABELS[g])
                for g in sorted(ACCURACY_COLOURS)]
    ax.legend(handles=handles, loc="upper left", fontsize=8, ncol=3, framealpha=0.9)
    reached = _first_time(x, accuracy >= 3) if accuracy is not None else None
    if reached is not None:
        ax.axvline(reached, color="#2e7d32", ls="--", lw=1)
        ax.annotate("accuracy 3", (reached, 1), xycoords=("data", "axes fraction"),
                    xytext=(4, -12), textcoords="offset points", color="#2e7d32", fontsize=8)


def _draw_voc(ax, x, out: Table, raw_x, raw: Table) -> None:
    _line(ax, raw_x, raw.get("voc_ppb"), "ground-truth VOC (simulated)", "#c0392b")
    ax.set_yscale("log")
    ax.set_ylabel("VOC (ppb)")
    _legend(ax, loc="upper left", fontsize=8)


def _draw_temperature(ax, x, out: Table, raw_x, raw: Table) -> None:
    _line(ax, x, out.get(TEMPERATURE), "raw", "#bdc3c7", lw=3.0)
    _line(ax, x, out.get(COMPENSATED_TEMPERATURE), "compensated", "#d35400")
    ax.set_ylabel("temperature (°C)")
    _legend(ax, loc="upper left", fontsize=8)


def _draw_humidity(ax, x, out: Table, raw_x, raw: Table) -> None:
    _line(ax, x, out.get(HUMIDITY), "raw", "#bdc3c7", lw=3.0)
    _line(ax, x, out.get(COMPENSATED_HUMIDITY), "compensated", "#2980b9")
    ax.set_ylabel("humidity (%)")
    _legend(ax, loc="upper left", fontsize=8)


def _draw_gas(ax, x, out: Table, raw_x, raw: Table) -> None:
    if out.get(GAS) is None:
        _line(ax, raw_x, raw.get("gas_ohm"), "gas resistance (raw log)", "#16a085")
    else:
        _line(ax, x, out.get(GAS), "gas resistance", "#16a085")
    ax.set_yscale("log")
    ax.set_ylabel("gas (Ω)")
    _legend(ax, loc="upper left", fontsize=8)


def plot(outputs: Path, image: Path, log: Optional[Path] = None, title: Optional[str] = None):
    """Draw the picture and write it to `image` (PNG, or any format matplotlib knows)."""
    if MISSING is not None:
        raise ImportError(f"{INSTALL_HINT} ({MISSING})")
    out = read_csv(outputs, OUTPUT_COLUMNS)
    raw = read_csv(log, LOG_COLUMNS) if log is not None else Table()
    t = out.get("time_s")
    if t is None or len(t) == 0:
        raise ValueError(f"{outputs} holds no rows")
    if len(out.columns) == 1:
        raise ValueError(f"{outputs} has none of the columns a `vorn replay` outputs CSV has "
                         f"({', '.join(OUTPUT_COLUMNS[1:])})")
    start = float(t[0])
    x, xlabel = _time_axis(t, start)
    raw_x = _time_axis(raw.get("time_s"), start)[0] if raw.get("time_s") is not None else None

    # Only the panels whose data is there: a replay of some outputs draws no empty
    # panels (and no flag panel that would read as "off").
    present = {name: out.get(name) is not None or raw.get(name) is not None
               for name in OUTPUT_COLUMNS + LOG_COLUMNS}
    panels = [(name, ratio) for name, ratio, shown in (
        ("iaq", 3.0, present[IAQ]),
        ("voc", 1.5, present["voc_ppb"]),
        ("temperature", 1.4, present[TEMPERATURE] or present[COMPENSATED_TEMPERATURE]),
        ("humidity", 1.4, present[HUMIDITY] or present[COMPENSATED_HUMIDITY]),
        ("gas", 1.5, present[GAS] or present["gas_ohm"]),
        ("flags", 0.8, present[ACCUMULATED_FLAG] or present[CONTINUOUS_FLAG]),
    ) if shown]
    if not panels:
        raise ValueError(f"{outputs} has none of the outputs drawn ({', '.join(OUTPUT_COLUMNS[1:])})")
    fig, axes = plt.subplots(len(panels), 1, figsize=(13, 1.9 * len(panels) + 2), sharex=True,
                             squeeze=False, gridspec_kw={"height_ratios": [r for _, r in panels]})
    ax = {name: axis for (name, _), axis in zip(panels, axes[:, 0])}
    draw = {"iaq": _draw_iaq, "voc": _draw_voc, "temperature": _draw_temperature,
            "humidity": _draw_humidity, "gas": _draw_gas, "flags": _draw_flags}
    for name, _ in panels:
        draw[name](ax[name], x, out, raw_x, raw)
        ax[name].grid(True, alpha=0.3)
        ax[name].margins(x=0)
    axes[-1, 0].set_xlabel(xlabel)
    fig.suptitle(title or f"vorn replay of {outputs.name}", fontsize=12)
    fig.tight_layout()
    image.parent.mkdir(parents=True, exist_ok=True)
    fig.savefig(image, dpi=110)
    plt.close(fig)
    return image


def main(argv: Optional[Sequence[str]] = None, prog: str = "python3 -m vorn plot") -> int:
    import argparse

    description = __doc__.split("\n\n")[0].replace("\n", " ")
    parser = argparse.ArgumentParser(prog=prog, description=description)
    parser.add_argument("outputs", type=Path, help="outputs CSV written by `vorn replay`")
    parser.add_argument("-o", "--output", type=Path, required=True,
                        help="image file (.png); missing directories are created")
    parser.add_argument("--log", type=Path, help="raw log CSV (from `vorn simulate`) to overlay "
                        "the ground-truth VOC")
    parser.add_argument("--title", help="title of the picture")
    args = parser.parse_args(argv)
    try:
        plot(args.outputs, args.output, args.log, args.title)
    except (OSError, ValueError, ImportError) as error:
        parser.exit(1, f"error: {error}\n")
    print(f"wrote {args.output}")
    return 0
