#pragma once

#include <atomic>
#include <string>

namespace Rvl {

/// Tells other threads while it lives what this one is at: the name, which must outlive it, is at `place`.
class CBusyWith
{
public:
    CBusyWith(std::atomic<const std::string*>& place, const std::string& name) : place_(place)
    {
        place_ = &name;
    }
    ~CBusyWith() { place_ = nullptr; }
    CBusyWith(const CBusyWith&) = delete;
    CBusyWith& operator=(const CBusyWith&) = delete;

private:
    std::atomic<const std::string*>& place_;
};

} // namespace Rvl
