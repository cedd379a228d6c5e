"""Runs rvzgpu-fill on a small strip and checks its output files as the
plotting scripts read them: history.csv and arrival.csv with their exact
headers and values, the .pvd series naming .vtu files that exist, and each
.vtu's cell arrays in binary appended form.

Usage: check_output.py RVZGPU_FILL WORKDIR"""
import csv
import os
import subprocess
import sys
import xml.etree.ElementTree as ET

program, workdir = sys.argv[1], sys.argv[2]
os.makedirs(workdir, exist_ok=True)
case = ("geometry = strip\nlength = 2\nwidth = 0.5\nthickness = 0.2\nnx = 8\nny = 1\nnz = 2\n"
        "flow_rate = 0.2\noutput_dir = out\noutput_interval = 0.2\n")
with open(os.path.join(workdir, "strip.inp"), "w") as f:
    f.write(case)
run = subprocess.run([program, "strip.inp"], cwd=workdir, capture_output=True, text=True)
assert run.returncode == 0, run.stderr
steps = [line for line in run.stdout.splitlines() if line.startswith("step ")]
assert "summary: full; fill time 1 s" in run.stdout, run.stdout
out = os.path.join(workdir, "out")

with open(os.path.join(out, "history.csv")) as f:
    header = f.readline().rstrip("\n")
    assert header == "time,filled_fraction,inlet_pressure,flow_rate,outer_iterations", header
    rows = list(csv.reader(f))
assert len(rows) == len(steps), (len(rows), len(steps))
times = [float(r[0]) for r in rows]
assert all(b > a for a, b in zip(times, times[1:])), times
assert abs(times[-1] - 1.0) < 1e-9 and abs(float(rows[-1][1]) - 1.0) < 1e-9, rows[-1]
for r in rows:
    assert abs(float(r[1]) - float(r[0]) / times[-1]) < 1e-6, r  # filled = Q t / V
    assert abs(float(r[3]) - 0.2) < 1e-12 and float(r[2]) >= 0.0 and int(r[4]) >= 1, r

with open(os.path.join(out, "arrival.csv")) as f:
    header = f.readline().rstrip("\n")
    assert header == "x,y,z,arrival_time", header
    cells = list(csv.reader(f))
assert len(cells) == 16, len(cells)
for x, y, z, t in cells:
    assert 0 < float(x) < 2 and 0 < float(z) < 0.2 and 0 < float(t) <= 1.0, (x, y, z, t)

series = ET.parse(os.path.join(out, "strip.pvd")).getroot()
files = [(float(d.get("timestep")), d.get("file")) for d in series.iter("DataSet")]
assert len(files) >= 5 and abs(files[-1][0] - times[-1]) < 1e-9, files  # every 0.2 s and the end
for _, name in files:
    with open(os.path.join(out, name), "rb") as f:
        text = f.read()
    head = text[:text.index(b"<AppendedData")].decode()
    grid = ET.fromstring(head + "</VTKFile>") if "</VTKFile>" not in head else ET.fromstring(head)
    arrays = {a.get("Name"): a for a in grid.iter("DataArray")}
    for name_ in ("volume_fraction", "velocity", "pressure", "temperature", "viscosity", "arrival_time"):
        assert name_ in arrays and arrays[name_].get("format") == "appended", (name, name_)
    assert arrays["velocity"].get("NumberOfComponents") == "3"
print("rvzgpu-fill output: %d steps, %d .vtu files, history.csv and arrival.csv as the plots read them"
      % (len(rows), len(files)))
