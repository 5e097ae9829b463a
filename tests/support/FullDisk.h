#pragma once

#include <memory>
#include <string>

namespace Rvl::Test {

/// A file that can be opened and never takes what is written to it.
class CFullDisk
{
public:
    CFullDisk();
    ~CFullDisk();
    CFullDisk(const CFullDisk&) = delete;
    CFullDisk& operator=(const CFullDisk&) = delete;

    std::string path() const;

private:
    struct Private;
    std::unique_ptr<Private> private_;
};

} // namespace Rvl::Test
