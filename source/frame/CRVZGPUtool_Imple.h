// The implementation object behind the facade: device enumeration, the
// selected device and the text buffers. Every numeric operation lives in the
// implementation function of its family and reads nothing from here but the
// block size and the selected device, which the facade passes along.
#pragma once

#include <cstddef>
#include <vector>

class CRVZGPUtool_Imple {
public:
    static constexpr int kTextSize = 16384;
    static constexpr int kFormatSize = 8192;

    CRVZGPUtool_Imple();

    std::vector<std::vector<char>> DeviceInfoLong;
    std::vector<std::vector<char>> DeviceInfoShort;
    int DeviceCount = 0;
    int UsableDeviceCount = 0;
    char DeviceInfoLongFormat[kFormatSize];
    char DeviceInfoShortFormat[kFormatSize];
    int BlockSize = 256;
    int SelectedDevice = -1;
    std::vector<std::vector<char>> DeviceName;
    std::vector<size_t> DeviceGlobalMemory;
    std::vector<size_t> DeviceSharedMemPerBlock;
    std::vector<int> DeviceRegsPerBlock;
    std::vector<int> DeviceWarpSize;
    std::vector<int> DeviceMaxThreadsPerBlock;
    std::vector<size_t> DeviceConstMemory;
    std::vector<int> DeviceMajor;
    std::vector<int> DeviceMinor;
    char ErrorMessage[kFormatSize];
    int DeviceStatus = 0;
    std::vector<int> UsableDeviceList;
    int LastNNU = 0;

    int SetDeviceToUse(int device);
    const char* GetGPUErrorMessage(int code);

private:
    void DescribeDevice(int k, int ordinal, int driverVersion, int runtimeVersion);
};
