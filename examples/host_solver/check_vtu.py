"""Runs rvzgpu-channel on a small tetrahedral duct and reads its .vtu back
with VTK's own reader: cell count, cell types, the velocity vector and the
pressure, the case name, and the inflow through the inlet cells.

Usage: check_vtu.py RVZGPU_CHANNEL WORKDIR (needs Python's vtk module)."""
import os
import subprocess
import sys

import vtk

program, workdir = sys.argv[1], sys.argv[2]
os.makedirs(workdir, exist_ok=True)
with open(os.path.join(workdir, "tiny_tet.inp"), "w") as f:
    f.write("nx = 4\nny = 3\nnz = 3\nlength = 2.0\ncells = tetrahedra\nmax_iterations = 3\n")
run = subprocess.run([program, "tiny_tet.inp"], cwd=workdir, capture_output=True, text=True)
assert run.returncode in (0, 2), run.stderr  # three iterations need not converge
assert "wrote tiny_tet.vtu" in run.stdout, run.stdout

reader = vtk.vtkXMLUnstructuredGridReader()
reader.SetFileName(os.path.join(workdir, "tiny_tet.vtu"))
reader.Update()
grid = reader.GetOutput()
cells = 4 * 3 * 3 * 6
assert grid.GetNumberOfCells() == cells, grid.GetNumberOfCells()
assert grid.GetNumberOfPoints() == 5 * 4 * 4
assert all(grid.GetCellType(c) == vtk.VTK_TETRA for c in range(cells))
# Every tetrahedron has a positive volume as VTK orders its nodes, and the
# volumes add up to the duct's 2 x 1 x 1.
total = 0.0
for c in range(cells):
    p = [grid.GetPoint(grid.GetCell(c).GetPointId(k)) for k in range(4)]
    volume = vtk.vtkTetra.ComputeVolume(*p)
    assert volume > 0.0, (c, volume)
    total += volume
assert abs(total - 2.0) < 1e-12, total

data = grid.GetCellData()
velocity, pressure = data.GetArray("velocity"), data.GetArray("p")
assert velocity.GetNumberOfComponents() == 3 and velocity.GetNumberOfTuples() == cells
assert pressure.GetNumberOfComponents() == 1 and pressure.GetNumberOfTuples() == cells
assert data.GetVectors().GetName() == "velocity" and data.GetScalars().GetName() == "p"
assert 0.0 < velocity.GetRange(0)[1] < 10.0  # the axial component, inlet velocity 1
name = grid.GetFieldData().GetAbstractArray("CaseName")
assert name.GetVariantValue(0).ToString() == "tiny_tet", name.GetVariantValue(0).ToString()
print("tiny_tet.vtu: %d tetrahedra, velocity and p read back by VTK %s" % (cells, vtk.vtkVersion.GetVTKVersion()))
