#include "fill_partition_output.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <array>
#include <vector>

#include "fill_fibre.h"

namespace fill {

namespace {

const char* ByteOrder()
{
    const std::uint16_t one = 1;
    unsigned char first = 0;
    std::memcpy(&first, &one, 1);
    return first == 1 ? "LittleEndian" : "BigEndian";
}

// The scalar cell fields of a piece, the active one first, then the vector.
const char* const kScalars[] = {"volume_fraction", "pressure",     "temperature",
                                "viscosity",       "arrival_time", "melt_front_temperature"};
// With fibres: the six components and the principal direction (a vector).
const char* const kFibreNames[6] = {"fibre_axx", "fibre_ayy", "fibre_azz", "fibre_axy", "fibre_axz", "fibre_ayz"};

std::string PieceName(const std::string& name, int count, int rank)
{
    char file[64];
    std::snprintf(file, sizeof file, "_%04d_p%d.vtu", count, rank);
    return name + file;
}

}  // namespace

void WritePvtu(const std::string& path, const std::vector<std::string>& pieces, bool fibre)
{
    std::string xml = std::string("<?xml version=\"1.0\"?>\n<VTKFile type=\"PUnstructuredGrid\" version=\"1.0\" "
                                  "byte_order=\"") +
                      ByteOrder() + "\" header_type=\"UInt64\">\n  <PUnstructuredGrid GhostLevel=\"0\">\n";
    xml += "    <PPoints>\n      <PDataArray type=\"Float64\" Name=\"Points\" NumberOfComponents=\"3\"/>\n"
           "    </PPoints>\n";
    xml += std::string("    <PCellData Scalars=\"") + kScalars[0] + "\" Vectors=\"velocity\">\n";
    for (const char* name : kScalars) xml += std::string("      <PDataArray type=\"Float64\" Name=\"") + name + "\"/>\n";
    for (int k = 0; fibre && k < 6; ++k)
        xml += std::string("      <PDataArray type=\"Float64\" Name=\"") + kFibreNames[k] + "\"/>\n";
    xml += "      <PDataArray type=\"Float64\" Name=\"velocity\" NumberOfComponents=\"3\"/>\n";
    if (fibre) xml += "      <PDataArray type=\"Float64\" Name=\"fibre_direction\" NumberOfComponents=\"3\"/>\n";
    xml += "    </PCellData>\n";
    for (const std::string& piece : pieces) xml += "    <Piece Source=\"" + piece + "\"/>\n";
    xml += "  </PUnstructuredGrid>\n</VTKFile>\n";
    std::FILE* f = std::fopen(path.c_str(), "w");
    if (f == nullptr) throw rvzmesh::MeshError(path, 0, std::string("cannot write the PVTU file: ") + std::strerror(errno));
    const bool ok = std::fwrite(xml.data(), 1, xml.size(), f) == xml.size();
    if (std::fclose(f) != 0 || !ok) throw rvzmesh::MeshError(path, 0, "cannot write the PVTU file");
}

PartitionedOutput::PartitionedOutput(const FillSettings& settings, Partitioned& partition)
    : s_(settings), part_(partition), dir_(OutputDir(settings)), name_(CaseName(settings))
{
    if (dir_.empty() || part_.rank() != 0) return;
    const std::string path = (std::filesystem::path(dir_) / "history.csv").string();
    history_ = std::fopen(path.c_str(), "w");
    if (history_ == nullptr) {
        error_ = "cannot write '" + path + "': " + std::strerror(errno);
        return;
    }
    std::fprintf(history_, "time,filled_fraction,inlet_pressure,flow_rate,outer_iterations\n");
    series_ = std::make_unique<rvzmesh::PvdSeries>((std::filesystem::path(dir_) / (name_ + ".pvd")).string(), name_);
}

PartitionedOutput::~PartitionedOutput()
{
    if (history_ != nullptr) std::fclose(history_);
}

void PartitionedOutput::WriteFields(double time)
{
    const int count = count_++;
    const std::filesystem::path dir(dir_);
    rvzmesh::VtuContent content;
    content.name = name_;
    content.time = time;
    const std::vector<double>* scalars[] = {&last_.volf, &last_.p,       &last_.T,
                                            &last_.vis,  &last_.arrival, &last_.frontTemperature};
    for (size_t k = 0; k < 6; ++k) content.scalars.push_back({kScalars[k], scalars[k]});
    content.vectors = {{"velocity", &last_.u, &last_.v, &last_.w}};
    const bool fibre = !last_.fibre[0].empty();
    std::array<std::vector<double>, 3> direction;
    if (fibre) {
        const int nc = part_.Local().nCells;
        for (int k = 0; k < 6; ++k) content.scalars.push_back({kFibreNames[k], &last_.fibre[k]});
        for (auto& d : direction) d.resize(nc);
        for (int c = 0; c < nc; ++c) {
            std::array<double, 6> a;
            for (int k = 0; k < 6; ++k) a[k] = last_.fibre[k][c];
            const std::array<double, 3> p = PrincipalDirection(a);
            for (int k = 0; k < 3; ++k) direction[k][c] = p[k];
        }
        content.vectors.push_back({"fibre_direction", &direction[0], &direction[1], &direction[2]});
    }
    rvzmesh::WriteVtu((dir / PieceName(name_, count, part_.rank())).string(), part_.Local(), content);
    if (part_.rank() == 0) {
        std::vector<std::string> pieces;
        for (int r = 0; r < part_.size(); ++r) pieces.push_back(PieceName(name_, count, r));
        char file[64];
        std::snprintf(file, sizeof file, "_%04d.pvtu", count);
        const std::string path = (dir / (name_ + file)).string();
        WritePvtu(path, pieces, fibre);
        series_->Add(time, path);
    }
    written_ = time;
}

void PartitionedOutput::Step(const Filling& filling, const StepRecord& r)
{
    if (dir_.empty()) return;
    // Every process keeps the state, so that Finish gathers on all.
    last_ = filling.Download();
    lastTime_ = r.time;
    if (!error_.empty()) return;
    if (history_ != nullptr) {
        std::fprintf(history_, "%.9g,%.9g,%.9g,%.9g,%d\n", r.time, r.filledFraction, r.inletPressure, r.flowRate,
                     r.outerIterations);
        std::fflush(history_);
    }
    try {
        if (r.time >= next_) {
            WriteFields(r.time);
            while (s_.output_interval > 0.0 && next_ <= r.time) next_ += s_.output_interval;
        }
    } catch (const rvzmesh::MeshError& e) {
        error_ = e.what();
    }
}

void PartitionedOutput::Finish()
{
    if (dir_.empty() || last_.volf.empty()) return;
    // Every process takes part in the gather, whatever its own state.
    const std::vector<double> arrival = part_.Gather(last_.arrival);
    if (!error_.empty()) return;
    try {
        if (written_ != lastTime_) WriteFields(lastTime_);
    } catch (const rvzmesh::MeshError& e) {
        error_ = e.what();
        return;
    }
    if (part_.rank() != 0) return;
    const rvzmesh::Mesh& m = part_.Whole();
    const std::string path = (std::filesystem::path(dir_) / "arrival.csv").string();
    std::FILE* f = std::fopen(path.c_str(), "w");
    if (f == nullptr) {
        error_ = "cannot write '" + path + "': " + std::strerror(errno);
        return;
    }
    std::fprintf(f, "x,y,z,arrival_time\n");
    for (int c = 0; c < m.nCells; ++c) {
        if (arrival[c] >= 0.0)
            std::fprintf(f, "%.9g,%.9g,%.9g,%.9g\n", m.xc[c], m.yc[c], m.zc[c], arrival[c]);
        else
            std::fprintf(f, "%.9g,%.9g,%.9g,\n", m.xc[c], m.yc[c], m.zc[c]);
    }
    if (std::fclose(f) != 0) error_ = "cannot write '" + path + "'";
}

}  // namespace fill
