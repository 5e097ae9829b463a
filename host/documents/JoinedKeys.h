#pragma once

#include "host/types/TypeCatalogue.h"

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace Rvl {

// The keys of several types at one place of a configuration, joined: an XML Schema describes a place, not a
// type.

/// A node of a type's keys. What stands at one place of a configuration has one for each type in question.
struct SOwnedNode
{
    const STypeDescription* type; ///< null in the host's frame
    const SKeyNode* keys;
};
using JoinedNodes = std::vector<SOwnedNode>;

/// One type's description of a key.
struct SOwnedKey
{
    const STypeDescription* type;
    const SKeyDescription* key;
};
using JoinedKeys = std::vector<SOwnedKey>;

template <class Value> using ByName = std::vector<std::pair<std::string, Value>>;

template <class Value> Value& valueOf(ByName<Value>& list, const std::string& name)
{
    for (auto& [known, value] : list) {
        if (known == name) {
            return value;
        }
    }
    list.emplace_back(name, Value());
    return list.back().second;
}

/// The descriptions of one place, by the kind of content.
struct SJoinedContent
{
    JoinedKeys values;      ///< a text
    JoinedNodes sections;   ///< keys of its own
    JoinedNodes typed;      ///< the keys of the type that it names
    JoinedNodes withValues; ///< attributes of a text
};

/// The attributes that at least one of the nodes has, in the order of their first appearance.
ByName<JoinedKeys> attributesOf(const JoinedNodes& nodes);
/// The child elements that at least one of the nodes has, in the order of their first appearance.
ByName<JoinedNodes> childrenOf(const JoinedNodes& nodes);
/// The keys that describe the nodes themselves.
JoinedKeys keysOf(const JoinedNodes& nodes);
/// Whether all of `owners` types have the key, and each of them unconditionally requires it.
bool isRequiredByAll(const JoinedKeys& keys, std::size_t owners);
/// Whether one of the types allows the element more than once.
bool isRepeated(const JoinedNodes& nodes);
/// The kinds of objects that may stand there, in ascending order, each once.
std::vector<std::string> kindsOf(const JoinedNodes& nodes);
SJoinedContent contentOf(const JoinedNodes& nodes);
/// Whether an object there names its type in an attribute, rather than in a child element. Not without nodes.
bool nameTypeInAttribute(const JoinedNodes& typed);

} // namespace Rvl
