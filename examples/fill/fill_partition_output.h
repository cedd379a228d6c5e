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

#include "fill_output.h"
#include "fill_partition.h"
#include "fill_settings.h"
#include "fill_solver.h"
#include "rvzgpu_mesh/Mesh.h"

namespace fill {

class PartitionedOutput : public SeriesOutput {
public:
    // Nothing is written when the case's output folder is "none".
    PartitionedOutput(const FillSettings& settings, Partitioned& partition);
    // After each step (every process): the history line, and the fields
    // when an output time has come. A failure to write is kept (error())
    // and ends this process's writing; the others go on. Every process
    // keeps the state, so that Finish gathers on all.
    void Step(const Filling& filling, const StepRecord& record) { Record(filling, record); }
    // The last state's fields (unless just written) and arrival.csv; every
    // process calls it (the arrival times are gathered).
    void Finish();

private:
    void WriteFields(double time) override;
    Partitioned& part_;
};

// The .pvtu of pieces `pieces` (file names relative to the .pvtu's folder)
// with the cell fields of fill_output.h (with `fibre`, the fibre fields
// too; with `secondFluid`, the second-fluid fraction). Throws MeshError
// when the file cannot be written.
void WritePvtu(const std::string& path, const std::vector<std::string>& pieces, bool fibre, bool secondFluid = false);

}  // namespace fill
