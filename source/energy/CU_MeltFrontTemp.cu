// Melt-front temperature: launches and status checks.
#include "platform/rvz_platform.h"

#include "CUK_MeltFrontTemp.cuh"
#include "CU_FlowSteps.cuh"
#include "CU_MeltFrontTemp.h"
#include "CU_ReduceSteps.cuh"
#include "CU_checkError.h"

namespace rvz {

using accum::Sign;
using flow::CollectOwnerIntoListedRows;
using flow::LaunchChecked;

int Calc_InnerFluxHeatGen(int BlockSize, int nFaces, const double* mfeD, double* aED, double* aWD, int grid,
                          int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_InnerFluxHeatGen>(grid, "Calc_InnerFluxHeatGen failed", SelectedDevice, nFaces,
                                                       mfeD, aED, aWD);
}

int Calc_InnerFluxHeatGen_Par(int BlockSize, int nFaces, const double* mfeD, double* aED, int grid,
                              int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_InnerFluxHeatGen_Par>(grid, "Calc_InnerFluxHeatGen_Par failed", SelectedDevice,
                                                           nFaces, mfeD, aED);
}

int Calc_MeltFrontTemp_InletBoundary(int BlockSize, int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                                     const int* ijInletD, const double* MassFluxInletD, double* CBD, double* tempSuD,
                                     double* SuD, const double* fiD, const int* MapFace2CellPxD,
                                     const int* MapFace2CellPyD, double* AELLDtemp, const int* Map2CellPBD,
                                     int faceGrid, int rowGrid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    LaunchChecked<Kernel_Calc_MeltFrontTemp_InletBoundary>(faceGrid, "Calc_MeltFrontTemp_InletBoundary failed",
                                                           SelectedDevice, nFaces, ijInletD, MassFluxInletD, CBD,
                                                           tempSuD, fiD);
    return CollectOwnerIntoListedRows<Sign::Plus>(
        nFaces, nRows, new_nnu, NColumnPerRow, MapFace2CellPxD, MapFace2CellPyD, static_cast<const double*>(tempSuD),
        AELLDtemp, Map2CellPBD, SuD, faceGrid, rowGrid, "Calc_MeltFrontTemp_InletBC_Su failed",
        "Calc_MeltFrontTemp_InletBC_Su_Update failed", SelectedDevice);
}

int Calc_MeltFrontTemp_InletAi(int BlockSize, int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                               const int* MapFace2CellPxD, const int* MapFace2CellPyD, const double* CBD,
                               double* AELLDtemp, double* AELLD, const int* Map2CellPD, int faceGrid, int rowGrid,
                               int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return CollectOwnerIntoListedRows<Sign::Minus>(nFaces, nRows, new_nnu, NColumnPerRow, MapFace2CellPxD,
                                                   MapFace2CellPyD, CBD, AELLDtemp, Map2CellPD, AELLD, faceGrid,
                                                   rowGrid, "Calc_MeltFrontTemp_InletAi failed",
                                                   "Calc_MeltFrontTemp_InletAi_Update_Opt failed", SelectedDevice);
}

int Calc_MeltFrontTemp_WallBC(int BlockSize, int nFaces, const int* ijWallCVD, const int* ijWallD, double* fiD,
                              int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_MeltFrontTemp_WallBC>(grid, "Calc_MeltFrontTemp_WallBC failed", SelectedDevice,
                                                           nFaces, ijWallCVD, ijWallD, fiD);
}

int Calc_MeltFrontTemp_UnsteadyTermContribution(int BlockSize, int nnu, const double* volumeD, double dt,
                                                double* AELLD, double* SuD, const double* fi0D, int grid,
                                                int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_MeltFrontTemp_UnsteadyTermContribution>(
        grid, "Calc_MeltFrontTemp_UnsteadyTermContribution failed", SelectedDevice, nnu, volumeD, dt, AELLD, SuD,
        fi0D);
}

int Calc_MeltFrontTemp_FinalCoeff(int BlockSize, int nnu, int new_nnu, int NColumnPerRow, double relax,
                                  const double* fiD, double* AELLD, double* SfiD, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_MeltFrontTemp_FinalCoeff>(grid, "Calc_MeltFrontTemp_FinalCoeff failed",
                                                               SelectedDevice, nnu, new_nnu, NColumnPerRow, relax, fiD,
                                                               AELLD, SfiD);
}

int Calc_MeltFrontTemp_CheckOuterConvergence(int BlockSize, int nCells, const double* fiD, const double* SvD,
                                             double* buffer, int grid, const LevelView& table, double& result,
                                             int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return Statistic<Kernel_Calc_MeltFrontTemp_CheckOuterConvergence, Kernel_Calc_MeltFrontTemp_Collectl2C>(
        grid, table, "Calc_Calc_MeltFrontTemp_CheckOuterConvergence failed", SelectedDevice, buffer, result, nCells,
        fiD, SvD);
}

int Calc_ComputeMeltFrontTemperature(int BlockSize, int nCells, const double* VolFD, const double* VolF0D,
                                     double* MeltFrontTemperatureD, bool* bMeltFrontTemperatureD,
                                     const double* dp_dxD, double FCRI, int iFlag, int grid, int SelectedDevice)
{
    if (BlockSize != kBlockSize) return 0;
    return LaunchChecked<Kernel_Calc_ComputeMeltFrontTemperature>(
        grid, "Calc_Calc_ComputeMeltFrontTemperature failed", SelectedDevice, nCells, VolFD, VolF0D,
        MeltFrontTemperatureD, bMeltFrontTemperatureD, dp_dxD, FCRI, iFlag);
}

}  // namespace rvz
