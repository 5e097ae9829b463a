#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <vector>

namespace Rvl {

/// One thing wrong with a configuration.
struct SFault
{
    enum eGrade
    {
        Fault,  ///< the configuration is not run
        Warning ///< defined, but hardly meant: reported, and run all the same
    };

    std::size_t offset = 0; ///< where it stands in the file, in bytes from its start
    std::size_t line = 1;   ///< the same as a line number
    std::string path;       ///< the element's path, such as "/Configuration/Channels/Channel[2][@Name]"
    std::string text;       ///< what is wrong; what was expected
    eGrade grade = Fault;
};

/// Collects faults and warnings and reports them in file order.
class CFaultList
{
public:
    /// The number of faults, and of warnings, that a report shows.
    static constexpr std::size_t Shown = 100;

    void add(SFault fault);

    /// Whether there is no fault; warnings do not count.
    bool empty() const;
    /// The number of faults, without warnings.
    std::size_t size() const;
    /// The number of warnings.
    std::size_t warnings() const;
    /// Whether the configuration must not be run: for a fault, and if `strict` for a warning.
    bool refuses(bool strict) const;
    /// Whether any fault is about the element of this path or about something in it.
    bool concerns(const std::string& elementPath) const;
    /// Whether reports are likely to show a fault that is added now: past this, texts need no suggestions,
    /// which take the longest to find.
    bool isShort() const;
    /// Faults and warnings by their place in the file; those of one place in the order in which they were
    /// found.
    const std::vector<SFault>& inFileOrder() const;
    /// One line per fault, "FILE:LINE: PATH: TEXT", and per warning, "FILE:LINE: warning: PATH: TEXT", in
    /// file order. Ends after `Shown` of each with the number of the others. If `strict`, warnings are
    /// reported as faults.
    std::string report(const std::string& fileName, bool strict = false) const;

private:
    mutable std::vector<SFault> entries_;
    mutable bool sorted_ = true;
    std::size_t warnings_ = 0;
    std::set<std::string> faultyPaths_;
};

} // namespace Rvl
