#include <CRVZGPUtool.h>

#include <cstdio>

int main()
{
    CRVZGPUtool tool;
    int total = 0, nLevels = 0, count[16], size[16], offset[16];
    if (tool.GetSizeOfBlock(1000, total, nLevels, count, size, offset) != 0 || nLevels != 3 || total != 512) return 1;
    std::printf("consumer: %s\n", tool.GetGPUErrorMessage(-2));
    return 0;
}
