// A reader of Matrix Market files (coordinate, real, general or symmetric)
// into CSR storage with the diagonal first in every row, as the library's
// solvers expect. Every problem is reported with its line number.
#pragma once

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "model_problems.h"
#include "solve_checks.h"

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

inline std::vector<std::string> Tokens(const std::string& line)
{
    std::istringstream in(line);
    std::vector<std::string> tokens;
    for (std::string t; in >> t;) tokens.push_back(t);
    return tokens;
}

// A whole token as an integer; false for anything else (also "1.0").
inline bool ToInteger(const std::string& token, long long& value)
{
    char* end = nullptr;
    errno = 0;
    value = std::strtoll(token.c_str(), &end, 10);
    return end != token.c_str() && *end == '\0' && errno == 0;
}

// A whole token as a finite number.
inline bool ToFinite(const std::string& token, double& value)
{
    char* end = nullptr;
    value = std::strtod(token.c_str(), &end);  // an underflow to a subnormal number or zero is kept
    return end != token.c_str() && *end == '\0' && std::isfinite(value);
}

struct Triplet {
    int row, column;
    double value;
};

}  // namespace detail

// Reads the matrix. Refused with MatrixMarketError naming the line: a bad
// header or size line, a negative, non-square or 32-bit-overflowing size, a
// size whose matrix would not fit the machine's memory (checked before
// anything is allocated), a malformed or non-finite entry, a fractional
// value in a file of field 'integer', an index out of range, an entry above
// the diagonal of a symmetric file, fewer entries than declared and
// entries beyond the declared count.
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
    const bool integerField = detail::Lower(field) == "integer";
    if (detail::Lower(field) != "real" && !integerField)
        throw fail("field '" + field + "' is not supported (only 'real' or 'integer')");
    const std::string sym = detail::Lower(symmetry);
    if (sym != "general" && sym != "symmetric")
        throw fail("symmetry '" + symmetry + "' is not supported (only 'general' or 'symmetric')");
    const bool symmetric = sym == "symmetric";

    // Size line, after comments and blank lines.
    long long rows = 0, cols = 0, entries = 0;
    bool sawSize = false;
    while (std::getline(in, line)) {
        ++lineNumber;
        if (line.empty() || line[0] == '%' || detail::Blank(line)) continue;
        const std::vector<std::string> t = detail::Tokens(line);
        if (t.size() != 3 || !detail::ToInteger(t[0], rows) || !detail::ToInteger(t[1], cols) ||
            !detail::ToInteger(t[2], entries))
            throw fail("malformed size line (expected: rows columns entries, three integers)");
        sawSize = true;
        break;
    }
    if (!sawSize) throw fail("truncated file: no size line");
    if (rows < 1 || cols < 1 || entries < 0)
        throw fail("size line " + std::to_string(rows) + " " + std::to_string(cols) + " " + std::to_string(entries) +
                   ": rows and columns must be positive and the entry count not negative");
    if (rows != cols)
        throw fail("matrix is not square (" + std::to_string(rows) + " x " + std::to_string(cols) + ")");
    // Stored entries: every entry (twice off the diagonal when symmetric)
    // plus an explicit diagonal in rows without one.
    const long long stored = (symmetric ? 2 : 1) * entries + rows;
    if (rows > INT_MAX - 256 || stored > INT_MAX)
        throw fail("size line " + std::to_string(rows) + " rows, " + std::to_string(entries) +
                   " entries: more than the 32-bit indices of the solvers hold (" + std::to_string(INT_MAX) + ")");
    // Reading holds the entries (16 bytes each) and a count a row; the
    // result 12 bytes an entry and 4 a row.
    const double bytes = 16.0 * static_cast<double>((symmetric ? 2 : 1) * entries) + 8.0 * static_cast<double>(rows) +
                         12.0 * static_cast<double>(stored);
    const double have = static_cast<double>(PhysicalMemory());
    if (have > 0.0 && bytes > have)
        throw fail("size line " + std::to_string(rows) + " rows, " + std::to_string(entries) +
                   " entries: reading the matrix needs about " + GiB(bytes) + " of memory; this machine has " +
                   GiB(have));

    const int n = static_cast<int>(rows);
    std::vector<detail::Triplet> triplets;
    triplets.reserve(static_cast<size_t>((symmetric ? 2 : 1) * entries));
    long long read = 0;
    while (std::getline(in, line)) {
        ++lineNumber;
        if (line.empty() || line[0] == '%' || detail::Blank(line)) continue;
        if (read == entries)
            throw fail("entry beyond the " + std::to_string(entries) + " entries declared in the size line");
        const std::vector<std::string> t = detail::Tokens(line);
        long long i = 0, j = 0, whole = 0;
        double v = 0.0;
        if (t.size() != 3 || !detail::ToInteger(t[0], i) || !detail::ToInteger(t[1], j))
            throw fail("malformed entry (expected: row column value)");
        if (integerField) {
            if (!detail::ToInteger(t[2], whole))
                throw fail("value '" + t[2] + "' is not an integer, as the header's field 'integer' requires");
            v = static_cast<double>(whole);
        } else if (!detail::ToFinite(t[2], v)) {
            throw fail("value '" + t[2] + "' is not a finite number");
        }
        if (i < 1 || i > n || j < 1 || j > n)
            throw fail("index (" + std::to_string(i) + ", " + std::to_string(j) + ") outside 1.." + std::to_string(n));
        if (symmetric && j > i) throw fail("entry above the diagonal in a symmetric file");
        triplets.push_back({static_cast<int>(i - 1), static_cast<int>(j - 1), v});
        if (symmetric && i != j) triplets.push_back({static_cast<int>(j - 1), static_cast<int>(i - 1), v});
        ++read;
    }
    if (read < entries)
        throw fail("truncated file: the file ends after " + std::to_string(read) + " of " + std::to_string(entries) + " entries");

    // Rows in order, columns ascending within a row, duplicates summed;
    // then the diagonal moved to the front of its row.
    std::sort(triplets.begin(), triplets.end(), [](const detail::Triplet& a, const detail::Triplet& b) {
        return a.row != b.row ? a.row < b.row : a.column < b.column;
    });
    CsrMatrix m;
    m.n = n;
    m.ia.reserve(static_cast<size_t>(n) + 1);
    m.ia.push_back(0);
    int added = 0;
    size_t k = 0;
    for (int i = 0; i < n; ++i) {
        const size_t rowStart = m.ja.size();
        m.ja.push_back(i);
        m.aa.push_back(0.0);
        bool diagonal = false;
        for (; k < triplets.size() && triplets[k].row == i; ++k) {
            const detail::Triplet& e = triplets[k];
            if (e.column == i) {
                m.aa[rowStart] += e.value;
                diagonal = true;
            } else if (m.ja.size() > rowStart + 1 && m.ja.back() == e.column) {
                m.aa.back() += e.value;
            } else {
                m.ja.push_back(e.column);
                m.aa.push_back(e.value);
            }
        }
        if (!diagonal) ++added;
        m.ia.push_back(static_cast<int>(m.ja.size()));
    }
    if (info != nullptr) {
        info->symmetric = symmetric;
        info->entriesRead = static_cast<int>(read);
        info->diagonalsAdded = added;
    }
    return m;
}

inline CsrMatrix ReadMatrixMarketFile(const std::string& path, MatrixMarketInfo* info = nullptr)
{
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) throw MatrixMarketError(path + ": is a directory, not a matrix file");
    std::ifstream in(path);
    if (!in) throw MatrixMarketError(path + ": cannot open file: " + std::strerror(errno));
    CsrMatrix m = ReadMatrixMarket(in, path, info);
    if (in.bad()) throw MatrixMarketError(path + ": reading the file failed");
    return m;
}

}  // namespace rvzmodel
