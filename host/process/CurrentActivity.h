#pragma once

#include <atomic>
#include <string>

namespace Rvl {

/// Tells other threads while it lives what this one is at: the name, which must outlive it, is at `place`.
class CCurrentActivity
{
public:
    CCurrentActivity(std::atomic<const std::string*>& place, const std::string& name) : place_(place)
    {
        place_ = &name;
    }
    ~CCurrentActivity() { place_ = nullptr; }
    CCurrentActivity(const CCurrentActivity&) = delete;
    CCurrentActivity& operator=(const CCurrentActivity&) = delete;

private:
    std::atomic<const std::string*>& place_;
};

} // namespace Rvl
