// Entry point of the example host solvers' test programs (see
// example_test_tool.h).
#include <gtest/gtest.h>

#include <cstdio>

#include "example_test_tool.h"

namespace {
CRVZGPUtool* gTool = nullptr;
}

CRVZGPUtool& Tool() { return *gTool; }

int main(int argc, char** argv)
{
    gTool = new CRVZGPUtool();
    if (gTool->SetDeviceToUse(0) != 0) {
        std::printf("no usable device: skipping\n");
        return 77;
    }
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
