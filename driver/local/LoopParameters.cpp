#include "driver/local/LoopParameters.h"

#include "common/LoggedThrow.h"
#include "driver/local/controller/common/ControlLoop.h"
#include "driver/local/controller/controlloop/ConditionalParameters.h"
#include "driver/local/controller/controlloop/PIDParameters.h"
#include "driver/local/controller/controlloop/TwoLevelParameters.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <set>
#include <stdexcept>
#include <string>

namespace Rvl {

namespace {

using Keys = std::vector<CControlParameters::SKey>;
using Values = std::vector<SLoopParameters::SValue>;

/// Calls `use` with the set as what it is; not at all for a set that is none of this plug-in's.
template <class Use> void withTypedSet(const CControlParameters& parameters, const Use& use)
{
    if (const auto* const pid = dynamic_cast<const CPIDParameters*>(&parameters)) {
        use(*pid);
    } else if (const auto* const twoLevel = dynamic_cast<const CTwoLevelParameters*>(&parameters)) {
        use(*twoLevel);
    } else if (const auto* const conditional = dynamic_cast<const CConditionalParameters*>(&parameters)) {
        use(*conditional);
    }
}

Keys keysOf(const CControlParameters& parameters)
{
    Keys keys;
    withTypedSet(parameters, [&](const auto& set) { keys = set.keys(); });
    return keys;
}

/// The entry of a key, or the end.
Keys::const_iterator find(const Keys& keys, const std::string& key)
{
    return std::find_if(keys.begin(), keys.end(), [&](const auto& entry) { return key == entry.name; });
}

void check(const CControlParameters& parameters, const Keys& keys, const Values& values)
{
    if (parameters.isImmutable()) {
        RVL_THROW(std::invalid_argument, "Parameter set " + parameters.name() + " is protected");
    }
    std::set<std::string> given;
    for (const SLoopParameters::SValue& value : values) {
        if (find(keys, value.key) == keys.end()) {
            RVL_THROW(std::invalid_argument, "The loop has no parameter " + value.key);
        }
        if (!given.insert(value.key).second) {
            RVL_THROW(std::invalid_argument, "Parameter " + value.key + " is given twice");
        }
        if (!std::isfinite(value.value)) {
            RVL_THROW(std::invalid_argument, "Parameter " + value.key + " must be a finite number");
        }
    }
}

} // namespace

SLoopParameters loopParameters(IControlLoop& loop)
{
    const CControlLoopElementGuard guard(&loop);
    const CControlParameters& parameters = loop.controlParameters();
    SLoopParameters result{parameters.name(), parameters.isImmutable(), {}};
    for (const CControlParameters::SKey& key : keysOf(parameters)) {
        result.values.push_back({key.name, parameters.data().at(static_cast<std::size_t>(key.index))});
    }
    return result;
}

void changeLoopParameters(IControlLoop& loop, const std::vector<SLoopParameters::SValue>& values)
{
    const CControlLoopElementGuard guard(&loop);
    const Keys keys = keysOf(loop.controlParameters());
    check(loop.controlParameters(), keys, values);
    if (values.empty()) {
        return;
    }
    withTypedSet(loop.controlParameters(), [&](const auto& set) {
        auto changed = set;
        for (const SLoopParameters::SValue& value : values) {
            changed.setValue(find(keys, value.key)->index, value.value);
        }
        loop.setParameters(changed);
    });
}

} // namespace Rvl
