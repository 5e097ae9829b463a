#include "host/Configuration.h"

#include "host/HostException.h"
#include "host/NumberText.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <functional>
#include <iterator>
#include <system_error>

namespace Rvl {

namespace {

/// As Boost's parser does it: single spaces, none at either end.
std::string normalised(std::string_view text)
{
    std::string result;
    for (const char c : withoutOuterBlanks(text)) {
        const bool blank = c == ' ' || c == '\t' || c == '\r' || c == '\n';
        if (!blank) {
            result += c;
        } else if (result.back() != ' ') {
            result += ' ';
        }
    }
    return result;
}

/// Fills a tree in its place: one that is put into another is copied, with everything below it.
void fill(boost::property_tree::ptree& tree, const pugi::xml_node& node)
{
    using boost::property_tree::ptree;
    if (node.first_attribute()) {
        ptree& attributes = tree.push_back({"<xmlattr>", ptree()})->second;
        for (const pugi::xml_attribute& attribute : node.attributes()) {
            attributes.push_back({attribute.name(), ptree(attribute.value())});
        }
    }
    for (const pugi::xml_node& child : node.children()) {
        if (child.type() == pugi::node_element) {
            fill(tree.push_back({child.name(), ptree()})->second, child);
        }
    }
    tree.data() = CConfiguration::text(node);
}

} // namespace

CConfiguration CConfiguration::load(const std::filesystem::path& path)
{
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    std::string text;
    if (file && !std::filesystem::is_directory(path)) {
        text.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    } else {
        file.setstate(std::ios::failbit);
    }
    if (!file) {
        const std::string reason = std::filesystem::is_directory(path)
                                       ? "Is a directory"
                                       : std::generic_category().message(errno ? errno : EIO);
        throw CHostException(ExitFailure, "cannot read " + path.string() + ": " + reason);
    }
    CConfiguration result;
    result.name_ = path.string();
    result.folder_ = path.parent_path();
    result.parseBuffer(text);
    return result;
}

CConfiguration CConfiguration::parse(const std::string& text, const std::string& name)
{
    CConfiguration result;
    result.name_ = name;
    result.parseBuffer(text);
    return result;
}

void CConfiguration::parseBuffer(const std::string& text)
{
    lineStarts_.push_back(0);
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\n') {
            lineStarts_.push_back(i + 1);
        }
    }
    buffer_ = std::make_unique<std::string>(text);
    document_ = std::make_unique<pugi::xml_document>();
    const auto result = document_->load_buffer_inplace(buffer_->data(), buffer_->size(),
                                                       pugi::parse_cdata | pugi::parse_escapes);
    const auto complain = [this](std::size_t place, const std::string& what) {
        throw CHostException(ExitBadData, name_ + ":" + std::to_string(lineOfOffset(place)) +
                                              ": /: not well-formed: " + what + "; expected an XML document");
    };
    if (!result) {
        complain(static_cast<std::size_t>(std::max<std::ptrdiff_t>(result.offset, 0)), result.description());
    }
    for (const pugi::xml_node& node : document_->children()) {
        if (node.type() == pugi::node_element && node != root()) {
            complain(offset(node), "a second root element");
        }
    }
}

pugi::xml_node CConfiguration::root() const
{
    return document_->document_element();
}

std::size_t CConfiguration::offset(const pugi::xml_node& node) const
{
    return static_cast<std::size_t>(std::max<std::ptrdiff_t>(node.offset_debug(), 0));
}

std::size_t CConfiguration::offset(const pugi::xml_attribute& attribute, const pugi::xml_node& owner) const
{
    const char* const name = attribute.name();
    const char* const begin = buffer_->data();
    // in another encoding than UTF-8 the parser works on a converted copy of the buffer
    const std::less<const char*> before;
    const bool inBuffer = !before(name, begin) && before(name, begin + buffer_->size());
    return inBuffer ? static_cast<std::size_t>(name - begin) : offset(owner);
}

std::size_t CConfiguration::lineOfOffset(std::size_t offset) const
{
    return static_cast<std::size_t>(std::upper_bound(lineStarts_.begin(), lineStarts_.end(), offset) -
                                    lineStarts_.begin());
}

SFault CConfiguration::fault(const pugi::xml_node& node, const std::string& text) const
{
    const std::size_t place = offset(node);
    return {place, lineOfOffset(place), path(node), text, false};
}

SFault CConfiguration::fault(const pugi::xml_node& node, const pugi::xml_attribute& attribute,
                             const std::string& text) const
{
    const std::size_t place = offset(attribute, node);
    return {place, lineOfOffset(place), path(node) + "[@" + attribute.name() + "]", text, false};
}

std::size_t CConfiguration::line(const pugi::xml_node& node) const
{
    return lineOfOffset(offset(node));
}

std::string CConfiguration::path(const pugi::xml_node& node)
{
    if (node.type() != pugi::node_element) {
        return {};
    }
    std::size_t index = 1;
    std::size_t count = 0;
    for (const pugi::xml_node& sibling : node.parent().children(node.name())) {
        ++count;
        if (sibling == node) {
            index = count;
        }
    }
    return path(node.parent()) + "/" + node.name() + (count > 1 ? "[" + std::to_string(index) + "]" : "");
}

std::string CConfiguration::text(const pugi::xml_node& node)
{
    std::string result;
    for (const pugi::xml_node& piece : node.children()) {
        if (piece.type() == pugi::node_pcdata) {
            result += normalised(piece.value());
        } else if (piece.type() == pugi::node_cdata) {
            result += piece.value();
        }
    }
    return result;
}

boost::property_tree::ptree CConfiguration::tree(const pugi::xml_node& node)
{
    boost::property_tree::ptree result;
    fill(result, node);
    return result;
}

} // namespace Rvl
