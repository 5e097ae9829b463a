#pragma once

#include <string>

namespace Rvl {

/// A CSV field: in quotation marks if it has to be, and behind an apostrophe if it would be a formula to a
/// spreadsheet.
std::string csvField(const std::string& text);

} // namespace Rvl
