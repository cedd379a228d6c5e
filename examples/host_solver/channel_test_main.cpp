// Entry point of the channel example's test programs: one tool for the whole
// program; without a usable device the program exits 77, which CTest reports
// as skipped.
#include <gtest/gtest.h>

#include <cstdio>

#include "channel_test_support.h"

namespace {
CRVZGPUtool* gTool = nullptr;
}  // namespace

CRVZGPUtool& channel_test::Tool() { return *gTool; }

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
