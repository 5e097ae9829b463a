#include "host/configuration/KeyCheck.h"

#include "common/Numbers.h"
#include "host/base/NumberText.h"
#include "host/base/Suggestion.h"
#include "host/configuration/FaultText.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace Rvl {

namespace {

std::string rangeText(const SKeyDescription& key)
{
    if (key.minimum && key.maximum) {
        return (key.exclusiveMinimum ? " above " + withUnit(exactText(*key.minimum), key.unit) + " up to "
                                     : " from " + withUnit(exactText(*key.minimum), key.unit) + " to ") +
               withUnit(exactText(*key.maximum), key.unit);
    }
    if (key.minimum) {
        return key.exclusiveMinimum ? " above " + withUnit(exactText(*key.minimum), key.unit)
                                    : " of " + withUnit(exactText(*key.minimum), key.unit) + " or more";
    }
    if (key.maximum) {
        return " of " + withUnit(exactText(*key.maximum), key.unit) + " or less";
    }
    return key.unit.empty() ? "" : " in " + key.unit;
}

/// The range with its excluded value.
std::string wholeRangeText(const SKeyDescription& key)
{
    return rangeText(key) + (key.excluded ? " other than " + exactText(*key.excluded) : "");
}

std::string objectOfServer(const std::string& nameServer)
{
    if (nameServer == "analogIn") {
        return "an analog input";
    }
    if (nameServer == "analogOut") {
        return "an analog output";
    }
    if (nameServer == "digitalOut") {
        return "a digital output";
    }
    if (nameServer == "digitalPort") {
        return "a digital port";
    }
    return "a " + nameServer;
}

std::string withExpectation(const SKeyDescription& key, const std::string& wrong)
{
    return wrong + "; expected " + expectation(key);
}

std::optional<std::string> checkRange(const SKeyDescription& key, const std::string& text, double value)
{
    if (key.minimum && !key.lenient &&
        (value < *key.minimum || (key.exclusiveMinimum && value == *key.minimum))) {
        return withExpectation(key, quoted(text) + (value < *key.minimum ? " is too low" : " is the limit"));
    }
    if (key.maximum && value > *key.maximum) {
        return withExpectation(key, quoted(text) + " is too high");
    }
    if (key.excluded && value == *key.excluded) {
        return withExpectation(key, quoted(text) + " is refused");
    }
    // what is next to 0 makes an infinite number of what is divided by it
    if (key.excluded && *key.excluded == 0 && std::fabs(value) < 1e-100) {
        return withExpectation(key, quoted(text) + " is too close to 0");
    }
    return std::nullopt;
}

bool isHexadecimal(std::string_view text)
{
    text = withoutOuterBlanks(text);
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.remove_prefix(2);
    }
    return !text.empty() && text.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos;
}

std::optional<std::string> checkInteger(const SKeyDescription& key, const std::string& text)
{
    const auto value = parseInteger(text);
    if (!value) {
        const auto real = parseReal(text);
        const char* const wrong = !real                        ? " is not a number"
                                  : std::trunc(*real) != *real ? " is not a whole number"
                                  : std::fabs(*real) < 9e15    ? " is not written as a whole number"
                                                               : " is too large";
        return withExpectation(key, quoted(text) + wrong);
    }
    if (auto fault = checkRange(key, text, static_cast<double>(*value))) {
        return fault;
    }
    // keys without limits of their own are read into an int
    constexpr auto lowest = std::numeric_limits<std::int32_t>::min();
    constexpr auto highest = std::numeric_limits<std::int32_t>::max();
    if ((!key.minimum && *value < lowest) || (!key.maximum && *value > highest)) {
        return quoted(text) + " is too large; expected a whole number from " + std::to_string(lowest) +
               " to " + std::to_string(highest);
    }
    return std::nullopt;
}

} // namespace

std::string expectation(const SKeyDescription& key)
{
    switch (key.type) {
    case SKeyDescription::Text:
        return "a text";
    case SKeyDescription::Boolean:
        return "true, false, 1 or 0";
    case SKeyDescription::Integer:
        return "a whole number" + wholeRangeText(key);
    case SKeyDescription::Real:
        return "a real number" + wholeRangeText(key);
    case SKeyDescription::Hexadecimal:
        return "a hexadecimal number of at most 32 bits, such as 0x0F";
    case SKeyDescription::Choice:
        return expectedChoices({}, key.choices);
    case SKeyDescription::Reference:
        return "the name of " + objectOfServer(key.nameServer);
    case SKeyDescription::Section:
        return "an element";
    case SKeyDescription::Element:
    case SKeyDescription::Object:
        return "an element of the kind " + enumeration(key.kinds);
    }
    return {};
}

std::optional<std::string> checkLenientMinimum(const SKeyDescription& key, const std::string& text)
{
    const auto value = parseReal(text);
    if (key.minimum && value && *value < *key.minimum) {
        return withExpectation(key, quoted(text) + " is too low");
    }
    return std::nullopt;
}

std::optional<std::string> checkValue(const SKeyDescription& key, const std::string& text)
{
    switch (key.type) {
    case SKeyDescription::Boolean: {
        const std::string_view word = withoutOuterBlanks(text);
        if (word != "true" && word != "false" && word != "1" && word != "0") {
            return withExpectation(key, quoted(text) + " is not a boolean");
        }
        return std::nullopt;
    }
    case SKeyDescription::Integer:
        return checkInteger(key, text);
    case SKeyDescription::Real: {
        const auto value = parseReal(text);
        if (!value) {
            return withExpectation(key, quoted(text) + " is not a number");
        }
        return checkRange(key, text, *value);
    }
    case SKeyDescription::Hexadecimal:
        if (!parseHexadecimal(text)) {
            return withExpectation(
                key, quoted(text) + (isHexadecimal(text) ? " is too large" : " is not a hexadecimal number"));
        }
        return std::nullopt;
    case SKeyDescription::Choice:
        if (std::find(key.choices.begin(), key.choices.end(), text) == key.choices.end()) {
            return quoted(text) + " is no choice; expected " + expectedChoices(text, key.choices);
        }
        return std::nullopt;
    case SKeyDescription::Reference:
        return text.empty() ? std::optional(withExpectation(key, "is empty")) : std::nullopt;
    case SKeyDescription::Text:
        return key.required && text.empty() ? std::optional(withExpectation(key, "is empty")) : std::nullopt;
    case SKeyDescription::Section:
    case SKeyDescription::Element:
    case SKeyDescription::Object:
        break;
    }
    return std::nullopt;
}

bool isNoLimit(const SKeyDescription& key, double value)
{
    return key.unlimited && key.defaultText && parseReal(*key.defaultText) == value;
}

} // namespace Rvl
