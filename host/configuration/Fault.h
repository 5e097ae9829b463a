#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Rvl {

/// One thing wrong with a configuration.
struct SFault
{
    std::size_t offset = 0; ///< where it stands in the file, in bytes from its start
    std::size_t line = 1;   ///< the same as a line number
    std::string path;       ///< the element's path, such as "/Configuration/Channels/Channel[2][@Name]"
    std::string text;       ///< what is wrong; what was expected
    bool runtime = false;   ///< no fault of the configuration: a plug-in that fails to load
};

/// Collects faults and reports them in file order.
class CFaultList
{
public:
    void add(SFault fault);

    bool empty() const;
    std::size_t size() const;
    /// Whether any fault is about the element of this path or about something in it.
    bool concerns(const std::string& elementPath) const;
    /// Whether any fault is a run-time fault.
    bool hasRuntimeFault() const;
    /// By their place in the file; faults of one place in the order in which they were found.
    const std::vector<SFault>& inFileOrder() const;
    /// One line per fault, "FILE:LINE: PATH: TEXT", in file order.
    std::string report(const std::string& fileName) const;

private:
    std::vector<SFault> faults_;
};

} // namespace Rvl
