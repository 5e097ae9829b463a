#include "host/documents/JoinedKeys.h"

#include "host/types/KeyText.h"

#include <algorithm>
#include <set>

namespace Rvl {

ByName<JoinedKeys> attributesOf(const JoinedNodes& nodes)
{
    ByName<JoinedKeys> result;
    for (const SOwnedNode& node : nodes) {
        for (const auto& [name, key] : node.keys->attributes) {
            valueOf(result, name).push_back({node.type, key});
        }
    }
    return result;
}

ByName<JoinedNodes> childrenOf(const JoinedNodes& nodes)
{
    ByName<JoinedNodes> result;
    for (const SOwnedNode& node : nodes) {
        for (const auto& [name, child] : node.keys->children) {
            valueOf(result, name).push_back({node.type, child.get()});
        }
    }
    return result;
}

JoinedKeys keysOf(const JoinedNodes& nodes)
{
    JoinedKeys result;
    for (const SOwnedNode& node : nodes) {
        if (node.keys->key) {
            result.push_back({node.type, node.keys->key});
        }
    }
    return result;
}

bool isRequiredByAll(const JoinedKeys& keys, std::size_t owners)
{
    return keys.size() == owners && std::all_of(keys.begin(), keys.end(), [](const SOwnedKey& owned) {
               return owned.key->required && owned.key->requiredUnless.empty();
           });
}

bool isRepeated(const JoinedNodes& nodes)
{
    return std::any_of(nodes.begin(), nodes.end(),
                       [](const SOwnedNode& node) { return node.keys->key && node.keys->key->repeated; });
}

std::vector<std::string> kindsOf(const JoinedNodes& nodes)
{
    std::set<std::string> kinds;
    for (const SOwnedKey& owned : keysOf(nodes)) {
        kinds.insert(owned.key->kinds.begin(), owned.key->kinds.end());
    }
    return {kinds.begin(), kinds.end()};
}

SJoinedContent contentOf(const JoinedNodes& nodes)
{
    SJoinedContent content;
    for (const SOwnedNode& node : nodes) {
        const SKeyDescription* const key = node.keys->key;
        if (key && isValue(*key)) {
            content.values.push_back({node.type, key});
            if (!node.keys->attributes.empty() || !node.keys->children.empty()) {
                content.withValues.push_back(node);
            }
        } else if (key && key->type != SKeyDescription::Section) {
            content.typed.push_back(node);
        } else {
            content.sections.push_back(node);
        }
    }
    return content;
}

bool nameTypeInAttribute(const JoinedNodes& typed)
{
    return typed.front().keys->key->type == SKeyDescription::Object;
}

} // namespace Rvl
