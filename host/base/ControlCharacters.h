#pragma once

#include <string>
#include <string_view>

namespace Rvl {

/// Whether a text in UTF-8 has characters that act on a terminal or forge a line of a log: C0 (tabs and line
/// ends among them), DEL, C1, line and paragraph separators, and those that turn the direction of writing.
/// Bytes that are no UTF-8 count as such, as a terminal may take them for C1.
bool hasControlCharacters(std::string_view text);

/// The text with these characters made visible: "\n", "\r", "\t", "\x1b" for other single bytes, "\u0085" for
/// longer ones. What is escaped once is not changed by escaping it again.
std::string escapeControlCharacters(std::string text);

} // namespace Rvl
