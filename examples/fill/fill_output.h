// The files of a filling run, in the case's output folder:
// - <case>_NNNN.vtu per output interval and at the end (VTK XML, binary
//   appended), cell data volume_fraction, velocity (a vector), pressure
//   (dyn/cm^2), temperature (Celsius), viscosity (poise), arrival_time (s,
//   -1 where not yet filled), melt_front_temperature (Celsius, NaN where
//   not yet filled), and with fibres fibre_axx .. fibre_ayz and the
//   principal direction fibre_direction (a vector), listed in the series
//   <case>.pvd;
// - history.csv: time,filled_fraction,inlet_pressure,flow_rate,outer_iterations
//   one line per step (s, fraction of the cavity, MPa, cm^3/s, count);
// - arrival.csv: x,y,z,arrival_time at the cell centres (cm, s; empty
//   where a cell was never filled).
#pragma once

#include <array>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "fill_settings.h"
#include "fill_solver.h"
#include "rvzgpu_mesh/Mesh.h"

namespace fill {

// Pieces both the one-process and the partitioned output write with.
// The scalar cell fields, the active one first; with fibres, their six
// components.
extern const char* const kCellScalars[6];
extern const char* const kFibreNames[6];
// history.csv in `dir` with its header line; null, with `error` set, when
// it cannot be opened.
std::FILE* OpenHistory(const std::string& dir, std::string& error);
// One history line per step, flushed so that a plot can follow the run.
void WriteHistoryLine(std::FILE* history, const StepRecord& r);
// The cell data of one .vtu of `nCells` cells: the scalars, the velocity,
// the second fluid when there is one, and with fibres their components
// and principal direction (eigenvector of the largest eigenvalue scaled
// by it, kept in `direction`, for glyphs).
void AddCellData(const Fields& f, int nCells, rvzmesh::VtuContent& content,
                 std::array<std::vector<double>, 3>& direction);
// arrival.csv in `dir` at the cell centres of `mesh` (empty where a cell
// was never filled); the error, or an empty string.
std::string WriteArrival(const std::string& dir, const rvzmesh::Mesh& mesh, const std::vector<double>& arrival);

// What the one-process and the partitioned output share: the case's
// folder and name, history.csv and the .pvd series (opened when
// `writesFiles` and the folder is not "none"), the last state, and the
// output times. A derived class writes the fields of one output time.
class SeriesOutput {
public:
    SeriesOutput(const SeriesOutput&) = delete;
    SeriesOutput& operator=(const SeriesOutput&) = delete;
    const std::string& error() const { return error_; }

protected:
    SeriesOutput(const FillSettings& settings, bool writesFiles);
    virtual ~SeriesOutput();
    // The fields of the last state at `time`; sets written_, throws
    // MeshError when a file cannot be written.
    virtual void WriteFields(double time) = 0;
    // After each step: keeps the state, writes the history line (where
    // history.csv is open) and the fields when an output time has come. A
    // failure to write is kept in error_ and ends writing.
    void Record(const Filling& filling, const StepRecord& record);
    // The last state's fields unless just written; false when there is
    // nothing to write or writing failed (error_).
    bool WriteLast();

    const FillSettings& s_;
    std::string dir_, name_, error_;
    std::FILE* history_ = nullptr;
    std::unique_ptr<rvzmesh::PvdSeries> series_;
    Fields last_;
    double lastTime_ = 0.0, next_ = 0.0, written_ = -1.0;
    int count_ = 0;
};

class Output : public SeriesOutput {
public:
    // Nothing is written when the case's output folder is "none".
    Output(const FillSettings& settings, const rvzmesh::Mesh& mesh);
    // After each step: its history line, and the fields when an output
    // time has come. A failure to write is kept (error()) and ends writing.
    void Step(const Filling& filling, const StepRecord& record) { Record(filling, record); }
    // The last state's fields (unless just written) and arrival.csv.
    void Finish(const RunResult& result);

private:
    void WriteFields(double time) override;
    const rvzmesh::Mesh& m_;
};

}  // namespace fill
