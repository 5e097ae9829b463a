#pragma once

#include <boost/optional/optional.hpp>
#include <boost/property_tree/ptree.hpp>

#include <locale>
#include <memory>
#include <string>

namespace Rvl {

// Values of a configuration tree. They are read as ptree itself reads them, with the same exceptions, but
// with a decimal point and without separators of thousands whatever locale a program or a plug-in has set:
// with that of another country "40.250" would be 40250.

namespace Private {

template <class Value>
using TreeTranslator =
    boost::property_tree::stream_translator<char, std::char_traits<char>, std::allocator<char>, Value>;

template <class Value> TreeTranslator<Value> treeTranslator()
{
    return TreeTranslator<Value>(std::locale::classic());
}

} // namespace Private

/// The value at `path`. Throws ptree_bad_path if there is none, ptree_bad_data if it is not of this type.
template <class Value> Value treeValue(const boost::property_tree::ptree& tree, const std::string& path)
{
    return tree.get<Value>(path, Private::treeTranslator<Value>());
}

/// The value at `path`; `otherwise` if there is none, or none of this type.
template <class Value>
Value treeValue(const boost::property_tree::ptree& tree, const std::string& path, Value otherwise)
{
    return tree.get<Value>(path, otherwise, Private::treeTranslator<Value>());
}

/// The value at `path`; nothing if there is none, or none of this type.
template <class Value>
boost::optional<Value> optionalTreeValue(const boost::property_tree::ptree& tree, const std::string& path)
{
    return tree.get_optional<Value>(path, Private::treeTranslator<Value>());
}

/// The value at `path`; `absent` only if there is none, so that what cannot be read does not silently become
/// a default. Throws ptree_bad_data if it is not of this type.
template <class Value>
Value treeValueIfThere(const boost::property_tree::ptree& tree, const std::string& path, Value absent)
{
    return tree.get_child_optional(path) ? treeValue<Value>(tree, path) : absent;
}

} // namespace Rvl
