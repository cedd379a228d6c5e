// Test meshes of the benchmarks, from the mesh toolkit.
#pragma once

#include "rvzgpu_mesh/Mesh.h"

namespace rvzbench {

// A box of side^3 hexahedra.
inline rvzmesh::Mesh CubeOfHexahedra(int side)
{
    rvzmesh::BoxOptions o;
    o.nx = o.ny = o.nz = side;
    return rvzmesh::BuildMesh(rvzmesh::MakeBox(o));
}

}  // namespace rvzbench
