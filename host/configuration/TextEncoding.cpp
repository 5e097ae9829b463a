#include "host/configuration/TextEncoding.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Rvl::TextEncoding {

namespace {

using namespace std::string_view_literals;

/// The encoding that the declaration of an XML text in single bytes names, in lower case; empty if none.
std::string declared(std::string_view text)
{
    if (!text.starts_with("<?xml")) {
        return {};
    }
    const std::string_view declaration = text.substr(0, text.find("?>"));
    const std::size_t key = declaration.find("encoding");
    const std::size_t open = declaration.find_first_of("\"'", key);
    if (key == std::string_view::npos || open == std::string_view::npos) {
        return {};
    }
    const std::size_t close = declaration.find(declaration[open], open + 1);
    if (close == std::string_view::npos) {
        return {};
    }
    std::string name(declaration.substr(open + 1, close - open - 1));
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return name;
}

void append(std::string& text, std::uint32_t code)
{
    if (code < 0x80) {
        text += static_cast<char>(code);
        return;
    }
    if (code > 0x10ffff) {
        code = 0xffff; // no character of XML either
    }
    const int following = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
    constexpr unsigned leads[] = {0, 0xc0, 0xe0, 0xf0};
    text += static_cast<char>(leads[following] | code >> (6 * following));
    for (int i = following - 1; i >= 0; --i) {
        text += static_cast<char>(0x80 | ((code >> (6 * i)) & 0x3f));
    }
}

/// The unit of `size` bytes at a place.
std::uint32_t unit(const std::string& text, std::size_t place, std::size_t size, bool bigEndian)
{
    std::uint32_t result = 0;
    for (std::size_t i = 0; i < size; ++i) {
        const auto byte = static_cast<unsigned char>(text[place + (bigEndian ? i : size - 1 - i)]);
        result = result << 8 | byte;
    }
    return result;
}

} // namespace

eEncoding of(const std::string& text)
{
    const std::string_view start = std::string_view(text).substr(0, 4);
    if (start == "\0\0\xfe\xff"sv || start == "\0\0\0<"sv) {
        return Utf32BigEndian;
    }
    if (start == "\xff\xfe\0\0"sv || start == "<\0\0\0"sv) {
        return Utf32LittleEndian;
    }
    if (start.starts_with("\xfe\xff"sv) || start.starts_with("\0<"sv)) {
        return Utf16BigEndian;
    }
    if (start.starts_with("\xff\xfe"sv) || start.starts_with("<\0"sv)) {
        return Utf16LittleEndian;
    }
    const std::string name = declared(text);
    return name == "iso-8859-1" || name == "latin1" ? Latin1 : Utf8;
}

std::string inUtf8(const std::string& text, eEncoding encoding)
{
    if (encoding == Utf8) {
        return text;
    }
    const bool wide = encoding == Utf32LittleEndian || encoding == Utf32BigEndian;
    const std::size_t size = wide ? 4 : encoding == Latin1 ? 1 : 2;
    const bool bigEndian = encoding == Utf16BigEndian || encoding == Utf32BigEndian;
    std::string result;
    result.reserve(text.size());
    for (std::size_t place = 0; place + size <= text.size(); place += size) {
        std::uint32_t code = unit(text, place, size, bigEndian);
        if (size == 2 && code >= 0xd800 && code < 0xdc00 && place + 4 <= text.size()) {
            const std::uint32_t low = unit(text, place + 2, size, bigEndian);
            if (low >= 0xdc00 && low < 0xe000) {
                code = 0x10000 + ((code - 0xd800) << 10) + (low - 0xdc00);
                place += 2;
            }
        }
        if (place == 0 && code == 0xfeff) {
            continue;
        }
        append(result, code);
    }
    return result;
}

} // namespace Rvl::TextEncoding
