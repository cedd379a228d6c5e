// VTK XML output: unstructured grids (.vtu) with binary appended data and
// time-series collections (.pvd), read by ParaView and VTK.
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <set>
#include <utility>

#include "MeshInternal.h"
#include "rvzgpu_mesh/Mesh.h"

namespace rvzmesh {

namespace {

bool LittleEndian()
{
    const std::uint16_t one = 1;
    unsigned char first = 0;
    std::memcpy(&first, &one, 1);
    return first == 1;
}

const char* ByteOrder() { return LittleEndian() ? "LittleEndian" : "BigEndian"; }

// Text safe inside a double-quoted XML attribute.
std::string Escape(const std::string& text)
{
    std::string out;
    for (char c : text) {
        switch (c) {
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '"': out += "&quot;"; break;
        default: out += c;
        }
    }
    return out;
}

// The appended data block: each array is its byte count (UInt64) followed
// by its bytes; an array's offset is where its count starts.
class AppendedData {
public:
    template <class T>
    std::uint64_t Add(const std::vector<T>& values)
    {
        const std::uint64_t offset = bytes_.size();
        const std::uint64_t count = values.size() * sizeof(T);
        const char* head = reinterpret_cast<const char*>(&count);
        bytes_.insert(bytes_.end(), head, head + sizeof count);
        const char* data = reinterpret_cast<const char*>(values.data());
        bytes_.insert(bytes_.end(), data, data + count);
        return offset;
    }
    std::uint64_t AddText(const std::string& text)
    {
        std::vector<char> chars(text.begin(), text.end());
        chars.push_back('\0');
        return Add(chars);
    }
    const std::vector<char>& bytes() const { return bytes_; }

private:
    std::vector<char> bytes_;
};

using File = std::unique_ptr<FILE, int (*)(FILE*)>;

File OpenForWriting(const std::string& path, const char* what)
{
    File file(std::fopen(path.c_str(), "wb"), &std::fclose);
    if (!file) throw MeshError(path, 0, std::string("cannot write the ") + what + ": " + std::strerror(errno));
    return file;
}

// Closes the file, reporting a failed write or close.
void Finish(File& file, const std::string& path, const char* what)
{
    const bool failed = std::ferror(file.get()) != 0;
    const int closed = std::fclose(file.release());
    if (failed || closed != 0) throw MeshError(path, 0, std::string("writing the ") + what + " failed");
}

void CheckName(const std::string& path, const std::string& name, std::set<std::string>& names)
{
    if (name.empty()) throw MeshError(path, 0, "a cell field has no name");
    if (!names.insert(name).second) throw MeshError(path, 0, "two cell fields are named '" + name + "'");
}

void CheckValues(const std::string& path, const Mesh& m, const std::string& name, const std::vector<double>* values)
{
    if (values == nullptr || values->size() < static_cast<size_t>(m.nCells))
        throw MeshError(path, 0,
                        "cell field '" + name + "' has " + std::to_string(values == nullptr ? 0 : values->size()) +
                            " values for " + std::to_string(m.nCells) + " cells");
}

}  // namespace

void WriteVtu(const std::string& path, const Mesh& m, const VtuContent& content)
{
    std::set<std::string> names;
    for (const CellField& f : content.scalars) {
        CheckName(path, f.name, names);
        CheckValues(path, m, f.name, f.values);
    }
    for (const CellVectorField& f : content.vectors) {
        CheckName(path, f.name, names);
        for (const std::vector<double>* component : {f.x, f.y, f.z}) CheckValues(path, m, f.name, component);
    }
    const int nCells = m.nCells;
    AppendedData data;
    std::string xml;
    auto array = [&](const std::string& type, const std::string& name, int components, std::uint64_t offset,
                     const std::string& extra = "") {
        xml += "        <DataArray type=\"" + type + "\"" + (name.empty() ? "" : " Name=\"" + Escape(name) + "\"") +
               (components > 1 ? " NumberOfComponents=\"" + std::to_string(components) + "\"" : "") + extra +
               " format=\"appended\" offset=\"" + std::to_string(offset) + "\"/>\n";
    };

    xml += std::string("<?xml version=\"1.0\"?>\n<VTKFile type=\"UnstructuredGrid\" version=\"1.0\" byte_order=\"") +
           ByteOrder() + "\" header_type=\"UInt64\">\n  <UnstructuredGrid>\n";
    if (!content.name.empty() || std::isfinite(content.time)) {
        xml += "    <FieldData>\n";
        if (!content.name.empty())
            array("String", "CaseName", 1, data.AddText(content.name), " NumberOfTuples=\"1\"");
        if (std::isfinite(content.time))
            array("Float64", "TimeValue", 1, data.Add(std::vector<double>{content.time}), " NumberOfTuples=\"1\"");
        xml += "    </FieldData>\n";
    }
    xml += "    <Piece NumberOfPoints=\"" + std::to_string(m.nodeX.size()) + "\" NumberOfCells=\"" +
           std::to_string(nCells) + "\">\n      <Points>\n";
    std::vector<double> points;
    points.reserve(3 * m.nodeX.size());
    for (size_t n = 0; n < m.nodeX.size(); ++n) points.insert(points.end(), {m.nodeX[n], m.nodeY[n], m.nodeZ[n]});
    array("Float64", "Points", 3, data.Add(points));
    points = {};

    xml += "      </Points>\n      <Cells>\n";
    std::vector<std::int64_t> connectivity, offsets;
    std::vector<std::uint8_t> types;
    connectivity.reserve(static_cast<size_t>(m.cellStart[nCells]));
    for (int c = 0; c < nCells; ++c) {
        const int count = m.cellStart[c + 1] - m.cellStart[c];
        for (int k = 0; k < count; ++k)
            connectivity.push_back(m.cellNodes[m.cellStart[c] + detail::VtkNodeOrder(m.shape[c], k)]);
        offsets.push_back(static_cast<std::int64_t>(connectivity.size()));
        types.push_back(static_cast<std::uint8_t>(detail::VtkCellType(m.shape[c])));
    }
    array("Int64", "connectivity", 1, data.Add(connectivity));
    array("Int64", "offsets", 1, data.Add(offsets));
    array("UInt8", "types", 1, data.Add(types));
    xml += "      </Cells>\n";

    if (!content.scalars.empty() || !content.vectors.empty()) {
        xml += "      <CellData";
        if (!content.scalars.empty()) xml += " Scalars=\"" + Escape(content.scalars.front().name) + "\"";
        if (!content.vectors.empty()) xml += " Vectors=\"" + Escape(content.vectors.front().name) + "\"";
        xml += ">\n";
        for (const CellField& f : content.scalars)
            array("Float64", f.name, 1, data.Add(std::vector<double>(f.values->begin(), f.values->begin() + nCells)));
        for (const CellVectorField& f : content.vectors) {
            std::vector<double> xyz;
            xyz.reserve(3 * static_cast<size_t>(nCells));
            for (int c = 0; c < nCells; ++c) xyz.insert(xyz.end(), {(*f.x)[c], (*f.y)[c], (*f.z)[c]});
            array("Float64", f.name, 3, data.Add(xyz));
        }
        xml += "      </CellData>\n";
    }
    xml += "    </Piece>\n  </UnstructuredGrid>\n  <AppendedData encoding=\"raw\">\n   _";

    File file = OpenForWriting(path, "VTU file");
    const std::string tail = "\n  </AppendedData>\n</VTKFile>\n";
    std::fwrite(xml.data(), 1, xml.size(), file.get());
    std::fwrite(data.bytes().data(), 1, data.bytes().size(), file.get());
    std::fwrite(tail.data(), 1, tail.size(), file.get());
    Finish(file, path, "VTU file");
}

PvdSeries::PvdSeries(std::string path, std::string name) : path_(std::move(path)), name_(std::move(name)) {}

void PvdSeries::Add(double time, const std::string& vtuPath)
{
    namespace fs = std::filesystem;
    if (!std::isfinite(time)) throw MeshError(path_, 0, "a time step needs a finite time");
    if (!steps_.empty() && !(time > steps_.back().first))
        throw MeshError(path_, 0, "time " + std::to_string(time) + " does not follow the previous step's " +
                                      std::to_string(steps_.back().first));
    // The collection names its files relative to its own folder.
    const fs::path folder = fs::absolute(fs::path(path_)).parent_path();
    const fs::path file = fs::absolute(fs::path(vtuPath)).lexically_normal();
    steps_.emplace_back(time, file.lexically_relative(folder).generic_string());
    Write();
}

void PvdSeries::Write() const
{
    // Written beside and renamed over the collection, so that a reader
    // never sees half a file.
    const std::string temporary = path_ + ".part";
    File file = OpenForWriting(temporary, "PVD file");
    std::fprintf(file.get(),
                 "<?xml version=\"1.0\"?>\n<VTKFile type=\"Collection\" version=\"0.1\" byte_order=\"%s\">\n"
                 "  <Collection>\n",
                 ByteOrder());
    for (const auto& [time, file_name] : steps_)
        std::fprintf(file.get(), "    <DataSet timestep=\"%.17g\" part=\"0\" name=\"%s\" file=\"%s\"/>\n", time,
                     Escape(name_).c_str(), Escape(file_name).c_str());
    std::fprintf(file.get(), "  </Collection>\n</VTKFile>\n");
    Finish(file, temporary, "PVD file");
    if (std::rename(temporary.c_str(), path_.c_str()) != 0)
        throw MeshError(path_, 0, std::string("cannot replace the PVD file: ") + std::strerror(errno));
}

}  // namespace rvzmesh
