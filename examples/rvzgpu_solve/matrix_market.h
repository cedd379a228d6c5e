// A reader of Matrix Market files (coordinate, real, general or symmetric)
// into CSR storage with the diagonal first in every row, as the library's
// solvers expect. Every problem is reported with its line number.
#pragma once

#include <algorithm>
#include <cctype>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "model_problems.h"

namespace rvzmodel {

// Thrown for a file that cannot be read as a square real coordinate matrix;
// what() names the file, the line and the problem.
class MatrixMarketError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct MatrixMarketInfo {
    bool symmetric = false;
    int entriesRead = 0;   // as stored in the file
    int diagonalsAdded = 0;  // rows without a stored diagonal get an explicit 0.0
};

namespace detail {

inline std::string Lower(std::string s)
{
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return s;
}

inline bool Blank(const std::string& line)
{
    return std::all_of(line.begin(), line.end(), [](unsigned char c) { return std::isspace(c) != 0; });
}

}  // namespace detail

inline CsrMatrix ReadMatrixMarket(std::istream& in, const std::string& name, MatrixMarketInfo* info = nullptr)
{
    int lineNumber = 0;
    std::string line;
    auto fail = [&](const std::string& what) -> MatrixMarketError {
        return MatrixMarketError(name + ":" + std::to_string(lineNumber) + ": " + what);
    };

    if (!std::getline(in, line)) throw MatrixMarketError(name + ": empty file (no Matrix Market header)");
    ++lineNumber;
    std::istringstream header(line);
    std::string banner, object, format, field, symmetry;
    header >> banner >> object >> format >> field >> symmetry;
    if (banner != "%%MatrixMarket") throw fail("missing '%%MatrixMarket' header");
    if (detail::Lower(object) != "matrix") throw fail("object '" + object + "' is not supported (only 'matrix')");
    if (detail::Lower(format) != "coordinate") throw fail("format '" + format + "' is not supported (only 'coordinate')");
    if (detail::Lower(field) != "real" && detail::Lower(field) != "integer")
        throw fail("field '" + field + "' is not supported (only 'real' or 'integer')");
    const std::string sym = detail::Lower(symmetry);
    if (sym != "general" && sym != "symmetric")
        throw fail("symmetry '" + symmetry + "' is not supported (only 'general' or 'symmetric')");

    // Size line, after comments and blank lines.
    long long rows = -1, cols = -1, entries = -1;
    while (std::getline(in, line)) {
        ++lineNumber;
        if (line.empty() || line[0] == '%' || detail::Blank(line)) continue;
        std::istringstream size(line);
        std::string extra;
        if (!(size >> rows >> cols >> entries) || (size >> extra))
            throw fail("malformed size line (expected: rows columns entries)");
        break;
    }
    if (rows < 0) throw fail("truncated file: no size line");
    if (rows != cols)
        throw fail("matrix is not square (" + std::to_string(rows) + " x " + std::to_string(cols) + ")");
    if (rows < 1 || rows > 2000000000LL) throw fail("row count " + std::to_string(rows) + " is out of range");
    if (entries < 0) throw fail("negative entry count");

    const int n = static_cast<int>(rows);
    std::vector<std::map<int, double>> rowEntries(static_cast<size_t>(n));
    long long read = 0;
    while (read < entries && std::getline(in, line)) {
        ++lineNumber;
        if (line.empty() || line[0] == '%' || detail::Blank(line)) continue;
        std::istringstream entry(line);
        long long i = 0, j = 0;
        double v = 0.0;
        std::string extra;
        if (!(entry >> i >> j >> v) || (entry >> extra))
            throw fail("malformed entry (expected: row column value)");
        if (i < 1 || i > n || j < 1 || j > n)
            throw fail("index (" + std::to_string(i) + ", " + std::to_string(j) + ") outside 1.." + std::to_string(n));
        if (sym == "symmetric" && j > i) throw fail("entry above the diagonal in a symmetric file");
        rowEntries[static_cast<size_t>(i - 1)][static_cast<int>(j - 1)] += v;
        if (sym == "symmetric" && i != j) rowEntries[static_cast<size_t>(j - 1)][static_cast<int>(i - 1)] += v;
        ++read;
    }
    if (read < entries)
        throw fail("truncated file: the file ends after " + std::to_string(read) + " of " + std::to_string(entries) + " entries");

    CsrMatrix m;
    m.n = n;
    m.ia.reserve(static_cast<size_t>(n) + 1);
    m.ia.push_back(0);
    int added = 0;
    for (int i = 0; i < n; ++i) {
        auto& row = rowEntries[static_cast<size_t>(i)];
        auto diagonal = row.find(i);
        m.ja.push_back(i);
        m.aa.push_back(diagonal == row.end() ? 0.0 : diagonal->second);
        if (diagonal == row.end()) ++added;
        for (const auto& [j, v] : row)
            if (j != i) m.ja.push_back(j), m.aa.push_back(v);
        if (m.ja.size() > 2000000000u) throw fail("too many entries for 32-bit indices");
        m.ia.push_back(static_cast<int>(m.ja.size()));
    }
    if (info != nullptr) {
        info->symmetric = sym == "symmetric";
        info->entriesRead = static_cast<int>(read);
        info->diagonalsAdded = added;
    }
    return m;
}

inline CsrMatrix ReadMatrixMarketFile(const std::string& path, MatrixMarketInfo* info = nullptr)
{
    std::ifstream in(path);
    if (!in) throw MatrixMarketError(path + ": cannot open file");
    return ReadMatrixMarket(in, path, info);
}

}  // namespace rvzmodel
