#include "host/configuration/Fault.h"

#include "host/base/ControlCharacters.h"

#include <algorithm>
#include <array>
#include <utility>

namespace Rvl {

void CFaultList::add(SFault fault)
{
    if (fault.grade == SFault::Warning) {
        ++warnings_;
    } else {
        faultyPaths_.insert(fault.path);
    }
    sorted_ = sorted_ && (entries_.empty() || entries_.back().offset <= fault.offset);
    entries_.push_back(std::move(fault));
}

bool CFaultList::empty() const
{
    return size() == 0;
}

std::size_t CFaultList::size() const
{
    return entries_.size() - warnings_;
}

std::size_t CFaultList::warnings() const
{
    return warnings_;
}

bool CFaultList::refuses(bool strict) const
{
    return !empty() || (strict && warnings_ > 0);
}

bool CFaultList::concerns(const std::string& elementPath) const
{
    const auto anyBeginsWith = [this](const std::string& start) {
        const auto place = faultyPaths_.lower_bound(start);
        return place != faultyPaths_.end() && place->compare(0, start.size(), start) == 0;
    };
    return faultyPaths_.count(elementPath) > 0 || anyBeginsWith(elementPath + "/") ||
           anyBeginsWith(elementPath + "[@");
}

bool CFaultList::isShort() const
{
    return entries_.size() < 2 * Shown;
}

const std::vector<SFault>& CFaultList::inFileOrder() const
{
    if (!sorted_) {
        std::stable_sort(entries_.begin(), entries_.end(),
                         [](const SFault& left, const SFault& right) { return left.offset < right.offset; });
        sorted_ = true;
    }
    return entries_;
}

std::string CFaultList::report(const std::string& fileName, bool strict) const
{
    const std::string file = escapeControlCharacters(fileName);
    std::string result;
    std::array<std::size_t, 2> counts{};
    for (const SFault& fault : inFileOrder()) {
        const bool warning = fault.grade == SFault::Warning && !strict;
        if (++counts[warning ? 1 : 0] <= Shown) {
            result += file + ":" + std::to_string(fault.line) + ": " + (warning ? "warning: " : "") +
                      escapeControlCharacters(fault.path + ": " + fault.text) + "\n";
        }
    }
    for (const bool warning : {false, true}) {
        const std::size_t count = counts[warning ? 1 : 0];
        if (count > Shown) {
            const std::size_t others = count - Shown;
            result += file + ": and " + std::to_string(others) +
                      (warning ? " other warning" : " other fault") + (others == 1 ? "\n" : "s\n");
        }
    }
    return result;
}

} // namespace Rvl
