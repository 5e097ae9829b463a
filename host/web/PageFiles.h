#pragma once

#include <string_view>
#include <vector>

namespace Rvl {

/// One file of the operator's page, which is part of the program.
struct SPageFile
{
    std::string_view name; ///< "index.html"
    std::string_view contentType;
    std::string_view content;
};

const std::vector<SPageFile>& pageFiles();

} // namespace Rvl
