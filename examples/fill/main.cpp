// rvzgpu-fill: transient filling of a mould cavity by a polymer melt on the
// RVZGPU library.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>

#include "CRVZGPUtool.h"
#include "fill_extended_vof.h"
#include "fill_output.h"
#include "fill_partition.h"
#include "fill_settings.h"
#include "fill_solver.h"
#include "rvzgpu_mesh/Mesh.h"

namespace {

const char* kUsage =
    "Usage: rvzgpu-fill [case-file]\n"
    "\n"
    "Fills a mould cavity with a polymer melt: SIMPLEC outer iterations per\n"
    "time step with melt and air properties mixed by the volume fraction, the\n"
    "inlet at a constant flow rate or pressure, outlets and not yet wetted\n"
    "wall faces venting the air; then the volume-fraction step (CICSAM) and,\n"
    "for a non-isothermal case, the temperature. The time step follows a\n"
    "target Courant number. It prints one progress line per step and stops\n"
    "when the cavity is full or as a short shot (the pressure limit reached,\n"
    "the flow stalled or max_time passed), and says which, with the lowest\n"
    "melt-front temperature of the filled cells.\n"
    "Without a case file the built-in plate runs; see examples/fill/plate.inp\n"
    "for the keys (energy_extended.inp for those of the extended energy\n"
    "step). Output folder: a .vtu per output interval and a .pvd\n"
    "series, history.csv and arrival.csv.\n"
    "Exit status: 0 full or short shot, 1 bad input, 2 outer iterations not\n"
    "converged, 3 a value not finite, 4 the library reported a failure, 5 an\n"
    "output file could not be written, 6 max_steps reached.\n"
    "\n"
    "mpirun -np K rvzgpu-fill case-file (K >= 2) splits the mesh into K parts\n"
    "and steps them on K processes; it writes one .vtu piece per process and\n"
    "a .pvtu per output time (see examples/fill/README.md for the cases it runs).\n";

}  // namespace

int main(int argc, char** argv)
{
#ifdef RVZGPU_FILL_MPI
    // Under mpirun with two processes or more: the partitioned run.
    if (const int status = fill::MainPartitioned(argc, argv, kUsage); status >= 0) return status;
#endif
    if (argc > 2 || (argc == 2 && (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0))) {
        std::fputs(kUsage, argc > 2 ? stderr : stdout);
        return argc > 2 ? 1 : 0;
    }
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    fill::FillSettings settings;
    rvzmesh::Mesh mesh;
    try {
        if (argc == 2) settings = fill::ReadFillSettings(argv[1]);
        fill::CheckSettings(settings);
        mesh = fill::BuildCaseMesh(settings);
        fill::SecondFluidGateGroups(settings, mesh);
    } catch (const fill::SettingsError& e) {
        std::fprintf(stderr, "rvzgpu-fill: %s\n", e.what());
        return 1;
    }
    CRVZGPUtool tool;
    if (tool.SetDeviceToUse(0) != 0) {
        std::fprintf(stderr, "rvzgpu-fill: no usable device\n");
        return 4;
    }
    double volume = 0.0;
    for (int c = 0; c < mesh.nCells; ++c) volume += mesh.volume[c];
    std::printf("rvzgpu-fill: %s, %d cells, cavity %.6g cm^3, inlet %s\n", fill::CaseName(settings).c_str(), mesh.nCells,
                volume, fill::InletDescription(settings).c_str());
    fill::Output output(settings, mesh);
    const fill::RunResult r = fill::RunFill(tool, settings, mesh, stdout, [&output](const fill::Filling& f,
                                                                                    const fill::StepRecord& rec) {
        output.Step(f, rec);
    });
    bool written = true;
    try {
        output.Finish(r);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "rvzgpu-fill: %s\n", e.what());
        written = false;
    }
    if (!output.error().empty()) {
        std::fprintf(stderr, "rvzgpu-fill: %s\n", output.error().c_str());
        written = false;
    }
    if (r.ending == fill::Ending::Failed) {
        std::fprintf(stderr, "rvzgpu-fill: %s\n", r.message.c_str());
        switch (r.failure) {
        case fill::StepError::Kind::NotConverged: return 2;
        case fill::StepError::Kind::NotFinite: return 3;
        default: return 4;
        }
    }
    std::printf("summary: %s; fill time %.6g s; largest inlet pressure %.6g MPa; %zu steps", r.message.c_str(),
                r.fillTime, r.maxInletPressure, r.history.size());
    if (!std::isnan(r.lowestFrontTemperature))
        std::printf("; lowest melt-front temperature %.6g C", r.lowestFrontTemperature);
    std::printf("\n");
    if (!written) return 5;
    return r.ending == fill::Ending::StepLimit ? 6 : 0;
}
