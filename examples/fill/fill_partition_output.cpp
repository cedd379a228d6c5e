#include "fill_partition_output.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <array>
#include <vector>

#include "fill_fibre.h"
#include "fill_output.h"

namespace fill {

namespace {

const char* ByteOrder()
{
    const std::uint16_t one = 1;
    unsigned char first = 0;
    std::memcpy(&first, &one, 1);
    return first == 1 ? "LittleEndian" : "BigEndian";
}

std::string PieceName(const std::string& name, int count, int rank)
{
    char file[64];
    std::snprintf(file, sizeof file, "_%04d_p%d.vtu", count, rank);
    return name + file;
}

}  // namespace

void WritePvtu(const std::string& path, const std::vector<std::string>& pieces, bool fibre, bool secondFluid)
{
    std::string xml = std::string("<?xml version=\"1.0\"?>\n<VTKFile type=\"PUnstructuredGrid\" version=\"1.0\" "
                                  "byte_order=\"") +
                      ByteOrder() + "\" header_type=\"UInt64\">\n  <PUnstructuredGrid GhostLevel=\"0\">\n";
    xml += "    <PPoints>\n      <PDataArray type=\"Float64\" Name=\"Points\" NumberOfComponents=\"3\"/>\n"
           "    </PPoints>\n";
    xml += std::string("    <PCellData Scalars=\"") + kCellScalars[0] + "\" Vectors=\"velocity\">\n";
    for (const char* name : kCellScalars) xml += std::string("      <PDataArray type=\"Float64\" Name=\"") + name + "\"/>\n";
    if (secondFluid) xml += "      <PDataArray type=\"Float64\" Name=\"second_fluid\"/>\n";
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

// Process 0 writes history.csv and the series.
PartitionedOutput::PartitionedOutput(const FillSettings& settings, Partitioned& partition)
    : SeriesOutput(settings, partition.rank() == 0), part_(partition)
{
}

void PartitionedOutput::WriteFields(double time)
{
    const int count = count_++;
    const std::filesystem::path dir(dir_);
    rvzmesh::VtuContent content;
    content.name = name_;
    content.time = time;
    const bool fibre = !last_.fibre[0].empty();
    std::array<std::vector<double>, 3> direction;
    AddCellData(last_, part_.Local().nCells, content, direction);
    rvzmesh::WriteVtu((dir / PieceName(name_, count, part_.rank())).string(), part_.Local(), content);
    if (part_.rank() == 0) {
        std::vector<std::string> pieces;
        for (int r = 0; r < part_.size(); ++r) pieces.push_back(PieceName(name_, count, r));
        char file[64];
        std::snprintf(file, sizeof file, "_%04d.pvtu", count);
        const std::string path = (dir / (name_ + file)).string();
        WritePvtu(path, pieces, fibre, !last_.second.empty());
        series_->Add(time, path);
    }
    written_ = time;
}

void PartitionedOutput::Finish()
{
    if (dir_.empty() || last_.volf.empty()) return;
    // Every process takes part in the gather, whatever its own state.
    const std::vector<double> arrival = part_.Gather(last_.arrival);
    if (WriteLast() && part_.rank() == 0) error_ = WriteArrival(dir_, part_.Whole(), arrival);
}

}  // namespace fill
