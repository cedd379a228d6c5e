#include "fill_output.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "fill_fibre.h"

namespace fill {

Output::Output(const FillSettings& settings, const rvzmesh::Mesh& mesh)
    : s_(settings), m_(mesh), dir_(OutputDir(settings)), name_(CaseName(settings))
{
    if (dir_.empty()) return;
    const std::string path = (std::filesystem::path(dir_) / "history.csv").string();
    history_ = std::fopen(path.c_str(), "w");
    if (history_ == nullptr) {
        error_ = "cannot write '" + path + "': " + std::strerror(errno);
        return;
    }
    std::fprintf(history_, "time,filled_fraction,inlet_pressure,flow_rate,outer_iterations\n");
    series_ = std::make_unique<rvzmesh::PvdSeries>((std::filesystem::path(dir_) / (name_ + ".pvd")).string(), name_);
}

Output::~Output()
{
    if (history_ != nullptr) std::fclose(history_);
}

void Output::WriteFields(double time)
{
    char file[64];
    std::snprintf(file, sizeof file, "_%04d.vtu", count_++);
    const std::string path = (std::filesystem::path(dir_) / (name_ + file)).string();
    rvzmesh::VtuContent content;
    content.name = name_;
    content.time = time;
    content.scalars = {{"volume_fraction", &last_.volf}, {"pressure", &last_.p},     {"temperature", &last_.T},
                       {"viscosity", &last_.vis},        {"arrival_time", &last_.arrival},
                       {"melt_front_temperature", &last_.frontTemperature}};
    if (!last_.second.empty()) content.scalars.push_back({"second_fluid", &last_.second});
    content.vectors = {{"velocity", &last_.u, &last_.v, &last_.w}};
    // Fibre orientation: the six components and the principal direction
    // (eigenvector of the largest eigenvalue, scaled by it) for glyphs.
    static const char* const kFibreNames[6] = {"fibre_axx", "fibre_ayy", "fibre_azz",
                                               "fibre_axy", "fibre_axz", "fibre_ayz"};
    std::array<std::vector<double>, 3> direction;
    if (!last_.fibre[0].empty()) {
        for (int k = 0; k < 6; ++k) content.scalars.push_back({kFibreNames[k], &last_.fibre[k]});
        for (auto& d : direction) d.resize(m_.nCells);
        for (int c = 0; c < m_.nCells; ++c) {
            std::array<double, 6> a;
            for (int k = 0; k < 6; ++k) a[k] = last_.fibre[k][c];
            const std::array<double, 3> p = PrincipalDirection(a);
            for (int k = 0; k < 3; ++k) direction[k][c] = p[k];
        }
        content.vectors.push_back({"fibre_direction", &direction[0], &direction[1], &direction[2]});
    }
    rvzmesh::WriteVtu(path, m_, content);
    series_->Add(time, path);
    written_ = time;
}

void Output::Step(const Filling& filling, const StepRecord& r)
{
    if (history_ == nullptr || !error_.empty()) return;
    std::fprintf(history_, "%.9g,%.9g,%.9g,%.9g,%d\n", r.time, r.filledFraction, r.inletPressure, r.flowRate,
                 r.outerIterations);
    std::fflush(history_);
    last_ = filling.Download();
    lastTime_ = r.time;
    try {
        if (r.time >= next_) {
            WriteFields(r.time);
            while (s_.output_interval > 0.0 && next_ <= r.time) next_ += s_.output_interval;
        }
    } catch (const rvzmesh::MeshError& e) {
        error_ = e.what();
    }
}

void Output::Finish(const RunResult&)
{
    if (history_ == nullptr || !error_.empty() || last_.volf.empty()) return;
    try {
        if (written_ != lastTime_) WriteFields(lastTime_);
    } catch (const rvzmesh::MeshError& e) {
        error_ = e.what();
        return;
    }
    const std::string path = (std::filesystem::path(dir_) / "arrival.csv").string();
    std::FILE* f = std::fopen(path.c_str(), "w");
    if (f == nullptr) {
        error_ = "cannot write '" + path + "': " + std::strerror(errno);
        return;
    }
    std::fprintf(f, "x,y,z,arrival_time\n");
    for (int c = 0; c < m_.nCells; ++c) {
        if (last_.arrival[c] >= 0.0)
            std::fprintf(f, "%.9g,%.9g,%.9g,%.9g\n", m_.xc[c], m_.yc[c], m_.zc[c], last_.arrival[c]);
        else
            std::fprintf(f, "%.9g,%.9g,%.9g,\n", m_.xc[c], m_.yc[c], m_.zc[c]);
    }
    if (std::fclose(f) != 0) error_ = "cannot write '" + path + "'";
}

}  // namespace fill
