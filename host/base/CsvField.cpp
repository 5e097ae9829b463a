#include "host/base/CsvField.h"

namespace Rvl {

std::string csvField(const std::string& text)
{
    const bool isFormula = !text.empty() && std::string("=+-@").find(text.front()) != std::string::npos;
    if (text.find_first_of(",\"\r\n") == std::string::npos) {
        return isFormula ? "'" + text : text;
    }
    std::string quoted = isFormula ? "\"'" : "\"";
    for (const char c : text) {
        quoted += c;
        if (c == '"') {
            quoted += '"';
        }
    }
    return quoted + "\"";
}

} // namespace Rvl
