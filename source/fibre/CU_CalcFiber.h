// Fibre orientation: implementation functions behind the facade, and the
// groups of arrays they hand to the kernels. Block size first (only 256
// runs; any other value returns 0 without work), selected device last (used
// only to name it in reports). Each returns the status of its last check; a
// failed launch is reported at once and the remaining launches still run.
// Plain C++.
//
// Tensor components are always in the order xx, yy, zz, xy, xz, yz.
#pragma once

#include "CRVZGPUtool.h"
#include "CU_Reduction.h"

namespace rvz {
namespace fibre {

constexpr int kComponents = 6;

// The six component arrays of one tensor field, passed by value.
struct Tensor6 {
    double* c[kComponents];
};
struct ConstTensor6 {
    const double* c[kComponents];
};

// The nine velocity-gradient arrays du/dx, du/dy, du/dz, dv/dx .. dw/dz.
struct GradientArrays {
    const double* L[9];
};

// The evolution's per-cell state: x0 and x2 indexed by the global cell
// number, the rest by the local number.
struct EvolutionState {
    Tensor6 x0, x2, x1, xtemp, xAvg;
    double *dt01, *dt02, *dtSUM, *F0max;
};

// What the rate reads besides the state.
struct EvolutionFlow {
    const double* SRateD;
    const double* VolFD;
    GradientArrays grad;
    double AR, CI, FCRI;
    int closureType;
};

// Everything Calc_Fiber_Find_x1_Vec works on.
struct EvolutionArgs {
    int nActive, NInnerCells, localLength, startPosition;
    stF0_dx_xAvg* record;
    EvolutionState state;
    Tensor6 F0, dx;
    double dtt;
    EvolutionFlow flow;
    int *mapGlobal, *mapLocal, *map2Global, *map2Local;
    int *innerScratch, *outerScratch;
    int grid64, grid256;
};

// Fixed parameters of the step control and of the iteration.
constexpr double kDxLimit = 0.01;           // largest increment of a sub-step
constexpr double kDtLowFraction = 0.01;     // shortest sub-step, as a fraction of dtt
constexpr double kPassTolerance = 0.001;    // change between passes that ends the inner loop
constexpr double kFinishedBelow = 1.0e-10;  // remaining time at which a cell is done
constexpr int kMaxSubSteps = 1000;
constexpr int kMaxPasses = 10;

}  // namespace fibre

// ---- Transport ----

int Calc_InnerFluxFiber(int BlockSize, int nFaces, const double* mfeD, double* aED, double* aWD, int faceGrid,
                        int SelectedDevice);
int Calc_Fiber_UnsteadyTermContribution(int BlockSize, int nnu, const double* volumeD, double dtFiber, double* AELLD,
                                        fibre::Tensor6 b, fibre::ConstTensor6 tau0, int cellGrid, int SelectedDevice);
int Calc_Fiber_InletBoundary(int BlockSize, int nFaces, int nCells, int new_nnu, int NColumnPerRow, const int* ijInletD,
                             const double* MassFluxInletD, double* CBD, fibre::Tensor6 tempb, fibre::Tensor6 b,
                             fibre::Tensor6 tau, const int* MapFace2CellPxD, const int* MapFace2CellPyD,
                             double* AELLDtemp, const int* Map2CellPD, int faceGrid, int cellGrid, int SelectedDevice);
int Calc_Fiber_InletAi(int BlockSize, int nFaces, int nCells, int new_nnu, int NColumnPerRow,
                       const int* MapFace2CellPxD, const int* MapFace2CellPyD, const double* CBD, double* AELLDtemp,
                       double* AELLD, const int* Map2CellPD, int faceGrid, int cellGrid, int SelectedDevice);
int Calc_Fiber_FinalCoeff(int BlockSize, int nnu, int new_nnu, int NColumnPerRow, double udf, fibre::ConstTensor6 tau,
                          double* AELLD, fibre::Tensor6 b, int cellGrid, int SelectedDevice);
int Calc_Fiber_WallBC(int BlockSize, int nFaces, const int* ijWallCVD, const int* ijWallD, const int* FCRIMatchD,
                      fibre::Tensor6 tau, int faceGrid, int SelectedDevice);
int Calc_Fiber_SymmBC(int BlockSize, int nFaces, const int* ijSymmCVD, const int* ijSymmD, const double* VolFD,
                      double FCRI, fibre::Tensor6 tau, int faceGrid, int SelectedDevice);
int Calc_Fiber_UpdateTau_Input(int BlockSize, int nCells, fibre::Tensor6 x0, fibre::ConstTensor6 tau, int cellGrid,
                               int SelectedDevice);
int Calc_Fiber_UpdateTau_Output(int BlockSize, int nCells, fibre::ConstTensor6 x1, fibre::Tensor6 tau, int cellGrid,
                                int SelectedDevice);

// ---- Local evolution ----

int Calc_Fiber_Find_x1_Vec(int BlockSize, const fibre::EvolutionArgs& a, const LevelView& table, int SelectedDevice);

}  // namespace rvz
