// Upload of a mesh's arrays through the facade's memory methods.
#include "CRVZGPUtool.h"
#include "rvzgpu_mesh/Mesh.h"

namespace rvzmesh {

namespace {

// Allocates and fills one device array; empty host arrays stay null.
class Uploader {
public:
    explicit Uploader(CRVZGPUtool& tool) : tool_(tool) {}
    int status = 0;

    template <class T>
    void operator()(const std::vector<T>& host, T*& device)
    {
        device = nullptr;
        if (status != 0 || host.empty()) return;
        const int n = static_cast<int>(host.size());
        status = tool_.AllocateDeviceMemory(n, device);
        if (status != 0) {
            device = nullptr;
            return;
        }
        status = tool_.DataCopyHost2Device(n, const_cast<T*>(host.data()), device);
    }

    void List(const BoundaryList& host, DeviceBoundaryList& d)
    {
        d.size = host.size();
        d.nRows = static_cast<int>(host.rows.size());
        (*this)(host.slot, d.slot);
        (*this)(host.cell, d.cell);
        (*this)(host.mapPx, d.mapPx);
        (*this)(host.mapPy, d.mapPy);
        (*this)(host.rows, d.rows);
        (*this)(host.sx, d.sx);
        (*this)(host.sy, d.sy);
        (*this)(host.sz, d.sz);
        (*this)(host.area, d.area);
        (*this)(host.surfDist, d.surfDist);
    }

private:
    CRVZGPUtool& tool_;
};

template <class T>
void Release(CRVZGPUtool& tool, T*& p)
{
    if (p != nullptr) tool.FreeDeviceMemory(p);
    p = nullptr;
}

void ReleaseList(CRVZGPUtool& tool, DeviceBoundaryList& d)
{
    Release(tool, d.slot);
    Release(tool, d.cell);
    Release(tool, d.mapPx);
    Release(tool, d.mapPy);
    Release(tool, d.rows);
    Release(tool, d.sx);
    Release(tool, d.sy);
    Release(tool, d.sz);
    Release(tool, d.area);
    Release(tool, d.surfDist);
}

}  // namespace

int UploadMesh(CRVZGPUtool& tool, const Mesh& m, DeviceMesh& d)
{
    d = DeviceMesh{};
    Uploader up(tool);
    up(m.volume, d.volume);
    up(m.xc, d.xc);
    up(m.yc, d.yc);
    up(m.zc, d.zc);
    up(m.ijP, d.ijP);
    up(m.ijE, d.ijE);
    up(m.sx, d.sx);
    up(m.sy, d.sy);
    up(m.sz, d.sz);
    up(m.area, d.area);
    up(m.le, d.le);
    up(m.xe, d.xe);
    up(m.ye, d.ye);
    up(m.ze, d.ze);
    up(m.mapPx, d.mapPx);
    up(m.mapPy, d.mapPy);
    up(m.mapEx, d.mapEx);
    up(m.mapEy, d.mapEy);
    up(m.indexELL, d.indexELL);
    for (int k = 0; k < kBoundaryKinds; ++k) up.List(m.boundary[k], d.boundary[k]);
    up.List(m.inOutlet, d.inOutlet);
    up(m.map2CellPB, d.map2CellPB);
    up(m.par.ijP, d.parP);
    up(m.par.ijE, d.parE);
    up(m.par.le, d.parLe);
    up(m.par.sx, d.parSx);
    up(m.par.sy, d.parSy);
    up(m.par.sz, d.parSz);
    up(m.par.xe, d.parXe);
    up(m.par.ye, d.parYe);
    up(m.par.ze, d.parZe);
    up(m.par.mapPx, d.parMapPx);
    up(m.par.mapPy, d.parMapPy);
    up(m.par.mapEx, d.parMapEx);
    up(m.par.mapEy, d.parMapEy);
    up(m.map2CellPE, d.map2CellPE);
    up(m.par2CellP, d.par2CellP);
    if (up.status != 0) FreeDeviceMesh(tool, d);
    return up.status;
}

void FreeDeviceMesh(CRVZGPUtool& tool, DeviceMesh& d)
{
    for (double** p : {&d.volume, &d.xc, &d.yc, &d.zc, &d.sx, &d.sy, &d.sz, &d.area, &d.le, &d.xe, &d.ye, &d.ze,
                       &d.parLe, &d.parSx, &d.parSy, &d.parSz, &d.parXe, &d.parYe, &d.parZe})
        Release(tool, *p);
    for (int** p : {&d.ijP, &d.ijE, &d.mapPx, &d.mapPy, &d.mapEx, &d.mapEy, &d.indexELL, &d.map2CellPB, &d.parP,
                    &d.parE, &d.parMapPx, &d.parMapPy, &d.parMapEx, &d.parMapEy, &d.map2CellPE, &d.par2CellP})
        Release(tool, *p);
    for (auto& list : d.boundary) ReleaseList(tool, list);
    ReleaseList(tool, d.inOutlet);
}

}  // namespace rvzmesh
