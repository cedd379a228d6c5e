#include "fill_output.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "fill_fibre.h"

namespace fill {

const char* const kCellScalars[6] = {"volume_fraction", "pressure",     "temperature",
                                     "viscosity",       "arrival_time", "melt_front_temperature"};
const char* const kFibreNames[6] = {"fibre_axx", "fibre_ayy", "fibre_azz", "fibre_axy", "fibre_axz", "fibre_ayz"};

std::FILE* OpenHistory(const std::string& dir, std::string& error)
{
    const std::string path = (std::filesystem::path(dir) / "history.csv").string();
    std::FILE* history = std::fopen(path.c_str(), "w");
    if (history == nullptr) {
        error = "cannot write '" + path + "': " + std::strerror(errno);
        return nullptr;
    }
    std::fprintf(history, "time,filled_fraction,inlet_pressure,flow_rate,outer_iterations\n");
    return history;
}

void WriteHistoryLine(std::FILE* history, const StepRecord& r)
{
    std::fprintf(history, "%.9g,%.9g,%.9g,%.9g,%d\n", r.time, r.filledFraction, r.inletPressure, r.flowRate,
                 r.outerIterations);
    std::fflush(history);
}

void AddCellData(const Fields& f, int nCells, rvzmesh::VtuContent& content,
                 std::array<std::vector<double>, 3>& direction)
{
    const std::vector<double>* scalars[6] = {&f.volf, &f.p, &f.T, &f.vis, &f.arrival, &f.frontTemperature};
    for (int k = 0; k < 6; ++k) content.scalars.push_back({kCellScalars[k], scalars[k]});
    if (!f.second.empty()) content.scalars.push_back({"second_fluid", &f.second});
    content.vectors = {{"velocity", &f.u, &f.v, &f.w}};
    if (f.fibre[0].empty()) return;
    for (int k = 0; k < 6; ++k) content.scalars.push_back({kFibreNames[k], &f.fibre[k]});
    for (auto& d : direction) d.resize(nCells);
    for (int c = 0; c < nCells; ++c) {
        std::array<double, 6> a;
        for (int k = 0; k < 6; ++k) a[k] = f.fibre[k][c];
        const std::array<double, 3> p = PrincipalDirection(a);
        for (int k = 0; k < 3; ++k) direction[k][c] = p[k];
    }
    content.vectors.push_back({"fibre_direction", &direction[0], &direction[1], &direction[2]});
}

std::string WriteArrival(const std::string& dir, const rvzmesh::Mesh& m, const std::vector<double>& arrival)
{
    const std::string path = (std::filesystem::path(dir) / "arrival.csv").string();
    std::FILE* f = std::fopen(path.c_str(), "w");
    if (f == nullptr) return "cannot write '" + path + "': " + std::strerror(errno);
    std::fprintf(f, "x,y,z,arrival_time\n");
    for (int c = 0; c < m.nCells; ++c) {
        if (arrival[c] >= 0.0)
            std::fprintf(f, "%.9g,%.9g,%.9g,%.9g\n", m.xc[c], m.yc[c], m.zc[c], arrival[c]);
        else
            std::fprintf(f, "%.9g,%.9g,%.9g,\n", m.xc[c], m.yc[c], m.zc[c]);
    }
    if (std::fclose(f) != 0) return "cannot write '" + path + "'";
    return "";
}

SeriesOutput::SeriesOutput(const FillSettings& settings, bool writesFiles)
    : s_(settings), dir_(OutputDir(settings)), name_(CaseName(settings))
{
    if (dir_.empty() || !writesFiles) return;
    history_ = OpenHistory(dir_, error_);
    if (history_ == nullptr) return;
    series_ = std::make_unique<rvzmesh::PvdSeries>((std::filesystem::path(dir_) / (name_ + ".pvd")).string(), name_);
}

SeriesOutput::~SeriesOutput()
{
    if (history_ != nullptr) std::fclose(history_);
}

void SeriesOutput::Record(const Filling& filling, const StepRecord& r)
{
    if (dir_.empty()) return;
    last_ = filling.Download();
    lastTime_ = r.time;
    if (!error_.empty()) return;
    if (history_ != nullptr) WriteHistoryLine(history_, r);
    try {
        if (r.time >= next_) {
            WriteFields(r.time);
            while (s_.output_interval > 0.0 && next_ <= r.time) next_ += s_.output_interval;
        }
    } catch (const rvzmesh::MeshError& e) {
        error_ = e.what();
    }
}

bool SeriesOutput::WriteLast()
{
    if (dir_.empty() || last_.volf.empty() || !error_.empty()) return false;
    try {
        if (written_ != lastTime_) WriteFields(lastTime_);
    } catch (const rvzmesh::MeshError& e) {
        error_ = e.what();
        return false;
    }
    return true;
}

Output::Output(const FillSettings& settings, const rvzmesh::Mesh& mesh) : SeriesOutput(settings, true), m_(mesh) {}

void Output::WriteFields(double time)
{
    char file[64];
    std::snprintf(file, sizeof file, "_%04d.vtu", count_++);
    const std::string path = (std::filesystem::path(dir_) / (name_ + file)).string();
    rvzmesh::VtuContent content;
    content.name = name_;
    content.time = time;
    std::array<std::vector<double>, 3> direction;
    AddCellData(last_, m_.nCells, content, direction);
    rvzmesh::WriteVtu(path, m_, content);
    series_->Add(time, path);
    written_ = time;
}

void Output::Finish(const RunResult&)
{
    if (WriteLast()) error_ = WriteArrival(dir_, m_, last_.arrival);
}

}  // namespace fill
