// Level tables of multi-level reductions and the reductions a host-side
// caller can run directly. Plain C++: usable from files that hold no kernels.
#pragma once

#include "rvzgpu_config.h"

namespace rvz {

constexpr int kMaxLevels = 16;

// The level table of a reduction, as GetSizeOfBlock fills it.
struct LevelTable {
    int nLevels = 0;
    int total = 0;
    int count[kMaxLevels] = {};
    int size[kMaxLevels] = {};
    int offset[kMaxLevels] = {};
};

// A table the host solver passes in: nLevels, count, offset, total, size.
struct LevelView {
    int nLevels;
    const int* count;
    const int* offset;
    int total;
    const int* size;

    LevelView(int levels, const int* c, const int* o, int t, const int* s)
        : nLevels(levels), count(c), offset(o), total(t), size(s)
    {
    }
    LevelView(const LevelTable& table) // NOLINT: a table is always usable as a view
        : LevelView(table.nLevels, table.count, table.offset, table.total, table.size)
    {
    }
};

// Fills the level table for n elements; returns 0, or cudaErrorInvalidValue
// (and an empty table) when n < 1, for which the levels never reach one.
int BuildLevelTable(int n, int& total, int& nLevels, int count[kMaxLevels], int size[kMaxLevels],
                    int offset[kMaxLevels]);
LevelTable MakeLevelTable(int n);

// Offset of the final value: offset[nLevels-2], or -1 for a table with
// fewer than two levels.
inline int ResultOffset(const LevelView& table) { return table.nLevels >= 2 ? table.offset[table.nLevels - 2] : -1; }

// Blocks of the first level of a reduction driven by `table`: size[1], or 0
// for a table with fewer than two levels.
inline int FirstLevelBlocks(const LevelView& table) { return table.nLevels >= 2 ? table.size[1] : 0; }

// Dot product V1.V2 over n elements through Kernel_JCG_CalcV1dotV2 and the
// 256-input collecting kernel. `buffer` holds table.total doubles.
// Returns the status of the first-level launch.
int DotProduct(int n, const double* V1D, const double* V2D, double* buffer, const LevelView& table,
               double& result);

// How a reduction combines values.
enum class Combine { Sum, Max, Min };

// Reduces x[0 .. n) to one value: a first-level pass with one entry per
// thread (entries beyond n take no part), then collecting passes of
// `collectInputs` (256 or 512) entries per block. `buffer` holds table.total
// doubles. A failed first-level launch is reported as "Reduce failed".
// Returns the status of the first-level launch.
int Reduce(Combine op, int collectInputs, int n, const double* xD, double* buffer, const LevelView& table,
           double& result, int device = -1);

}  // namespace rvz
