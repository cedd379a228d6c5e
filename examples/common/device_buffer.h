// Device arrays owned by the example host solver, and the check of a
// facade call's status.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "CRVZGPUtool.h"

namespace channel {

// A device array owned by the solver; transfers that fail throw.
template <class T>
class Buf {
public:
    Buf(CRVZGPUtool& tool, int n) : tool_(tool), n_(n)
    {
        if (n > 0 && tool_.AllocateDeviceMemory(n, p_) != 0) throw std::runtime_error("device allocation failed");
    }
    Buf(CRVZGPUtool& tool, std::vector<T> values) : Buf(tool, static_cast<int>(values.size()))
    {
        Upload(values);
    }
    ~Buf()
    {
        if (p_ != nullptr) tool_.FreeDeviceMemory(p_);
    }
    Buf(const Buf&) = delete;
    Buf& operator=(const Buf&) = delete;
    operator T*() const { return p_; }  // NOLINT: handed straight to the facade
    int size() const { return n_; }
    void Upload(std::vector<T> values) { Check(tool_.DataCopyHost2Device(static_cast<int>(values.size()), values.data(), p_)); }
    std::vector<T> Download(int n = -1) const
    {
        std::vector<T> v(n < 0 ? n_ : n);
        Check(tool_.DataCopyDevice2Host(static_cast<int>(v.size()), v.data(), p_));
        return v;
    }
    void Zero() { Check(tool_.ZeroDeviceMemory(n_, p_)); }

private:
    static void Check(int status)
    {
        if (status != 0) throw std::runtime_error("device transfer failed");
    }
    CRVZGPUtool& tool_;
    int n_ = 0;
    T* p_ = nullptr;
};

// Status of a facade call: a failure ends the run.
inline void Ok(int status, const char* step)
{
    if (status != 0) throw std::runtime_error(std::string(step) + " returned " + std::to_string(status));
}

}  // namespace channel
