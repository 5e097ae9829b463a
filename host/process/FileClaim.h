#pragma once

#include <filesystem>
#include <memory>

namespace Rvl {

/// Marks a regular file as being written by this object, for as long as the object lives. Advisory: it keeps
/// only other claims from being granted, of this process or another.
class CFileClaim
{
public:
    /// Creates the file if it does not exist.
    explicit CFileClaim(const std::filesystem::path& file);
    ~CFileClaim();
    CFileClaim(const CFileClaim&) = delete;
    CFileClaim& operator=(const CFileClaim&) = delete;

    /// False if another claim on the file is held. True as well where the file cannot be opened or its file
    /// system has no locks.
    bool isGranted() const;

private:
    struct Private;
    std::unique_ptr<Private> private_;
};

} // namespace Rvl
