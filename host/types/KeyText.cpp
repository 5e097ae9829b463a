#include "host/types/KeyText.h"

#include "host/base/NumberText.h"
#include "host/base/Suggestion.h"

#include <cstdint>

namespace Rvl {

std::string keyRange(const SKeyDescription& key)
{
    if (key.type == SKeyDescription::Choice) {
        return enumeration(key.choices);
    }
    if (key.type == SKeyDescription::Element || key.type == SKeyDescription::Object) {
        return enumeration(key.kinds);
    }
    if (key.type == SKeyDescription::Reference) {
        return key.nameServer;
    }
    std::string range;
    if (key.minimum) {
        range = (key.exclusiveMinimum ? "> " : ">= ") + keyLimit(key, *key.minimum);
    }
    if (key.maximum) {
        range += (range.empty() ? "<= " : ", <= ") + keyLimit(key, *key.maximum);
    }
    return range;
}

std::string keyDefault(const SKeyDescription& key)
{
    if (key.unlimited) {
        return "unlimited";
    }
    return key.defaultText && key.defaultText->empty() ? "\"\"" : key.defaultText.value_or("");
}

std::string keyRequired(const SKeyDescription& key)
{
    return key.requiredUnless.empty() ? (key.required ? "yes" : "no") : "unless " + key.requiredUnless;
}

std::string keyLimit(const SKeyDescription& key, double limit)
{
    return key.type == SKeyDescription::Integer ? std::to_string(static_cast<std::int64_t>(limit))
                                                : exactText(limit);
}

bool isValue(const SKeyDescription& key)
{
    return key.type != SKeyDescription::Section && key.type != SKeyDescription::Element &&
           key.type != SKeyDescription::Object;
}

} // namespace Rvl
