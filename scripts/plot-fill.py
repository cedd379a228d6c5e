#!/usr/bin/env python3
"""Plots of a filling run of rvzgpu-fill.

    plot-fill.py RUN_DIR [--out DIR]

reads RUN_DIR/history.csv (time,filled_fraction,inlet_pressure,flow_rate,
outer_iterations) and RUN_DIR/arrival.csv (x,y,z,arrival_time: one row per
cell centre, an empty or negative arrival time for a cell the melt never
reached) and writes three PNG files into DIR (default RUN_DIR):

  fill-fraction.png    filled fraction of the cavity against time
  inlet-pressure.png   inlet pressure against time (MPa, as the run writes it)
  arrival-midplane.png contours of the melt arrival time on the mid-plane

The mid-plane is normal to the cavity's thinnest extent: the layer of cell
centres nearest to the middle of that extent. Needs matplotlib (Debian:
python3-matplotlib). Exits 1 with a message naming the file on bad input.
"""

import argparse
import csv
import math
import os
import sys

HISTORY_COLUMNS = ["time", "filled_fraction", "inlet_pressure", "flow_rate", "outer_iterations"]
ARRIVAL_COLUMNS = ["x", "y", "z", "arrival_time"]


class InputError(Exception):
    pass


def read_table(path, columns, optional=()):
    """Rows of a CSV file with exactly the given header, as floats (None for
    an empty optional cell)."""
    try:
        with open(path, newline="") as f:
            reader = csv.reader(f)
            header = next(reader, None)
            if header is None:
                raise InputError(f"{path}: the file is empty")
            header = [h.strip() for h in header]
            if header != columns:
                raise InputError(f"{path}: header is '{','.join(header)}', expected '{','.join(columns)}'")
            rows = []
            for line, row in enumerate(reader, start=2):
                if not row:
                    continue
                if len(row) != len(columns):
                    raise InputError(f"{path}:{line}: {len(row)} values, expected {len(columns)}")
                values = []
                for name, text in zip(columns, row):
                    text = text.strip()
                    if text == "" and name in optional:
                        values.append(None)
                        continue
                    try:
                        value = float(text)
                    except ValueError:
                        raise InputError(f"{path}:{line}: {name} '{text}' is not a number")
                    if not math.isfinite(value):
                        raise InputError(f"{path}:{line}: {name} is {text}")
                    values.append(value)
                rows.append(values)
    except OSError as e:
        raise InputError(f"{path}: {e.strerror}")
    if not rows:
        raise InputError(f"{path}: no data rows")
    return rows


def mid_plane(points):
    """(a, b, normal, level): the two in-plane axes, the normal axis and the
    cell centres of the layer nearest the middle of the thinnest extent."""
    extents = []
    for axis in range(3):
        values = [p[axis] for p in points]
        extents.append((max(values) - min(values), axis, min(values), max(values)))
    _, normal, low, high = min(extents)
    middle = 0.5 * (low + high)
    nearest = min(abs(p[normal] - middle) for p in points)
    scale = max(e[0] for e in extents) or 1.0
    layer = [p for p in points if abs(abs(p[normal] - middle) - nearest) <= 1e-9 * scale]
    a, b = [axis for axis in range(3) if axis != normal]
    return a, b, normal, layer


def plot_history(plt, rows, out):
    time = [r[0] for r in rows]
    fraction = [100.0 * r[1] for r in rows]
    pressure = [r[2] for r in rows]
    for name, values, label in (("fill-fraction.png", fraction, "filled (%)"),
                                ("inlet-pressure.png", pressure, "inlet pressure (MPa)")):
        fig, ax = plt.subplots(figsize=(6, 4))
        ax.plot(time, values, marker=".", markersize=3)
        ax.set_xlabel("time (s)")
        ax.set_ylabel(label)
        ax.grid(True, alpha=0.3)
        fig.tight_layout()
        fig.savefig(os.path.join(out, name), dpi=120)
        plt.close(fig)


def plot_arrival(plt, rows, path, out):
    points = [(r[0], r[1], r[2], r[3]) for r in rows]
    a, b, normal, layer = mid_plane(points)
    filled = [p for p in layer if p[3] is not None and p[3] >= 0.0]
    if len(filled) < 3:
        raise InputError(f"{path}: fewer than three filled cells on the mid-plane, nothing to contour")
    names = "xyz"
    fig, ax = plt.subplots(figsize=(7, 4.5))
    xs = [p[a] for p in filled]
    ys = [p[b] for p in filled]
    ts = [p[3] for p in filled]
    if min(ts) == max(ts):
        drawn = ax.scatter(xs, ys, c=ts, s=12)
    else:
        drawn = ax.tricontourf(xs, ys, ts, levels=20)
    fig.colorbar(drawn, ax=ax, label="arrival time (s)")
    ax.set_xlabel(f"{names[a]} (cm)")
    ax.set_ylabel(f"{names[b]} (cm)")
    ax.set_aspect("equal", adjustable="box")
    ax.set_title(f"melt arrival time, mid-plane {names[normal]} = {layer[0][normal]:.4g} cm")
    fig.tight_layout()
    fig.savefig(os.path.join(out, "arrival-midplane.png"), dpi=120)
    plt.close(fig)


def main(argv):
    parser = argparse.ArgumentParser(description="Plots of a filling run of rvzgpu-fill.")
    parser.add_argument("run_dir", help="the run's output directory (history.csv, arrival.csv)")
    parser.add_argument("--out", help="where the PNG files go (default: the run directory)")
    args = parser.parse_args(argv)
    out = args.out or args.run_dir
    try:
        history = read_table(os.path.join(args.run_dir, "history.csv"), HISTORY_COLUMNS)
        arrival_path = os.path.join(args.run_dir, "arrival.csv")
        arrival = read_table(arrival_path, ARRIVAL_COLUMNS, optional=("arrival_time",))
        try:
            import matplotlib
            matplotlib.use("Agg")
            import matplotlib.pyplot as plt
        except ImportError:
            raise InputError("matplotlib is not installed (Debian: apt-get install python3-matplotlib)")
        os.makedirs(out, exist_ok=True)
        plot_history(plt, history, out)
        plot_arrival(plt, arrival, arrival_path, out)
    except InputError as e:
        print(f"plot-fill: {e}", file=sys.stderr)
        return 1
    print(f"plot-fill: wrote fill-fraction.png, inlet-pressure.png, arrival-midplane.png in {out}")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
