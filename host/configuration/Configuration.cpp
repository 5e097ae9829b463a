#include "host/configuration/Configuration.h"

#include "common/Numbers.h"
#include "host/base/HostException.h"
#include "host/base/SystemText.h"
#include "host/configuration/TextEncoding.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <fstream>
#include <functional>
#include <iterator>
#include <string_view>
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

/// Deeper than any meaningful configuration, and far from exhausting the stack: objects are built
/// recursively.
constexpr std::size_t greatestDepth = 500;

bool isXmlCharacter(std::uint32_t code)
{
    return code == '\t' || code == '\n' || code == '\r' || (code >= 0x20 && code < 0xd800) ||
           (code >= 0xe000 && code <= 0x10ffff && code != 0xfffe && code != 0xffff);
}

/// The number of bytes of the character with which the text begins; 0 if that is none in UTF-8, or none that
/// XML allows.
std::size_t characterLength(std::string_view text)
{
    const auto lead = static_cast<unsigned char>(text.front());
    if (lead < 0x80) {
        return isXmlCharacter(lead) ? 1 : 0;
    }
    const std::size_t length = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : 2;
    if (lead < 0xc2 || lead > 0xf4 || text.size() < length) {
        return 0;
    }
    std::uint32_t code = lead & (0x7fU >> length);
    for (const char c : text.substr(1, length - 1)) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte & 0xc0) != 0x80) {
            return 0;
        }
        code = code << 6 | (byte & 0x3fU);
    }
    const bool shortest = length == 2 || code >= (length == 3 ? 0x800U : 0x10000U);
    return shortest && isXmlCharacter(code) ? length : 0;
}

/// Where the text has something other than characters that XML allows; its end if nowhere.
std::size_t firstForeignByte(std::string_view text)
{
    std::size_t place = 0;
    while (place < text.size()) {
        const std::size_t length = characterLength(text.substr(place));
        if (length == 0) {
            break;
        }
        place += length;
    }
    return place;
}

/// Whether the text, which begins after an ampersand, is a reference defined without a document type.
bool isReference(std::string_view text)
{
    const std::string_view name = text.substr(0, text.find(';'));
    if (name.size() == text.size()) {
        return false;
    }
    if (!name.starts_with('#')) {
        return name == "amp" || name == "lt" || name == "gt" || name == "quot" || name == "apos";
    }
    const bool hexadecimal = name.starts_with("#x");
    const char* const begin = name.data() + (hexadecimal ? 2 : 1);
    const char* const end = name.data() + name.size();
    std::uint32_t code = 0;
    const auto [stop, error] = std::from_chars(begin, end, code, hexadecimal ? 16 : 10);
    return error == std::errc() && stop == end && isXmlCharacter(code);
}

/// Fills a tree in place, as inserting a finished one would copy it with everything below it.
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
        throw CHostException(ExitFailure, "cannot read " + textOf(path) + ": " + reason);
    }
    CConfiguration result;
    result.name_ = textOf(path);
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

void CConfiguration::parseBuffer(std::string text)
{
    document_ = std::make_unique<pugi::xml_document>();
    const TextEncoding::eEncoding encoding = TextEncoding::of(text);
    if (encoding != TextEncoding::Utf8) {
        // the parser would work on a converted copy, in which the places of faults are no places of the file
        text = TextEncoding::inUtf8(text, encoding);
    }
    lineStarts_.push_back(0);
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\n' || (text[i] == '\r' && (i + 1 == text.size() || text[i + 1] != '\n'))) {
            lineStarts_.push_back(i + 1);
        }
    }
    const std::size_t length = text.size();
    // the parser drops the last character: with a line end there, none that stands behind the root is lost
    text += '\n';
    buffer_ = std::make_unique<std::string>(text);
    // The parser accepts some texts that are not XML. References are left unexpanded and text outside of the
    // root is kept, so that both can be checked.
    const auto result = document_->load_buffer_inplace(
        buffer_->data(), buffer_->size(), pugi::parse_cdata | pugi::parse_fragment, pugi::encoding_utf8);
    const std::size_t mark = text.starts_with("\xEF\xBB\xBF") ? 3 : 0;
    const std::size_t foreign = mark + firstForeignByte(std::string_view(text).substr(mark));
    if (foreign < text.size()) {
        refuse(foreign, encoding == TextEncoding::Utf8 ? "a byte that is no character of XML in UTF-8"
                                                       : "what is no character of XML");
    }
    if (!result) {
        const auto place = static_cast<std::size_t>(std::max<std::ptrdiff_t>(result.offset, 0));
        refuse(std::min(place, length), result.description());
    }
    if (!root()) {
        pugi::xml_parse_result empty;
        empty.status = pugi::status_no_document_element;
        refuse(0, empty.description());
    }
    if (checkNodes()) {
        buffer_->assign(text);
        document_->load_buffer_inplace(buffer_->data(), buffer_->size(),
                                       pugi::parse_cdata | pugi::parse_escapes, pugi::encoding_utf8);
    }
}

bool CConfiguration::checkNodes() const
{
    bool anyReference = false;
    const auto checkReferences = [&](std::string_view text, const pugi::xml_node& owner) {
        for (std::size_t i = text.find('&'); i != std::string_view::npos; i = text.find('&', i + 1)) {
            anyReference = true;
            if (!isReference(text.substr(i + 1))) {
                refuse(offset(text.data() + i, owner),
                       "\"&\" without one of the references of XML behind it");
            }
        }
    };
    std::size_t depth = 1;
    for (pugi::xml_node node = document_->first_child(); node;) {
        if (depth == 1 && node != root() && node.type() == pugi::node_element) {
            refuse(offset(node), "a second root element");
        }
        if (depth == 1 && node != root()) {
            refuse(offset(withoutOuterBlanks(node.value()).data(), node), "text outside of the root element");
        }
        if (depth > greatestDepth) {
            refuse(offset(node), "elements nested more than " + std::to_string(greatestDepth) + " deep");
        }
        if (node.type() == pugi::node_pcdata) {
            checkReferences(node.value(), node);
        }
        for (const pugi::xml_attribute& attribute : node.attributes()) {
            checkReferences(attribute.value(), node);
        }
        if (node.first_child()) {
            node = node.first_child();
            ++depth;
            continue;
        }
        while (!node.next_sibling() && depth > 1) {
            node = node.parent();
            --depth;
        }
        node = node.next_sibling();
    }
    return anyReference;
}

void CConfiguration::refuse(std::size_t place, const std::string& what) const
{
    throw CHostException(ExitBadData, name_ + ":" + std::to_string(lineOfOffset(place)) +
                                          ": /: not well-formed: " + what + "; expected an XML document");
}

pugi::xml_node CConfiguration::root() const
{
    return document_->document_element();
}

std::size_t CConfiguration::offset(const pugi::xml_node& node) const
{
    return static_cast<std::size_t>(std::max<std::ptrdiff_t>(node.offset_debug(), 0));
}

std::size_t CConfiguration::offset(const char* text, const pugi::xml_node& owner) const
{
    const char* const begin = buffer_->data();
    // the parser keeps empty names and values outside of the buffer
    const std::less<const char*> before;
    const bool inBuffer = !before(text, begin) && before(text, begin + buffer_->size());
    return inBuffer ? static_cast<std::size_t>(text - begin) : offset(owner);
}

std::size_t CConfiguration::lineOfOffset(std::size_t offset) const
{
    return static_cast<std::size_t>(std::upper_bound(lineStarts_.begin(), lineStarts_.end(), offset) -
                                    lineStarts_.begin());
}

SFault CConfiguration::fault(const pugi::xml_node& node, const std::string& text) const
{
    const std::size_t place = offset(node);
    return {place, lineOfOffset(place), path(node), text, SFault::Fault};
}

SFault CConfiguration::fault(const pugi::xml_node& node, const pugi::xml_attribute& attribute,
                             const std::string& text) const
{
    const std::size_t place = offset(attribute.name(), node);
    return {place, lineOfOffset(place), path(node) + "[@" + attribute.name() + "]", text, SFault::Fault};
}

std::size_t CConfiguration::line(const pugi::xml_node& node) const
{
    return lineOfOffset(offset(node));
}

const std::string& CConfiguration::index(const pugi::xml_node& node) const
{
    const auto known = indices_.find(node.hash_value());
    if (known != indices_.end()) {
        return known->second;
    }
    // for all siblings at once: one by one takes a time that grows with the square of their number
    std::unordered_map<std::string_view, std::size_t> counts;
    for (const pugi::xml_node& sibling : node.parent().children()) {
        ++counts[sibling.name()];
    }
    std::unordered_map<std::string_view, std::size_t> positions;
    for (const pugi::xml_node& sibling : node.parent().children()) {
        const std::size_t position = ++positions[sibling.name()];
        indices_[sibling.hash_value()] =
            counts[sibling.name()] > 1 ? "[" + std::to_string(position) + "]" : std::string();
    }
    return indices_.at(node.hash_value());
}

std::string CConfiguration::path(const pugi::xml_node& node) const
{
    if (node.type() != pugi::node_element) {
        return {};
    }
    return path(node.parent()) + "/" + node.name() + index(node);
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
