#pragma once

#include "host/configuration/Fault.h"

#include <boost/property_tree/ptree.hpp>
#include <pugixml.hpp>

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace Rvl {

/// A configuration file: its elements, where they stand in it, and the property trees that factories read.
class CConfiguration
{
public:
    /// Reads a file. Its name in reports is the path as given here.
    /// Throws CHostException: ExitFailure if it cannot be read, ExitBadData if it is not well-formed XML.
    static CConfiguration load(const std::filesystem::path& path);
    /// The same from a text, called `name` in reports.
    static CConfiguration parse(const std::string& text, const std::string& name);

    const std::string& name() const { return name_; }
    /// The folder in which relative paths of the configuration start.
    const std::filesystem::path& folder() const { return folder_; }
    pugi::xml_node root() const;

    /// A fault about an element, or about an attribute of it.
    SFault fault(const pugi::xml_node& node, const std::string& text) const;
    SFault fault(const pugi::xml_node& node, const pugi::xml_attribute& attribute,
                 const std::string& text) const;
    std::size_t line(const pugi::xml_node& node) const;
    /// Where it stands, in bytes from the text's start.
    std::size_t offset(const pugi::xml_node& node) const;

    /// The element's path from the root, with an index, counted from 1, where siblings share its name.
    std::string path(const pugi::xml_node& node) const;
    /// The element's own text: its pieces trimmed, blanks within reduced to single spaces, and joined.
    static std::string text(const pugi::xml_node& node);
    /// The element's content in the shape that boost::property_tree::read_xml with trim_whitespace and
    /// no_comments gives it: attributes under "<xmlattr>", then child elements, text as the data.
    static boost::property_tree::ptree tree(const pugi::xml_node& node);

private:
    CConfiguration() = default;
    void parseBuffer(std::string text);
    /// Reports errors that the parser accepts; returns whether any text contains a reference.
    bool checkNodes() const;
    [[noreturn]] void refuse(std::size_t place, const std::string& what) const;
    /// The position of a name or value of the document; that of its owner if it is unknown.
    std::size_t offset(const char* text, const pugi::xml_node& owner) const;
    std::size_t lineOfOffset(std::size_t offset) const;
    /// "[2]", or nothing for an element whose name no sibling shares.
    const std::string& index(const pugi::xml_node& node) const;

    std::string name_;
    std::filesystem::path folder_;
    /// The parser works in this buffer, so the addresses of names give their positions.
    std::unique_ptr<std::string> buffer_;
    std::vector<std::size_t> lineStarts_;
    std::unique_ptr<pugi::xml_document> document_;
    /// The indices of the elements that were asked for and of their siblings, by the node's hash.
    mutable std::unordered_map<std::size_t, std::string> indices_;
};

} // namespace Rvl
