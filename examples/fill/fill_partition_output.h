// The files of a partitioned rvzgpu-fill run, in the case's output folder:
// - per output time, one piece <case>_NNNN_pR.vtu per process R (its own
//   cells, the fields of fill_output.h) and <case>_NNNN.pvtu naming every
//   piece, which ParaView opens as one data set; the series <case>.pvd
//   lists the .pvtu files;
// - history.csv and arrival.csv as on one process (process 0 writes them;
//   the arrival times are gathered in global cell order).
// Each piece carries the node list of the whole mesh (its cells use part
// of it): simple, and small next to the cell fields of the meshes a run
// of this example takes.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "fill_partition.h"
#include "fill_settings.h"
#include "fill_solver.h"
#include "rvzgpu_mesh/Mesh.h"

namespace fill {

class PartitionedOutput {
public:
    // Nothing is written when the case's output folder is "none".
    PartitionedOutput(const FillSettings& settings, Partitioned& partition);
    ~PartitionedOutput();
    PartitionedOutput(const PartitionedOutput&) = delete;
    PartitionedOutput& operator=(const PartitionedOutput&) = delete;
    // After each step (every process): the history line, and the fields
    // when an output time has come. A failure to write is kept (error())
    // and ends this process's writing; the others go on.
    void Step(const Filling& filling, const StepRecord& record);
    // The last state's fields (unless just written) and arrival.csv; every
    // process calls it (the arrival times are gathered).
    void Finish();
    const std::string& error() const { return error_; }

private:
    void WriteFields(double time);
    const FillSettings& s_;
    Partitioned& part_;
    std::string dir_, name_, error_;
    std::FILE* history_ = nullptr;
    std::unique_ptr<rvzmesh::PvdSeries> series_;
    Fields last_;
    double lastTime_ = 0.0, next_ = 0.0, written_ = -1.0;
    int count_ = 0;
};

// The .pvtu of pieces `pieces` (file names relative to the .pvtu's folder)
// with the cell fields of fill_output.h (with `fibre`, the fibre fields
// too; with `secondFluid`, the second-fluid fraction). Throws MeshError
// when the file cannot be written.
void WritePvtu(const std::string& path, const std::vector<std::string>& pieces, bool fibre, bool secondFluid = false);

}  // namespace fill
