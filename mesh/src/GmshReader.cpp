// Reader of Gmsh MSH 4.1 ASCII files.
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <unordered_map>

#include "rvzgpu_mesh/Mesh.h"

namespace rvzmesh {

namespace {

// Lines of the file with their numbers, split into whitespace tokens.
class LineReader {
public:
    explicit LineReader(const std::string& path) : path_(path), in_(path)
    {
        if (!in_) throw MeshError(path, 0, std::string("cannot open the mesh file: ") + std::strerror(errno));
    }

    // The next non-empty line's tokens; false at the end of the file.
    bool Next(std::vector<std::string>& tokens)
    {
        std::string text;
        while (std::getline(in_, text)) {
            ++line_;
            tokens.clear();
            std::istringstream split(text);
            for (std::string t; split >> t;) tokens.push_back(t);
            if (!tokens.empty()) return true;
        }
        return false;
    }
    std::vector<std::string> Require(const char* what)
    {
        std::vector<std::string> tokens;
        if (!Next(tokens)) Fail(std::string("the file ends inside ") + what);
        return tokens;
    }
    [[noreturn]] void Fail(const std::string& message) const { throw MeshError(path_, line_, message); }
    int line() const { return line_; }
    const std::string& path() const { return path_; }

    long long Int(const std::string& token, const char* what) const
    {
        char* end = nullptr;
        errno = 0;
        const long long v = std::strtoll(token.c_str(), &end, 10);
        if (end == token.c_str() || *end != '\0' || errno != 0)
            Fail(std::string("malformed line: expected an integer (") + what + "), found '" + token + "'");
        return v;
    }
    // A number; an overflow gives an infinity, which the caller refuses.
    double Real(const std::string& token, const char* what) const
    {
        char* end = nullptr;
        const double v = std::strtod(token.c_str(), &end);
        if (end == token.c_str() || *end != '\0')
            Fail(std::string("malformed line: expected a number (") + what + "), found '" + token + "'");
        return v;
    }
    void Expect(const std::vector<std::string>& tokens, size_t atLeast, const char* what) const
    {
        if (tokens.size() < atLeast)
            Fail(std::string("malformed line: ") + what + " needs " + std::to_string(atLeast) + " fields, found " +
                 std::to_string(tokens.size()));
    }

private:
    std::string path_;
    std::ifstream in_;
    int line_ = 0;
};

std::string Lower(std::string s)
{
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

// A group's kind is its name ("inlet", any case) or the kind's name
// followed by '_', '-', '.', ':' or a digit ("inlet_left", "wall-hot",
// "inlet2"): several groups of one kind, such as gates, keep their names.
bool KindOfName(const std::string& name, BoundaryKind& kind)
{
    const std::string n = Lower(name);
    for (int k = 0; k < kBoundaryKinds; ++k) {
        const std::string kindName = BoundaryKindName(static_cast<BoundaryKind>(k));
        if (n.compare(0, kindName.size(), kindName) != 0) continue;
        const char next = n.size() > kindName.size() ? n[kindName.size()] : '\0';
        if (next == '\0' || next == '_' || next == '-' || next == '.' || next == ':' ||
            (next >= '0' && next <= '9')) {
            kind = static_cast<BoundaryKind>(k);
            return true;
        }
    }
    return false;
}

struct Reader {
    LineReader lines;
    MeshInput mesh;
    std::map<int, std::string> surfaceGroupNames;       // physical tag (dim 2) -> name
    std::map<int, std::vector<int>> surfacePhysicalTags; // surface entity -> physical tags
    std::unordered_map<long long, int> nodeIndex;        // node tag -> index
    bool sawNodes = false, sawElements = false;
    bool physicalVolume = false;  // a physical group of dimension 3 is named or used
    int elementsLine = 0;

    explicit Reader(const std::string& path) : lines(path) { mesh.source = path; }

    void SkipSection(const std::string& name)
    {
        const std::string end = "$End" + name.substr(1);
        std::vector<std::string> t;
        while (lines.Next(t))
            if (t[0] == end) return;
        lines.Fail("the file ends inside section " + name);
    }
    void ExpectEnd(const std::string& name)
    {
        const auto t = lines.Require(name.c_str());
        if (t[0] != "$End" + name.substr(1)) lines.Fail("expected $End" + name.substr(1) + ", found '" + t[0] + "'");
    }

    void MeshFormat()
    {
        const auto t = lines.Require("$MeshFormat");
        lines.Expect(t, 3, "the format line");
        if (t[0] != "4.1") lines.Fail("unsupported MSH version " + t[0] + " (only 4.1 is read)");
        if (t[1] != "0") lines.Fail("binary MSH files are not read (file type " + t[1] + ")");
        ExpectEnd("$MeshFormat");
    }

    void PhysicalNames()
    {
        auto t = lines.Require("$PhysicalNames");
        const long long n = lines.Int(t[0], "number of names");
        for (long long i = 0; i < n; ++i) {
            t = lines.Require("$PhysicalNames");
            lines.Expect(t, 3, "a physical name");
            const long long dim = lines.Int(t[0], "dimension");
            const long long tag = lines.Int(t[1], "physical tag");
            std::string name;
            for (size_t k = 2; k < t.size(); ++k) name += (k > 2 ? " " : "") + t[k];
            if (name.size() < 2 || name.front() != '"' || name.back() != '"')
                lines.Fail("malformed physical name: expected a quoted name");
            if (dim == 2) surfaceGroupNames[static_cast<int>(tag)] = name.substr(1, name.size() - 2);
            if (dim == 3) physicalVolume = true;
        }
        ExpectEnd("$PhysicalNames");
    }

    // Reads the physical tags of one entity line starting at `at`.
    std::vector<int> PhysicalTagsAt(const std::vector<std::string>& t, size_t at)
    {
        lines.Expect(t, at + 1, "an entity");
        const long long n = lines.Int(t[at], "number of physical tags");
        lines.Expect(t, at + 1 + static_cast<size_t>(std::max(0LL, n)), "an entity");
        std::vector<int> tags;
        for (long long k = 0; k < n; ++k) tags.push_back(static_cast<int>(lines.Int(t[at + 1 + k], "physical tag")));
        return tags;
    }

    void Entities()
    {
        auto t = lines.Require("$Entities");
        lines.Expect(t, 4, "the entity counts");
        const long long counts[4] = {lines.Int(t[0], "points"), lines.Int(t[1], "curves"),
                                     lines.Int(t[2], "surfaces"), lines.Int(t[3], "volumes")};
        for (int dim = 0; dim < 4; ++dim)
            for (long long i = 0; i < counts[dim]; ++i) {
                t = lines.Require("$Entities");
                const int tag = static_cast<int>(lines.Int(t[0], "entity tag"));
                const size_t at = dim == 0 ? 4 : 7;  // after the coordinates or the bounding box
                const std::vector<int> physical = PhysicalTagsAt(t, at);
                if (dim == 2) surfacePhysicalTags[tag] = physical;
                if (dim == 3 && !physical.empty()) physicalVolume = true;
            }
        ExpectEnd("$Entities");
    }

    void Nodes()
    {
        auto t = lines.Require("$Nodes");
        lines.Expect(t, 4, "the node counts");
        const long long blocks = lines.Int(t[0], "number of blocks");
        for (long long b = 0; b < blocks; ++b) {
            t = lines.Require("$Nodes");
            lines.Expect(t, 4, "a node block");
            const bool parametric = lines.Int(t[2], "parametric") != 0;
            const long long n = lines.Int(t[3], "number of nodes");
            std::vector<long long> tags;
            for (long long i = 0; i < n; ++i) tags.push_back(lines.Int(lines.Require("$Nodes")[0], "node tag"));
            for (long long i = 0; i < n; ++i) {
                t = lines.Require("$Nodes");
                lines.Expect(t, parametric ? 4 : 3, "node coordinates");
                if (!nodeIndex.emplace(tags[i], static_cast<int>(mesh.x.size())).second)
                    lines.Fail("node " + std::to_string(tags[i]) + " is defined twice");
                const char* axis[3] = {"x", "y", "z"};
                double xyz[3];
                for (int k = 0; k < 3; ++k) {
                    xyz[k] = lines.Real(t[k], axis[k]);
                    if (!std::isfinite(xyz[k]))
                        lines.Fail("node " + std::to_string(tags[i]) + ": the " + axis[k] + " coordinate '" + t[k] +
                                   "' is not a finite number");
                }
                mesh.x.push_back(xyz[0]);
                mesh.y.push_back(xyz[1]);
                mesh.z.push_back(xyz[2]);
            }
        }
        ExpectEnd("$Nodes");
        sawNodes = true;
    }

    // The boundary kind of a surface entity's elements, and in `group`
    // the name of the physical group that gave it.
    BoundaryKind SurfaceKind(int surface, long long elementTag, std::string& group)
    {
        const auto it = surfacePhysicalTags.find(surface);
        std::string names;
        if (it != surfacePhysicalTags.end())
            for (int tag : it->second) {
                const auto name = surfaceGroupNames.find(tag);
                if (name == surfaceGroupNames.end()) continue;
                BoundaryKind kind;
                if (KindOfName(name->second, kind)) {
                    group = name->second;
                    return kind;
                }
                names += (names.empty() ? "'" : ", '") + name->second + "'";
            }
        lines.Fail("boundary element " + std::to_string(elementTag) + " of surface " + std::to_string(surface) +
                   (names.empty() ? " is in no named boundary group"
                                  : " is in group " + names + ", which is not a boundary kind") +
                   " (inlet, outlet, wall, symmetry, alone or followed by _NAME)");
    }

    void Elements()
    {
        if (!sawNodes) lines.Fail("$Elements comes before $Nodes");
        elementsLine = lines.line();
        auto t = lines.Require("$Elements");
        lines.Expect(t, 4, "the element counts");
        const long long blocks = lines.Int(t[0], "number of blocks");
        for (long long b = 0; b < blocks; ++b) {
            t = lines.Require("$Elements");
            lines.Expect(t, 4, "an element block");
            const int dim = static_cast<int>(lines.Int(t[0], "entity dimension"));
            const int entity = static_cast<int>(lines.Int(t[1], "entity tag"));
            const int type = static_cast<int>(lines.Int(t[2], "element type"));
            const long long n = lines.Int(t[3], "number of elements");
            int nodes = 0;
            if (dim == 3) {
                if (type < 4 || type > 7)
                    lines.Fail("unsupported element type " + std::to_string(type) +
                               " in a volume (tetrahedra 4, hexahedra 5, prisms 6 and pyramids 7 are read)");
                nodes = NodeCount(static_cast<CellShape>(type));
            } else if (dim == 2) {
                if (type != 2 && type != 3)
                    lines.Fail("unsupported element type " + std::to_string(type) +
                               " on a surface (triangles 2 and quadrangles 3 are read)");
                nodes = type == 2 ? 3 : 4;
            }
            for (long long i = 0; i < n; ++i) {
                t = lines.Require("$Elements");
                if (dim < 2) continue;
                if (t.size() != static_cast<size_t>(nodes) + 1)
                    lines.Fail("malformed element line: expected a tag and " + std::to_string(nodes) +
                               " node tags, found " + std::to_string(t.size()) + " fields");
                const long long tag = lines.Int(t[0], "element tag");
                std::vector<int> list;
                for (int k = 1; k <= nodes; ++k) {
                    const long long nodeTag = lines.Int(t[k], "node tag");
                    const auto it = nodeIndex.find(nodeTag);
                    if (it == nodeIndex.end())
                        lines.Fail("element " + std::to_string(tag) + " refers to node " + std::to_string(nodeTag) +
                                   ", which does not exist");
                    list.push_back(it->second);
                }
                if (dim == 3)
                    mesh.AddCell(static_cast<CellShape>(type), list, lines.line());
                else {
                    std::string group;
                    const BoundaryKind kind = SurfaceKind(entity, tag, group);
                    mesh.AddBoundaryFace(kind, list, lines.line(), mesh.Group(group));
                }
            }
        }
        ExpectEnd("$Elements");
        sawElements = true;
    }

    MeshInput Read()
    {
        std::vector<std::string> t;
        bool sawFormat = false;
        while (lines.Next(t)) {
            const std::string& section = t[0];
            if (section == "$MeshFormat") {
                MeshFormat();
                sawFormat = true;
                continue;
            }
            if (!sawFormat) lines.Fail("not a Gmsh mesh: expected $MeshFormat, found '" + section + "'");
            if (section == "$PhysicalNames") {
                PhysicalNames();
            } else if (section == "$Entities") {
                Entities();
            } else if (section == "$Nodes") {
                Nodes();
            } else if (section == "$Elements") {
                Elements();
            } else if (section.size() > 1 && section[0] == '$') {
                SkipSection(section);
            } else {
                lines.Fail("malformed line: expected a section, found '" + section + "'");
            }
        }
        if (!sawFormat) lines.Fail("not a Gmsh mesh: the file is empty");
        if (!sawElements) lines.Fail("the file has no $Elements section");
        if (mesh.nCells() == 0)
            throw MeshError(lines.path(), elementsLine,
                            physicalVolume
                                ? "the file has no volume elements (tetrahedra, hexahedra, prisms or pyramids)"
                                : "the file has no volume elements and no physical volume: where a .geo file "
                                  "defines physical groups, Gmsh saves only their elements, so the volumes need "
                                  "one too (for example Physical Volume(\"melt\") = {1};)");
        return mesh;
    }
};

}  // namespace

MeshInput ReadGmsh(const std::string& path) { return Reader(path).Read(); }

}  // namespace rvzmesh
