#pragma once

#include <string>

namespace Rvl::TextEncoding {

/// The encodings in which a configuration may stand.
enum eEncoding
{
    Utf8,
    Utf16LittleEndian,
    Utf16BigEndian,
    Utf32LittleEndian,
    Utf32BigEndian,
    Latin1
};

/// The encoding of an XML text: by its byte order mark, by the zero bytes around its first character, or,
/// among those that hold ASCII in single bytes, by its declaration.
eEncoding of(const std::string& text);

/// The same text in UTF-8, without its byte order mark. Half a surrogate pair becomes three bytes that are no
/// UTF-8, and so does a code above 0x10ffff; what is left of an incomplete unit at the end is dropped.
std::string inUtf8(const std::string& text, eEncoding encoding);

} // namespace Rvl::TextEncoding
