#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace Rvl::Test {

/// A file that can be opened and does not take what is written to it.
class CFullDisk
{
public:
    CFullDisk();
#if defined(_WIN32)
    /// Takes so many bytes at first. Elsewhere the system's own limit on files does that.
    explicit CFullDisk(std::size_t takes);
    /// What it took.
    std::string content() const;
#endif
    ~CFullDisk();
    CFullDisk(const CFullDisk&) = delete;
    CFullDisk& operator=(const CFullDisk&) = delete;

    std::string path() const;

private:
    struct Private;
    std::unique_ptr<Private> private_;
};

} // namespace Rvl::Test
