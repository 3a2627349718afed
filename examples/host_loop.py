#!/usr/bin/env python3
"""Replay recorded measurements through the vorn host interface.

Reads a CSV file with the columns time_s, temperature_c, pressure_pa,
humidity_pct, gas_ohm (a header row naming them; other columns are ignored;
without a header the first five columns are taken in that order) and makes one
host call per measurement at the times the host plans: every 3 s from the first
row on, taking the first row at or after each planned time. Rows in between are
skipped, as a device would not have measured then. Prints one CSV line of the
seven host values per call.

The learnt state is kept in savedState.dat in --directory (default: the current
directory), so a second run continues where the first stopped; --fresh removes
the file first.

    PYTHONPATH=python python3 examples/host_loop.py measurements.csv
"""

import argparse
import csv
import sys
from pathlib import Path
from typing import Iterator, List, NamedTuple, Optional

try:
    import vorn
except ImportError:  # run from a source checkout without PYTHONPATH
    sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "python"))
    import vorn

from vorn.host import HOST_INTERVAL_S, STATE_FILE_NAME, Host

COLUMNS = ("time_s", "temperature_c", "pressure_pa", "humidity_pct", "gas_ohm")
# A measurement this close before the planned time still counts as on time: the
# library tolerates 1/16 of the interval.
TOLERANCE_S = HOST_INTERVAL_S / 16


class Measurement(NamedTuple):
    time_s: float
    temperature: float
    pressure: float
    humidity: float
    gas: float


def read_measurements(path: Path) -> Iterator[Measurement]:
    with open(path, newline="") as f:
        rows = list(csv.reader(f))
    if not rows:
        return
    header = [c.strip().lower() for c in rows[0]]
    if all(c in header for c in COLUMNS):
        positions: List[int] = [header.index(c) for c in COLUMNS]
        first_data = 1
    else:
        positions = list(range(len(COLUMNS)))
        first_data = 0
    for number, row in enumerate(rows[first_data:], start=first_data + 1):
        if not row or row[0].lstrip().startswith("#"):
            continue
        try:
            yield Measurement(*(float(row[p]) for p in positions))
        except (IndexError, ValueError) as e:
            raise ValueError(f"{path}:{number}: cannot read a measurement ({e})") from None


def planned(measurements: Iterator[Measurement]) -> Iterator[Measurement]:
    """The measurements at the host's planned times."""
    next_time: Optional[float] = None
    for m in measurements:
        if next_time is not None and m.time_s < next_time - TOLERANCE_S:
            continue
        yield m
        next_time = m.time_s + HOST_INTERVAL_S


def main(argv=None) -> int:
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("csv", type=Path, help="measurements (time_s,temperature_c,...)")
    parser.add_argument("--directory", type=Path, default=Path.cwd(),
                        help="where savedState.dat is kept (default: current directory)")
    parser.add_argument("--library", help="libvorn_host.so or its directory")
    parser.add_argument("--fresh", action="store_true", help="start from the defaults")
    args = parser.parse_args(argv)

    if args.fresh:
        (args.directory / STATE_FILE_NAME).unlink(missing_ok=True)
    host = Host(directory=args.directory, path=args.library)
    out = csv.writer(sys.stdout, lineterminator="\n")
    out.writerow(("time_s",) + vorn.HostResult._fields)
    try:
        for m in planned(read_measurements(args.csv)):
            time_s = round(m.time_s)
            values = host.process(time_s, m.temperature, m.pressure, m.humidity, m.gas)
            if values is None:
                print(f"{time_s}: no values (a reading outside the accepted range)",
                      file=sys.stderr)
                continue
            out.writerow((time_s,) + tuple(f"{v:.6g}" for v in values))
    except vorn.VornError as e:
        print(f"host call failed: {e}; remove {host.state_file} to start over",
              file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
