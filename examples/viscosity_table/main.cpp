// Prints the viscosity table of a built-in material from the host-side
// evaluator of the rheological models, then runs the same grid through
// CRVZGPUtool::CalcVis_Flow on the selected device and reports how closely
// the two agree.
//
//   rvzgpu-viscosity-table            PS Styron 678E, Cross-WLF
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include "CRVZGPUtool.h"
#include "rvzgpu_viscosity.h"

namespace visc = rvz::viscosity;

namespace {

const std::vector<double> kTemperatures = {200.0, 210.0, 220.0, 230.0, 240.0, 250.0, 260.0, 270.0, 280.0};
const std::vector<double> kRates = {1.0, 10.0, 100.0, 1000.0, 10000.0, 100000.0};

void PrintTable(const visc::Material& m)
{
    std::printf("%s\n  %s\n  viscosity model %d, melt %.0f C, mould %.0f C\n", m.name.c_str(), m.source.c_str(),
                m.model, m.MeltT, m.MoldT);
    std::printf("\n  viscosity in Pa s (the library works in poise = 0.1 Pa s)\n");
    std::printf("  %8s", "T [C]");
    for (double r : kRates) std::printf("  %9.0e/s", r);
    std::printf("\n");
    for (double T : kTemperatures) {
        std::printf("  %8.0f", T);
        for (double r : kRates) std::printf("  %11.4g", 0.1 * visc::MaterialViscosity(m, T, r));
        std::printf("\n");
    }
}

// The same grid, one cell per (temperature, rate), through the device.
int CompareWithDevice(const visc::Material& m)
{
    CRVZGPUtool tool;
    if (tool.SetDeviceToUse(0) != 0) {
        std::printf("\nno device: the device comparison is skipped\n");
        return 0;
    }
    std::vector<double> T, rate, host;
    for (double t : kTemperatures)
        for (double r : kRates) {
            T.push_back(t);
            rate.push_back(r);
            host.push_back(visc::MaterialViscosity(m, t, r));
        }
    const int n = static_cast<int>(T.size());
    std::vector<double> zeros(n, 0.0), ones(n, 1.0), result(n, 0.0), P = m.parameters;
    std::vector<int> hot(n, 0);
    double *TD = nullptr, *pD = nullptr, *SRateD = nullptr, *VolFD = nullptr, *RxnCD = nullptr, *visD = nullptr,
           *ParaD = nullptr;
    int* HotD = nullptr;
    int status = 0;
    status |= tool.AllocateDeviceMemory(n, TD) | tool.AllocateDeviceMemory(n, pD);
    status |= tool.AllocateDeviceMemory(n, SRateD) | tool.AllocateDeviceMemory(n, VolFD);
    status |= tool.AllocateDeviceMemory(n, RxnCD) | tool.AllocateDeviceMemory(n, visD);
    status |= tool.AllocateDeviceMemory(static_cast<int>(P.size()), ParaD) | tool.AllocateDeviceMemory(n, HotD);
    status |= tool.DataCopyHost2Device(n, T.data(), TD) | tool.DataCopyHost2Device(n, zeros.data(), pD);
    status |= tool.DataCopyHost2Device(n, rate.data(), SRateD) | tool.DataCopyHost2Device(n, ones.data(), VolFD);
    status |= tool.DataCopyHost2Device(n, zeros.data(), RxnCD) | tool.DataCopyHost2Device(n, hot.data(), HotD);
    status |= tool.DataCopyHost2Device(static_cast<int>(P.size()), P.data(), ParaD);
    status |= tool.CalcVis_Flow(n, 0, 1, 0, m.MeltT, 0.5, 0.0, 0.0, m.MoldT, m.model, TD, pD, SRateD, VolFD, HotD,
                                RxnCD, visD, ParaD, (n + 255) / 256);
    status |= tool.DataCopyDevice2Host(n, result.data(), visD);
    double worst = 0.0;
    for (int i = 0; i < n; ++i) worst = std::max(worst, std::fabs(result[i] - host[i]) / host[i]);
    for (double* p : {TD, pD, SRateD, VolFD, RxnCD, visD, ParaD}) tool.FreeDeviceMemory(p);
    tool.FreeDeviceMemory(HotD);
    if (status != 0) {
        std::printf("\ndevice run failed: %s\n", tool.GetGPUErrorMessage(status));
        return 1;
    }
    std::printf("\nCalcVis_Flow on the device: largest relative difference %.2e over %d cells\n", worst, n);
    return worst < 1e-12 ? 0 : 1;
}

}  // namespace

int main()
{
    const visc::Material ps = visc::PolystyreneStyron678E();
    PrintTable(ps);
    return CompareWithDevice(ps);
}
