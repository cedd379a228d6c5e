// VTK XML output of the mesh toolkit: the .vtu file parsed back (XML
// header, appended block counts and contents, VTK's node order) and the
// .pvd time-series collection.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include "rvzgpu_mesh/Mesh.h"

using namespace rvzmesh;

namespace {

namespace fs = std::filesystem;

// A folder of this run's files, removed at the end.
struct TempDir {
    fs::path path = fs::temp_directory_path() / ("rvzgpu_vtu_test_" + std::to_string(getpid()));
    TempDir() { fs::create_directories(path); }
    ~TempDir() { fs::remove_all(path); }
    std::string operator/(const std::string& name) const { return (path / name).string(); }
};

std::string ReadAll(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// A prism (Gmsh order: bottom triangle 0 1 2, top 3 4 5) and a tetrahedron
// sharing the prism's top face, set up by hand: the writer reads nodes and
// cells only.
Mesh PrismAndTetrahedron()
{
    Mesh m;
    m.nCells = 2;
    m.nodeX = {0, 1, 0, 0, 1, 0, 0.3};
    m.nodeY = {0, 0, 1, 0, 0, 1, 0.3};
    m.nodeZ = {0, 0, 0, 1, 1, 1, 2};
    m.shape = {CellShape::Prism, CellShape::Tetrahedron};
    m.cellNodes = {0, 1, 2, 3, 4, 5, 3, 4, 5, 6};
    m.cellStart = {0, 6, 10};
    return m;
}

// One DataArray of the file: its attributes and its block in the appended data.
struct Array {
    std::map<std::string, std::string> attributes;
    std::uint64_t bytes = 0;
    std::string data;
};

// Parses the XML part with regular expressions (enough for what the writer
// produces) and cuts the appended data into its blocks, checking that the
// blocks follow each other without gaps and end where the data ends.
std::map<std::string, Array> ParseVtu(const std::string& text, std::string& header)
{
    const std::string marker = "<AppendedData encoding=\"raw\">\n   _";
    const size_t at = text.find(marker);
    EXPECT_NE(at, std::string::npos);
    header = text.substr(0, at);
    const size_t base = at + marker.size();
    const std::string tail = "\n  </AppendedData>\n</VTKFile>\n";
    EXPECT_EQ(text.substr(text.size() - tail.size()), tail);
    const size_t end = text.size() - tail.size();

    std::map<std::string, Array> arrays;
    std::vector<std::pair<std::uint64_t, std::string>> order;
    const std::regex element("<DataArray([^>]*)/>"), attribute("(\\w+)=\"([^\"]*)\"");
    for (std::sregex_iterator e(header.begin(), header.end(), element), none; e != none; ++e) {
        Array a;
        const std::string attrs = (*e)[1];
        for (std::sregex_iterator k(attrs.begin(), attrs.end(), attribute); k != none; ++k)
            a.attributes[(*k)[1]] = (*k)[2];
        const std::uint64_t offset = std::stoull(a.attributes.at("offset"));
        std::memcpy(&a.bytes, text.data() + base + offset, sizeof a.bytes);
        a.data = text.substr(base + offset + 8, a.bytes);
        order.emplace_back(offset, a.attributes.at("Name"));
        arrays[a.attributes.at("Name")] = a;
    }
    std::sort(order.begin(), order.end());
    std::uint64_t next = 0;
    for (const auto& [offset, name] : order) {
        EXPECT_EQ(offset, next) << name;
        next = offset + 8 + arrays[name].bytes;
    }
    EXPECT_EQ(base + next, end);
    return arrays;
}

std::string HostByteOrder()
{
    const std::uint16_t one = 1;
    return *reinterpret_cast<const unsigned char*>(&one) == 1 ? "LittleEndian" : "BigEndian";
}

template <class T>
std::vector<T> Values(const Array& a)
{
    std::vector<T> v(a.data.size() / sizeof(T));
    std::memcpy(v.data(), a.data.data(), v.size() * sizeof(T));
    return v;
}

}  // namespace

TEST(MeshVtu, AppendedBlocksHoldPointsCellsAndFieldsInVtkOrder)
{
    TempDir dir;
    const Mesh m = PrismAndTetrahedron();
    const std::vector<double> p = {1.5, -2.25}, u = {1, 4}, v = {2, 5}, w = {3, 6};
    VtuContent content;
    content.name = "duct <A&B>";
    content.time = 0.125;
    content.scalars = {{"p", &p}};
    content.vectors = {{"velocity", &u, &v, &w}};
    const std::string path = dir / "cells.vtu";
    WriteVtu(path, m, content);

    std::string header;
    const std::map<std::string, Array> a = ParseVtu(ReadAll(path), header);
    EXPECT_NE(header.find("<VTKFile type=\"UnstructuredGrid\" version=\"1.0\" byte_order=\"" + HostByteOrder() +
                          "\" header_type=\"UInt64\">"),
              std::string::npos);
    EXPECT_NE(header.find("<Piece NumberOfPoints=\"7\" NumberOfCells=\"2\">"), std::string::npos);
    EXPECT_NE(header.find("<CellData Scalars=\"p\" Vectors=\"velocity\">"), std::string::npos);
    ASSERT_EQ(a.size(), 8u);

    EXPECT_EQ(a.at("Points").attributes.at("NumberOfComponents"), "3");
    const std::vector<double> points = Values<double>(a.at("Points"));
    ASSERT_EQ(points.size(), 21u);
    EXPECT_EQ(points[18], 0.3);  // node 6: x, y, z interleaved
    EXPECT_EQ(points[20], 2.0);
    // VTK's wedge lists the bottom triangle the other way round.
    EXPECT_EQ(a.at("connectivity").attributes.at("type"), "Int64");
    EXPECT_EQ(Values<std::int64_t>(a.at("connectivity")), (std::vector<std::int64_t>{0, 2, 1, 3, 5, 4, 3, 4, 5, 6}));
    EXPECT_EQ(Values<std::int64_t>(a.at("offsets")), (std::vector<std::int64_t>{6, 10}));
    EXPECT_EQ(Values<std::uint8_t>(a.at("types")), (std::vector<std::uint8_t>{13, 10}));

    EXPECT_EQ(Values<double>(a.at("p")), p);
    EXPECT_EQ(a.at("velocity").attributes.at("NumberOfComponents"), "3");
    EXPECT_EQ(Values<double>(a.at("velocity")), (std::vector<double>{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(a.count("duct &lt;A&amp;B&gt;"), 0u);  // the case name is data, not an array name
    EXPECT_EQ(a.at("CaseName").attributes.at("type"), "String");
    EXPECT_EQ(a.at("CaseName").data, std::string("duct <A&B>") + '\0');
    EXPECT_EQ(Values<double>(a.at("TimeValue")), std::vector<double>{0.125});
}

TEST(MeshVtu, RefusesBadFieldsAndUnwritablePaths)
{
    TempDir dir;
    const Mesh m = PrismAndTetrahedron();
    const std::vector<double> two = {1, 2}, one = {1};
    auto refusal = [&](const std::string& path, const VtuContent& c) -> std::string {
        try {
            WriteVtu(path, m, c);
        } catch (const MeshError& e) {
            return e.message();
        }
        return "written";
    };
    VtuContent shortVector;
    shortVector.vectors = {{"velocity", &two, &one, &two}};
    EXPECT_EQ(refusal(dir / "a.vtu", shortVector), "cell field 'velocity' has 1 values for 2 cells");
    VtuContent twice;
    twice.scalars = {{"p", &two}};
    twice.vectors = {{"p", &two, &two, &two}};
    EXPECT_EQ(refusal(dir / "b.vtu", twice), "two cell fields are named 'p'");
    EXPECT_NE(refusal(dir / "missing/c.vtu", VtuContent{}).find("cannot write the VTU file"), std::string::npos);
    EXPECT_FALSE(fs::exists(dir / "a.vtu"));  // nothing half-written
}

TEST(MeshVtu, PvdSeriesListsStepsRelativeToItsFolder)
{
    TempDir dir;
    fs::create_directories(dir.path / "steps");
    PvdSeries series(dir / "fill.pvd", "fill");
    series.Add(0.0, dir / "steps/fill_0.vtu");
    series.Add(0.5, (dir.path / "steps" / ".." / "steps" / "fill_1.vtu").string());
    EXPECT_THROW(series.Add(0.5, dir / "steps/fill_2.vtu"), MeshError);  // time must grow
    EXPECT_THROW(series.Add(std::nan(""), dir / "steps/fill_2.vtu"), MeshError);
    EXPECT_EQ(ReadAll(dir / "fill.pvd"),
              "<?xml version=\"1.0\"?>\n<VTKFile type=\"Collection\" version=\"0.1\" byte_order=\"" + HostByteOrder() +
                  "\">\n"
              "  <Collection>\n"
              "    <DataSet timestep=\"0\" part=\"0\" name=\"fill\" file=\"steps/fill_0.vtu\"/>\n"
              "    <DataSet timestep=\"0.5\" part=\"0\" name=\"fill\" file=\"steps/fill_1.vtu\"/>\n"
              "  </Collection>\n</VTKFile>\n");
    EXPECT_FALSE(fs::exists(dir / "fill.pvd.part"));
    PvdSeries nowhere(dir / "missing/x.pvd", "x");
    EXPECT_THROW(nowhere.Add(0.0, dir / "x.vtu"), MeshError);
}
