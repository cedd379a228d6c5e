#!/usr/bin/env python3
"""Checks scripts/plot-fill.py on a run written here: a plate 10 x 4 x 0.2 cm
in three cell layers, filled from its x = 0 edge at a constant front speed,
so the arrival time of a cell is x / speed and cells beyond the front at the
end are unfilled (empty arrival time)."""

import os
import subprocess
import sys
import tempfile
import types

here = os.path.dirname(os.path.abspath(__file__))
script = os.path.join(here, "..", "plot-fill.py")
plot_fill = types.ModuleType("plot_fill")
with open(script) as source:
    exec(compile(source.read(), script, "exec"), plot_fill.__dict__)

failures = []


def check(condition, what):
    if not condition:
        failures.append(what)


def write_run(folder, history_header="time,filled_fraction,inlet_pressure,flow_rate,outer_iterations"):
    speed, length = 2.0, 10.0
    with open(os.path.join(folder, "history.csv"), "w") as f:
        f.write(history_header + "\n")
        for step in range(1, 21):
            t = 0.2 * step
            f.write(f"{t},{min(1.0, speed * t / length)},{0.3 * t},{1.6},{4}\n")
    with open(os.path.join(folder, "arrival.csv"), "w") as f:
        f.write("x,y,z,arrival_time\n")
        for k in range(3):
            for j in range(8):
                for i in range(20):
                    x, y, z = 0.25 + 0.5 * i, 0.25 + 0.5 * j, 0.2 / 6 + k * 0.2 / 3
                    t = x / speed
                    f.write(f"{x},{y},{z},{t if x < 9.0 else ''}\n")


def run(folder, *extra):
    return subprocess.run([sys.executable, script, folder, *extra], capture_output=True, text=True)


# The mid-plane is the middle layer of the thinnest extent (z here).
points = [(0.0, 0.0, z, 1.0) for z in (0.0, 0.1, 0.2)] + [(5.0, 3.0, z, 1.0) for z in (0.0, 0.1, 0.2)]
a, b, normal, layer = plot_fill.mid_plane(points)
check((a, b, normal) == (0, 1, 2), f"mid-plane axes {(a, b, normal)}, expected (0, 1, 2)")
check(sorted(p[2] for p in layer) == [0.1, 0.1], f"mid-plane layer {layer}")

with tempfile.TemporaryDirectory() as folder:
    write_run(folder)
    done = run(folder)
    check(done.returncode == 0, f"plot-fill failed on a good run: {done.stderr}")
    for name in ("fill-fraction.png", "inlet-pressure.png", "arrival-midplane.png"):
        path = os.path.join(folder, name)
        check(os.path.exists(path) and os.path.getsize(path) > 5000, f"{name} missing or empty")
        if os.path.exists(path):
            with open(path, "rb") as f:
                check(f.read(8) == b"\x89PNG\r\n\x1a\n", f"{name} is not a PNG file")

with tempfile.TemporaryDirectory() as folder:
    write_run(folder, history_header="time,fraction,pressure")
    done = run(folder)
    check(done.returncode == 1, "a history with the wrong header was accepted")
    check("history.csv: header is 'time,fraction,pressure'" in done.stderr, f"message: {done.stderr}")
    check(not os.path.exists(os.path.join(folder, "fill-fraction.png")), "a plot was written from bad input")

with tempfile.TemporaryDirectory() as folder:
    done = run(folder)
    check(done.returncode == 1 and "history.csv" in done.stderr, f"a missing history: {done.stderr}")

for failure in failures:
    print("FAIL:", failure)
print("plot-fill checks:", "failed" if failures else "passed")
sys.exit(1 if failures else 0)
