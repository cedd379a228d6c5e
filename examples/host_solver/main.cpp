// rvzgpu-channel: steady laminar flow through a straight rectangular duct,
// solved with SIMPLEC on the RVZGPU library, compared with the series
// solution of fully developed duct flow.
#include <cstdio>
#include <cstring>

#include "CRVZGPUtool.h"
#include "channel_solver.h"
#include "duct_analytic.h"
#include "rvzgpu_mesh/Mesh.h"
#include "settings.h"

namespace {

const char* kUsage =
    "Usage: rvzgpu-channel [input-file]\n"
    "\n"
    "Solves steady laminar flow through a straight rectangular duct (uniform\n"
    "inlet velocity at x = 0, outlet at x = length, no-slip walls) with\n"
    "SIMPLEC outer iterations: a Newtonian melt (thermal = isothermal) or a\n"
    "Cross-WLF melt cooled by the mould (thermal = non-isothermal, with the\n"
    "temperature equation after each flow step). It prints one convergence\n"
    "line per iteration, then compares the developed centre-line velocity and\n"
    "pressure gradient with the analytic series solution and writes a VTK XML\n"
    "file (.vtu: cell fields velocity, p and, for non-isothermal runs, T;\n"
    "named after the case).\n"
    "Without an input file the built-in default case runs; see channel.inp\n"
    "for the keys. Sizes, geometry and the output file are checked before\n"
    "the first iteration. Exit status: 0 converged, 1 bad input, 2 not\n"
    "converged, 3 diverged, 4 the library reported a failure, 5 the result\n"
    "file could not be written.\n";

// The result as a VTK XML unstructured grid named after the case.
bool WriteResult(const channel::Settings& settings, const channel::Result& r)
{
    const std::string path = channel::OutputPath(settings);
    if (path.empty() || r.mesh == nullptr) return true;
    rvzmesh::VtuContent content;
    content.name = channel::CaseName(settings);
    content.scalars = {{"p", &r.p}};
    if (!r.T.empty()) content.scalars.push_back({"T", &r.T});
    content.vectors = {{"velocity", &r.u, &r.v, &r.w}};
    try {
        rvzmesh::WriteVtu(path, *r.mesh, content);
    } catch (const rvzmesh::MeshError& e) {
        std::fprintf(stderr, "rvzgpu-channel: %s\n", e.what());
        return false;
    }
    std::printf("wrote %s\n", path.c_str());
    return true;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc > 2 || (argc == 2 && (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0))) {
        std::fputs(kUsage, argc > 2 ? stderr : stdout);
        return argc > 2 ? 1 : 0;
    }
    // Progress lines reach a file or pipe as they are printed.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    channel::Settings settings;
    try {
        if (argc == 2) settings = channel::ReadSettings(argv[1]);
        channel::CheckBeforeRun(settings);
    } catch (const channel::SettingsError& e) {
        std::fprintf(stderr, "rvzgpu-channel: %s\n", e.what());
        return 1;
    }
    CRVZGPUtool tool;
    if (tool.SetDeviceToUse(0) != 0) {
        std::fprintf(stderr, "rvzgpu-channel: no usable device\n");
        return 4;
    }
    const channel::Result r = channel::RunChannel(tool, settings, stdout);
    std::printf("%s\n", r.message.c_str());
    if (r.outcome == channel::Outcome::DeviceFailure) return 4;
    if (r.outcome == channel::Outcome::Diverged) return 3;
    const channel::DuctFlow exact =
        channel::AnalyticDuctFlow(settings.width, settings.height, settings.viscosity, settings.inlet_velocity);
    std::printf("mass balance: inflow %.10g, outflow %.10g, relative difference %.3e\n", r.inflow, r.outflow,
                (r.outflow - r.inflow) / r.inflow);
    std::printf("centre-line velocity at 0.7 L: %.6g (analytic %.6g, %+.2f %%)\n", r.centreVelocity,
                exact.centreVelocity, 100.0 * (r.centreVelocity / exact.centreVelocity - 1.0));
    std::printf("pressure gradient -dp/dx:      %.6g (analytic %.6g, %+.2f %%)\n", r.pressureGradient,
                exact.pressureGradient, 100.0 * (r.pressureGradient / exact.pressureGradient - 1.0));
    // Laminar entrance length about (0.6 + 0.06 Re) D_h: the comparison only
    // means something where the measuring section (from 0.4 L) lies beyond it.
    const double Dh = 2.0 * settings.width * settings.height / (settings.width + settings.height);
    const double Re = settings.density * settings.inlet_velocity * Dh / settings.viscosity;
    if ((0.6 + 0.06 * Re) * Dh > 0.4 * settings.length)
        std::printf("note: at Re = %.3g the entrance length (about %.3g) reaches the measuring section "
                    "(from %.3g); the flow there is not fully developed\n",
                    Re, (0.6 + 0.06 * Re) * Dh, 0.4 * settings.length);
    if (settings.thermal == "non-isothermal")
        std::printf("temperature: largest change in the last iteration %.3e; the analytic values above are those "
                    "of an isothermal melt of viscosity %g\n",
                    r.temperatureChange, settings.viscosity);
    if (!WriteResult(settings, r)) return 5;
    return r.outcome == channel::Outcome::Converged ? 0 : 2;
}
