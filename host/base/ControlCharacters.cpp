#include "host/base/ControlCharacters.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace Rvl {

namespace {

/// The character at the beginning of a text.
struct SCharacter
{
    std::uint32_t code = 0;
    std::size_t length = 1; ///< in bytes
    bool isUtf8 = true;
};

SCharacter firstCharacter(std::string_view text)
{
    const auto lead = static_cast<unsigned char>(text.front());
    if (lead < 0x80) {
        return {lead, 1, true};
    }
    const SCharacter none{lead, 1, false};
    const std::size_t length = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : 2;
    if (lead < 0xc2 || lead > 0xf4 || text.size() < length) {
        return none;
    }
    std::uint32_t code = lead & (0x7fU >> length);
    for (const char c : text.substr(1, length - 1)) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte & 0xc0U) != 0x80U) {
            return none;
        }
        code = code << 6 | (byte & 0x3fU);
    }
    const bool shortest = length == 2 || code >= (length == 3 ? 0x800U : 0x10000U);
    const bool surrogate = code >= 0xd800 && code < 0xe000;
    return shortest && !surrogate && code <= 0x10ffff ? SCharacter{code, length, true} : none;
}

bool isControl(const SCharacter& character)
{
    const std::uint32_t code = character.code;
    return !character.isUtf8 || code < 0x20 || (code >= 0x7f && code < 0xa0) || code == 0x2028 ||
           code == 0x2029 || (code >= 0x202a && code <= 0x202e) || (code >= 0x2066 && code <= 0x2069);
}

std::string escaped(const SCharacter& character)
{
    switch (character.code) {
    case '\n':
        return "\\n";
    case '\r':
        return "\\r";
    case '\t':
        return "\\t";
    default:
        break;
    }
    char text[16];
    std::snprintf(text, sizeof text, character.length == 1 ? "\\x%02x" : "\\u%04x",
                  static_cast<unsigned int>(character.code));
    return text;
}

} // namespace

bool hasControlCharacters(std::string_view text)
{
    while (!text.empty()) {
        const SCharacter character = firstCharacter(text);
        if (isControl(character)) {
            return true;
        }
        text.remove_prefix(character.length);
    }
    return false;
}

std::string escapeControlCharacters(std::string text)
{
    if (!hasControlCharacters(text)) {
        return text;
    }
    std::string result;
    for (std::string_view rest = text; !rest.empty();) {
        const SCharacter character = firstCharacter(rest);
        result += isControl(character) ? escaped(character) : std::string(rest.substr(0, character.length));
        rest.remove_prefix(character.length);
    }
    return result;
}

} // namespace Rvl
