#include "host/configuration/Fault.h"

#include <algorithm>

namespace Rvl {

void CFaultList::add(SFault fault)
{
    const auto after =
        std::upper_bound(faults_.begin(), faults_.end(), fault.offset,
                         [](std::size_t offset, const SFault& other) { return offset < other.offset; });
    faults_.insert(after, std::move(fault));
}

bool CFaultList::empty() const
{
    return faults_.empty();
}

std::size_t CFaultList::size() const
{
    return faults_.size();
}

bool CFaultList::concerns(const std::string& elementPath) const
{
    return std::any_of(faults_.begin(), faults_.end(), [&](const SFault& fault) {
        if (fault.path.compare(0, elementPath.size(), elementPath) != 0) {
            return false;
        }
        const std::string rest = fault.path.substr(elementPath.size());
        return rest.empty() || rest.front() == '/' || rest.compare(0, 2, "[@") == 0;
    });
}

bool CFaultList::hasRuntimeFault() const
{
    return std::any_of(faults_.begin(), faults_.end(), [](const SFault& fault) { return fault.runtime; });
}

const std::vector<SFault>& CFaultList::inFileOrder() const
{
    return faults_;
}

std::string CFaultList::report(const std::string& fileName) const
{
    std::string result;
    for (const SFault& fault : faults_) {
        result += fileName + ":" + std::to_string(fault.line) + ": " + fault.path + ": " + fault.text + "\n";
    }
    return result;
}

} // namespace Rvl
