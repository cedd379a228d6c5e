// VTK legacy unstructured-grid output (ASCII), readable by ParaView.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "MeshInternal.h"
#include "rvzgpu_mesh/Mesh.h"

namespace rvzmesh {

void WriteVtk(const std::string& path, const Mesh& m, const std::vector<CellField>& fields)
{
    std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(path.c_str(), "w"), &std::fclose);
    if (!file) throw MeshError(path, 0, std::string("cannot write the VTK file: ") + std::strerror(errno));
    FILE* out = file.get();
    const int nCells = m.nCells;
    std::fprintf(out, "# vtk DataFile Version 3.0\n%s\nASCII\nDATASET UNSTRUCTURED_GRID\n", m.source.c_str());
    std::fprintf(out, "POINTS %zu double\n", m.nodeX.size());
    for (size_t n = 0; n < m.nodeX.size(); ++n) std::fprintf(out, "%.17g %.17g %.17g\n", m.nodeX[n], m.nodeY[n], m.nodeZ[n]);
    const int listSize = nCells + m.cellStart[nCells];
    std::fprintf(out, "CELLS %d %d\n", nCells, listSize);
    for (int c = 0; c < nCells; ++c) {
        const int count = m.cellStart[c + 1] - m.cellStart[c];
        std::fprintf(out, "%d", count);
        for (int k = 0; k < count; ++k) {
            std::fprintf(out, " %d", m.cellNodes[m.cellStart[c] + detail::VtkNodeOrder(m.shape[c], k)]);
        }
        std::fprintf(out, "\n");
    }
    std::fprintf(out, "CELL_TYPES %d\n", nCells);
    for (int c = 0; c < nCells; ++c) std::fprintf(out, "%d\n", detail::VtkCellType(m.shape[c]));
    if (!fields.empty()) std::fprintf(out, "CELL_DATA %d\n", nCells);
    for (const CellField& f : fields) {
        if (f.values == nullptr || f.values->size() < static_cast<size_t>(nCells))
            throw MeshError(path, 0, "cell field '" + f.name + "' has fewer values than the mesh has cells");
        std::fprintf(out, "SCALARS %s double 1\nLOOKUP_TABLE default\n", f.name.c_str());
        for (int c = 0; c < nCells; ++c) std::fprintf(out, "%.17g\n", (*f.values)[c]);
    }
    if (std::ferror(out)) throw MeshError(path, 0, "writing the VTK file failed");
}

}  // namespace rvzmesh
