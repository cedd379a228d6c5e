// Prints the viscosity table of a material from the host-side evaluator of
// the rheological models, then runs the same grid through
// CRVZGPUtool::CalcVis_Flow on the selected device and reports how closely
// the two agree.
//
//   rvzgpu-viscosity-table                         PS Styron 678E, 200..280 C, 1..1e5 1/s
//   rvzgpu-viscosity-table --temperatures 180:260:20 --rates 0.1:1e4
//   rvzgpu-viscosity-table --cross-wlf 0.3,3e4,1e12,373.15,0,28,51.6 --melt 240
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "CRVZGPUtool.h"
#include "rvzgpu_viscosity.h"

namespace visc = rvz::viscosity;

namespace {

const char* kUsage =
    "Usage: rvzgpu-viscosity-table [options]\n"
    "\n"
    "Prints a material's viscosity in Pa s over temperature and shear rate\n"
    "from the host evaluator of the rheological models (rvzgpu_viscosity.h),\n"
    "then evaluates the same grid with CalcVis_Flow on the device and prints\n"
    "the largest relative difference. Temperatures are clamped by the library\n"
    "to [melt - 100, melt + 50] C, as in a filling run.\n"
    "\n"
    "Material (default: the built-in PS Styron 678E):\n"
    "  --material NAME      a built-in material (--list shows them)\n"
    "  --cross-wlf n,tau,D1,D2,D3,A1,A2\n"
    "                       Cross-WLF parameters in SI units: n, tau* [Pa],\n"
    "                       D1 [Pa s], D2 [K], D3 [K/Pa], A1, A2 [K]; needs --melt\n"
    "  --melt T             melt temperature [C] (default: the material's)\n"
    "  --mould T            mould temperature [C] (default: the material's, 50\n"
    "                       for --cross-wlf)\n"
    "Grid:\n"
    "  --temperatures FROM:TO:STEP\n"
    "                       rows in C (default: 200:280:10, at most 200 rows)\n"
    "  --rates FROM:TO      shear rates in 1/s, one column a decade from FROM\n"
    "                       up to TO (default: 1:1e5, at most 12 columns)\n"
    "  --pressure P         gauge pressure in MPa (default: 0)\n"
    "  --list               the built-in materials\n"
    "  --help               this text\n"
    "\n"
    "Exit status: 0 printed (and the device agrees, or there is none), 1 bad\n"
    "options, 2 the device run failed or disagrees.\n";

struct BadOption : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct Grid {
    std::vector<double> temperatures, rates;
    double pressure = 0.0;  // dyn/cm^2
};

// The built-in materials, by the name --material takes.
struct Entry {
    const char* key;
    visc::Material (*make)();
};
const Entry kMaterials[] = {{"ps-styron-678e", &visc::PolystyreneStyron678E}};

double Number(const std::string& option, const std::string& text)
{
    char* end = nullptr;
    const double v = std::strtod(text.c_str(), &end);
    if (text.empty() || end == text.c_str() || *end != '\0' || !std::isfinite(v))
        throw BadOption(option + ": '" + text + "' is not a finite number");
    return v;
}

std::vector<double> Numbers(const std::string& option, const std::string& text, char separator)
{
    std::vector<double> values;
    std::istringstream in(text);
    for (std::string part; std::getline(in, part, separator);) values.push_back(Number(option, part));
    if (!text.empty() && text.back() == separator) throw BadOption(option + ": '" + text + "' ends with a separator");
    return values;
}

std::vector<double> TemperatureRows(const std::string& text)
{
    const std::vector<double> v = Numbers("--temperatures", text, ':');
    if (v.size() != 3) throw BadOption("--temperatures needs FROM:TO:STEP, not '" + text + "'");
    if (!(v[1] >= v[0]) || !(v[2] > 0.0))
        throw BadOption("--temperatures " + text + ": TO must not be below FROM and STEP must be positive");
    const double rows = std::floor((v[1] - v[0]) / v[2] + 1e-9) + 1.0;
    if (rows > 200.0) throw BadOption("--temperatures " + text + ": more than 200 rows");
    std::vector<double> T;
    for (int k = 0; k < static_cast<int>(rows); ++k) T.push_back(v[0] + k * v[2]);
    return T;
}

std::vector<double> RateColumns(const std::string& text)
{
    const std::vector<double> v = Numbers("--rates", text, ':');
    if (v.size() != 2) throw BadOption("--rates needs FROM:TO, not '" + text + "'");
    if (!(v[0] > 0.0) || !(v[1] >= v[0]))
        throw BadOption("--rates " + text + ": FROM must be positive and TO not below it");
    const double columns = std::floor(std::log10(v[1] / v[0]) + 1e-9) + 1.0;
    if (columns > 12.0) throw BadOption("--rates " + text + ": more than 12 decades");
    std::vector<double> rates;
    for (int k = 0; k < static_cast<int>(columns); ++k) rates.push_back(v[0] * std::pow(10.0, k));
    return rates;
}

visc::Material CrossWLFMaterial(const std::string& text)
{
    const std::vector<double> p = Numbers("--cross-wlf", text, ',');
    if (p.size() != 7) throw BadOption("--cross-wlf needs 7 values n,tau,D1,D2,D3,A1,A2, not '" + text + "'");
    if (!(p[0] > 0.0 && p[0] <= 1.0) || !(p[1] > 0.0) || !(p[2] > 0.0) || !(p[6] > 0.0))
        throw BadOption("--cross-wlf " + text + ": n must lie in (0, 1], tau*, D1 and A2 must be positive");
    visc::Material m;
    m.name = "Cross-WLF";
    m.source = "parameters given on the command line (SI): " + text;
    m.model = 5;
    m.parameters = visc::CrossWLFParametersFromSI(p[0], p[1], p[2], p[3], p[4], p[5], p[6]);
    m.MoldT = 50.0;
    return m;
}

visc::Material Parse(int argc, char** argv, Grid& grid)
{
    visc::Material m = visc::PolystyreneStyron678E();
    bool custom = false, melt = false;
    double meltT = 0.0, mouldT = 0.0;
    bool mould = false;
    std::string temperatures = "200:280:10", rates = "1:1e5";
    for (int k = 1; k < argc; ++k) {
        const std::string a = argv[k];
        if (a == "--help" || a == "-h") {
            std::fputs(kUsage, stdout);
            std::exit(0);
        }
        if (a == "--list") {
            for (const Entry& e : kMaterials) std::printf("%-16s %s\n", e.key, e.make().name.c_str());
            std::exit(0);
        }
        if (k + 1 >= argc)
            throw BadOption(a.rfind("--", 0) == 0 ? a + " needs a value" : "unknown argument '" + a + "'");
        const std::string v = argv[++k];
        if (a == "--material") {
            const Entry* found = nullptr;
            for (const Entry& e : kMaterials)
                if (v == e.key) found = &e;
            if (found == nullptr) throw BadOption("--material: no built-in material '" + v + "' (see --list)");
            m = found->make();
        } else if (a == "--cross-wlf") {
            m = CrossWLFMaterial(v);
            custom = true;
        } else if (a == "--melt") {
            meltT = Number(a, v), melt = true;
        } else if (a == "--mould") {
            mouldT = Number(a, v), mould = true;
        } else if (a == "--temperatures") {
            temperatures = v;
        } else if (a == "--rates") {
            rates = v;
        } else if (a == "--pressure") {
            grid.pressure = 1.0e7 * Number(a, v);  // MPa to dyn/cm^2
        } else {
            throw BadOption("unknown option " + a);
        }
    }
    if (custom && !melt) throw BadOption("--cross-wlf needs --melt (the library clamps around the melt temperature)");
    if (melt) m.MeltT = meltT;
    if (mould) m.MoldT = mouldT;
    grid.temperatures = TemperatureRows(temperatures);
    grid.rates = RateColumns(rates);
    return m;
}

void PrintTable(const visc::Material& m, const Grid& grid)
{
    std::printf("%s\n  %s\n  viscosity model %d, melt %.4g C, mould %.4g C, gauge pressure %.4g MPa\n",
                m.name.c_str(), m.source.c_str(), m.model, m.MeltT, m.MoldT, grid.pressure * 1e-7);
    std::printf("\n  viscosity in Pa s (the library works in poise = 0.1 Pa s)\n");
    std::printf("  %8s", "T [C]");
    for (double r : grid.rates) std::printf("  %9.0e/s", r);
    std::printf("\n");
    for (double T : grid.temperatures) {
        std::printf("  %8.4g", T);
        for (double r : grid.rates) std::printf("  %11.4g", 0.1 * visc::MaterialViscosity(m, T, r, grid.pressure));
        std::printf("\n");
    }
    const double lo = m.MeltT - 100.0, hi = m.MeltT + 50.0;
    if (grid.temperatures.front() < lo || grid.temperatures.back() > hi)
        std::printf("  (rows outside %.4g .. %.4g C show the clamped temperature's value)\n", lo, hi);
}

// The same grid, one cell per (temperature, rate), through the device.
int CompareWithDevice(const visc::Material& m, const Grid& grid)
{
    const std::vector<double>& kTemperatures = grid.temperatures;
    const std::vector<double>& kRates = grid.rates;
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
            host.push_back(visc::MaterialViscosity(m, t, r, grid.pressure));
        }
    const int n = static_cast<int>(T.size());
    std::vector<double> zeros(n, 0.0), ones(n, 1.0), result(n, 0.0), P = m.parameters, pressure(n, grid.pressure);
    std::vector<int> hot(n, 0);
    double *TD = nullptr, *pD = nullptr, *SRateD = nullptr, *VolFD = nullptr, *RxnCD = nullptr, *visD = nullptr,
           *ParaD = nullptr;
    int* HotD = nullptr;
    int status = 0;
    status |= tool.AllocateDeviceMemory(n, TD) | tool.AllocateDeviceMemory(n, pD);
    status |= tool.AllocateDeviceMemory(n, SRateD) | tool.AllocateDeviceMemory(n, VolFD);
    status |= tool.AllocateDeviceMemory(n, RxnCD) | tool.AllocateDeviceMemory(n, visD);
    status |= tool.AllocateDeviceMemory(static_cast<int>(P.size()), ParaD) | tool.AllocateDeviceMemory(n, HotD);
    status |= tool.DataCopyHost2Device(n, T.data(), TD) | tool.DataCopyHost2Device(n, pressure.data(), pD);
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
        std::fprintf(stderr, "rvzgpu-viscosity-table: the device run failed: %s\n", tool.GetGPUErrorMessage(status));
        return 2;
    }
    std::printf("\nCalcVis_Flow on the device: largest relative difference %.2e over %d cells\n", worst, n);
    if (!(worst < 1e-12)) {
        std::fprintf(stderr, "rvzgpu-viscosity-table: the device differs from the host evaluator by %.2e\n", worst);
        return 2;
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv)
{
    Grid grid;
    visc::Material m;
    try {
        m = Parse(argc, argv, grid);
    } catch (const BadOption& e) {
        std::fprintf(stderr, "rvzgpu-viscosity-table: %s\n(see rvzgpu-viscosity-table --help)\n", e.what());
        return 1;
    }
    PrintTable(m, grid);
    return CompareWithDevice(m, grid);
}
