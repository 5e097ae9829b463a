#include "host/documents/ConfigurationManual.h"

#include "host/base/Suggestion.h"
#include "host/configuration/ConfigurationFrame.h"
#include "host/documents/ShortXml.h"
#include "host/types/KeyText.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace Rvl {

namespace {

struct SChapter
{
    const char* kind;
    const char* title;
    const char* introduction;
};

constexpr std::array<SChapter, 7> chapters{
    {{"bus", "Buses",
      "A `Bus` stands in `Buses` and names its type in an attribute. Plug-ins may bring buses along that no "
      "configuration lists."},
     {"device", "Devices", "A `Device` stands in `Devices` and names its type in an attribute."},
     {"channel", "Channels",
      "A `Channel` stands in `Channels` and names its type in an attribute. Channels may stand in any order, "
      "whichever refers to which."},
     {"controlLoop", "Control loops",
      "A control loop stands in a channel's `ControlLoop`, or in the `Output` of another loop, whose control "
      "value is then its set point. It names its type in the element `Type`."},
     {"loopIn", "Inputs of loops",
      "Where a loop reads its actual value. It names its type in the element `Type`."},
     {"loopOut", "Outputs of loops",
      "Where a loop writes its control value. It names its type in the element `Type`."},
     {"loopInOut", "Inputs and outputs in one",
      "Elements that may stand in `Input` as well as in `Output`; with `InputSameAsOutput` one element is "
      "both. "
      "They name their type in the element `Type`."}}};

constexpr const char* introduction =
    R"(# Configuration files

<!-- Written by "rivlink-host docs" from the type descriptions of the plug-ins. Change those, not this file. -->

A configuration is an XML file that says which plug-ins to load, which devices and channels there are, and how
channels that control are made of loops, inputs and outputs. `rivlink-host check FILE` reports everything that is wrong
with one, each fault with its line; `rivlink-host print FILE` writes out every default
but `unlimited`, for which the key is left out; `rivlink-host run FILE` runs it.

```xml
<?xml version="1.0" encoding="utf-8"?>
<Configuration>
  <Plugins>
    <Plugin Name="rivlink_local"/>
  </Plugins>
  <Devices>
    <!-- what is driven -->
  </Devices>
  <Channels>
    <!-- what is read, written and controlled -->
  </Channels>
</Configuration>
```

The order of elements and attributes is free. An element may stand once unless its table says otherwise. What no
table lists is a fault, so that a misspelt key is found instead of being ignored.

## How to read the tables

A key `A/B` is the element `B` in the element `A`, and `A/@B` is the attribute `B` of `A`; both start at the element
whose table it is.

| type | value |
|---|---|
| text | any text; not empty if the key is required |
| boolean | `true`, `false`, `1` or `0` |
| integer | a whole number of 32 bits, unless a range says otherwise |
| real | a number with a decimal point, such as `0.5` or `2e-3`, whatever the language of the system |
| hexadecimal | a hexadecimal number of 32 bits, such as `0x0F` |
| choice | one of the words under "range"; letter case counts |
| reference | the name of another object, of the sort given under "range" |
| section | an element that only holds the keys listed below it |
| element | an element that names its own type in its element `Type`; "range" gives the kinds it may be of |
| object | an element that names its own type in its attribute `Type`; "range" gives the kind it is of |

A required key in an optional section is required where the section stands. A key without a default that is not
required may be absent; its meaning gives the effect.

## Completion and marks in an editor

`rivlink-host schema > rivlink.xsd` writes an XML Schema of the plug-ins at hand. Editors find it by the attributes

```xml
<Configuration xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"
               xsi:noNamespaceSchemaLocation="rivlink.xsd">
```

which the host passes over. They then offer keys and type names with their meanings, and mark what is wrong as it is
typed; `xmllint --noout --schema rivlink.xsd FILE` does so on the command line. A schema cannot make the content of
an element depend on the type that it names: an element is offered the keys of every type that may stand there.
`rivlink-host check` checks by the named type, and whether the names of other objects exist.
)";

/// "PIDParam.<xmlattr>.Ti" as "PIDParam/@Ti".
std::string keyForReaders(std::string path)
{
    const std::string attribute = "<xmlattr>.";
    const auto place = path.find(attribute);
    if (place != std::string::npos) {
        path.erase(place, attribute.size() - 1);
        path[place] = '@';
    }
    std::replace(path.begin(), path.end(), '.', '/');
    return path;
}

/// Text as the cell of a table: nothing in it is taken for markup.
std::string cell(const std::string& text)
{
    std::string result;
    for (const char c : text) {
        if (c == '|' || c == '\\' || c == '*' || c == '_' || c == '`') {
            result += '\\';
        }
        result += c == '<' ? std::string("&lt;") : std::string(1, c);
    }
    return result;
}

std::string code(const std::string& text)
{
    return text.empty() ? "" : "`" + text + "`";
}

/// Words of the configuration as code, the rest as text.
std::string rangeCell(const SKeyDescription& key)
{
    if (key.minimum && key.maximum && !key.exclusiveMinimum) {
        return keyLimit(key, *key.minimum) + " to " + keyLimit(key, *key.maximum);
    }
    if (key.type != SKeyDescription::Choice) {
        return cell(keyRange(key));
    }
    std::vector<std::string> words;
    for (const std::string& choice : key.choices) {
        words.push_back(code(choice));
    }
    return enumeration(words);
}

std::string requiredCell(const SKeyDescription& key)
{
    return key.requiredUnless.empty() ? keyRequired(key)
                                      : "unless " + code(keyForReaders(key.requiredUnless));
}

std::string table(const std::vector<SKeyDescription>& keys)
{
    std::string text =
        "| key | type | unit | range | default | required | meaning |\n|---|---|---|---|---|---|---|\n";
    for (const SKeyDescription& key : keys) {
        text += "| " + code(keyForReaders(key.path)) + " | " + keyTypeName(key.type) +
                (key.repeated ? ", any number of times" : "") + " | " + cell(key.unit) + " | " +
                rangeCell(key) + " | " + code(keyDefault(key)) + " | " + requiredCell(key) + " | " +
                cell(key.meaning) + " |\n";
    }
    return text;
}

std::string table(const std::vector<SSignalDescription>& signals)
{
    std::string text = "| signal | kind | unit | meaning |\n|---|---|---|---|\n";
    for (const SSignalDescription& signal : signals) {
        text += "| " + code(signal.name) + " | " + signal.kind + " | " + cell(signal.unit) + " | " +
                cell(signal.meaning) + " |\n";
    }
    return text;
}

std::string sentence(std::string text)
{
    if (!text.empty()) {
        text.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(text.front())));
        text += '.';
    }
    return text;
}

} // namespace

std::string configurationManual(const CTypeCatalogue& catalogue)
{
    std::string text = introduction;
    text +=
        "\n## The frame\n\nThe root is `Configuration`. In it stand:\n\n" + table(configurationFrameKeys());
    for (const SChapter& chapter : chapters) {
        const std::vector<std::string> names = catalogue.namesOfKinds({chapter.kind});
        if (names.empty()) {
            continue;
        }
        text += std::string("\n## ") + chapter.title + "\n\n" + chapter.introduction + "\n";
        for (const std::string& name : names) {
            const STypeDescription& type = *catalogue.find(name);
            text += "\n### " + type.name + "\n\n" + cell(sentence(type.meaning)) + " Plug-in " +
                    code(type.plugin) + ".";
            if (!type.provides.empty()) {
                text += " Its name may stand where a reference to " + enumeration(type.provides) +
                        " is expected.";
            }
            text += "\n\n";
            if (!type.signals.empty()) {
                text += table(type.signals) + "\n";
            }
            text += table(type.keys) + "\n```xml\n" + shortXml(catalogue, type) + "```\n";
        }
    }
    return text;
}

} // namespace Rvl
