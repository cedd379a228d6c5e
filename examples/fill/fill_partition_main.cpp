// rvzgpu-fill under mpirun: the partitioned run (fill_partition.h). Every
// process reads the case and builds the whole mesh, keeps its part and
// steps it; process 0 prints the progress and the summary and writes the
// series, history.csv and arrival.csv, every process its pieces.
#include <mpi.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "CRVZComMPI.h"
#include "CRVZGPUtool.h"
#include "fill_extended_vof.h"
#include "fill_partition.h"
#include "fill_partition_output.h"
#include "fill_settings.h"
#include "fill_solver.h"

namespace fill {

namespace {

// Started by mpirun (OpenMPI, MPICH, or a PMIx launcher).
bool UnderMpirun()
{
    for (const char* name : {"OMPI_COMM_WORLD_SIZE", "PMI_SIZE", "PMIX_RANK"})
        if (std::getenv(name) != nullptr) return true;
    return false;
}

double Seconds()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// The message-passing class with a clock on every exchange and sum: the
// halo-exchange share of a step counts the waits of the distributed
// solvers' own refreshes and dot products too.
class TimedCom : public CRVZComMPI {
public:
    double seconds = 0.0;
    int AllSum(int type, void* sendBuffer, void* receiveBuffer, int count, int comm) override
    {
        const double start = Seconds();
        const int status = CRVZComMPI::AllSum(type, sendBuffer, receiveBuffer, count, comm);
        seconds += Seconds() - start;
        return status;
    }
    int SendRecvReplace(int type, void* buffer, int count, int destination, int sendTag, int source, int receiveTag,
                        int comm) override
    {
        const double start = Seconds();
        const int status = CRVZComMPI::SendRecvReplace(type, buffer, count, destination, sendTag, source, receiveTag,
                                                       comm);
        seconds += Seconds() - start;
        return status;
    }
};

// The largest status over the processes.
int Agree(int status)
{
    int all = 0;
    MPI_Allreduce(&status, &all, 1, MPI_INT, MPI_MAX, MPI_COMM_WORLD);
    return all;
}

int Run(int argc, char** argv, const char* usage, int rank, int size)
{
    if (argc > 2 || (argc == 2 && (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0))) {
        if (rank == 0) std::fputs(usage, argc > 2 ? stderr : stdout);
        return argc > 2 ? 1 : 0;
    }
    FillSettings settings;
    rvzmesh::Mesh mesh;
    // Input errors: each process finds the same ones (process 0 alone
    // probes the output folder); process 0 prints the message.
    std::string error;
    try {
        if (argc == 2) settings = ReadFillSettings(argv[1]);
        if (rank == 0) CheckSettings(settings);
    } catch (const SettingsError& e) {
        error = e.what();
    }
    if (Agree(error.empty() ? 0 : 1) != 0) {
        if (rank == 0 && !error.empty()) std::fprintf(stderr, "rvzgpu-fill: %s\n", error.c_str());
        return 1;
    }
    CRVZGPUtool tool;
    if (Agree(tool.SetDeviceToUse(0) != 0 ? 1 : 0) != 0) {
        if (rank == 0) std::fprintf(stderr, "rvzgpu-fill: no usable device\n");
        return 4;
    }
    TimedCom com;
    std::unique_ptr<Partitioned> part;
    try {
        mesh = BuildCaseMesh(settings);
        SecondFluidGateGroups(settings, mesh);  // on the whole mesh: a part may hold no face of a gate
        part = std::make_unique<Partitioned>(tool, &com, rank, size, mesh, settings);
    } catch (const SettingsError& e) {
        if (rank == 0) std::fprintf(stderr, "rvzgpu-fill: %s\n", e.what());
        return 1;
    }
    std::FILE* log = rank == 0 ? stdout : nullptr;
    double volume = 0.0;
    for (int c = 0; c < mesh.nCells; ++c) volume += mesh.volume[c];
    const int faces = part->SumCount(part->PartitionFaces()) / 2;
    if (log != nullptr)
        std::printf("rvzgpu-fill: %s, %d cells, cavity %.6g cm^3, inlet %s, partitioned over %d processes (%d "
                    "partition faces)\n",
                    CaseName(settings).c_str(), mesh.nCells, volume,
                    InletDescription(settings).c_str(),
                    size, faces);
    PartitionedOutput output(settings, *part);
    part->TakeExchangeSeconds();
    com.seconds = 0.0;
    const double start = Seconds();
    const RunResult r = RunFill(tool, settings, part->Local(), log,
                                [&output](const Filling& f, const StepRecord& rec) { output.Step(f, rec); },
                                part.get());
    const double wall = Seconds() - start, passing = com.seconds, exchange = part->TakeExchangeSeconds();
    // A device failure may be one process's own: the others could wait in
    // an exchange for ever, so it ends them all.
    if (r.ending == Ending::Failed && r.failure == StepError::Kind::Device) {
        std::fprintf(stderr, "rvzgpu-fill: process %d: %s\n", rank, r.message.c_str());
        com.Abort(com.CommHandle, 4);
    }
    output.Finish();
    const bool written = Agree(output.error().empty() ? 0 : 1) == 0;
    if (!output.error().empty()) std::fprintf(stderr, "rvzgpu-fill: process %d: %s\n", rank, output.error().c_str());
    if (r.ending == Ending::Failed) {
        if (rank == 0) std::fprintf(stderr, "rvzgpu-fill: %s\n", r.message.c_str());
        return r.failure == StepError::Kind::NotConverged ? 2 : 3;
    }
    const double share = part->Max(wall > 0.0 ? exchange / wall : 0.0);
    const double passingShare = part->Max(wall > 0.0 ? passing / wall : 0.0);
    if (log != nullptr) {
        std::printf("summary: %s; fill time %.6g s; largest inlet pressure %.6g MPa; %zu steps", r.message.c_str(),
                    r.fillTime, r.maxInletPressure, r.history.size());
        if (!std::isnan(r.lowestFrontTemperature))
            std::printf("; lowest melt-front temperature %.6g C", r.lowestFrontTemperature);
        std::printf("\n");
        std::printf("partitioned: %d processes, %.3g s of stepping; message passing (halo exchanges and sums, the "
                    "solvers' included) took at most %.1f %% of a process's time, the field halo refreshes and sums "
                    "outside the solvers %.1f %%\n",
                    size, wall, 100.0 * passingShare, 100.0 * share);
    }
    if (!written) return 5;
    return r.ending == Ending::StepLimit ? 6 : 0;
}

}  // namespace

int MainPartitioned(int argc, char** argv, const char* usage)
{
    if (!UnderMpirun()) return -1;
    MPI_Init(&argc, &argv);
    int rank = 0, size = 1;
    MPI_Comm_rank(MPI_COMM_WORLD, &rank);
    MPI_Comm_size(MPI_COMM_WORLD, &size);
    if (size == 1) {
        // One process: the run of the program without mpirun.
        MPI_Finalize();
        return -1;
    }
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    const int status = Run(argc, argv, usage, rank, size);
    MPI_Finalize();
    return status;
}

}  // namespace fill
