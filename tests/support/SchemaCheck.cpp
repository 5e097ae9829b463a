#include "tests/support/SchemaCheck.h"

#include <algorithm>
#include <stdexcept>

namespace Rvl::Test {

CSchemaCheck::CSchemaCheck(const std::string& schema) : schema_(folder_.write("schema.xsd", schema))
{
    const std::string document = folder_.write("any.xml", "<any/>");
    const SProgramResult result = runProgram(RIVLINK_XMLLINT, {"--noout", "--schema", schema_, document});
    // 3 is a document that does not validate; a bad schema has another code
    if (result.exitCode != 0 && result.exitCode != 3) {
        throw std::runtime_error("bad schema: " + result.err);
    }
}

std::vector<std::vector<SMark>> CSchemaCheck::marks(const std::vector<std::string>& documents) const
{
    // run where they stand: messages spell the path of a file in ways of their own on Windows
    std::vector<std::string> arguments{"--noout", "--schema", schema_};
    std::vector<std::string> files;
    for (const std::string& document : documents) {
        files.push_back(std::to_string(files.size()) + ".xml");
        folder_.write(files.back(), document);
        arguments.push_back(files.back());
    }
    const std::vector<std::string> lines =
        linesOf(runProgram(RIVLINK_XMLLINT, arguments, folder_.file("")).err);

    std::vector<std::vector<SMark>> result;
    for (const std::string& file : files) {
        std::vector<SMark> marks;
        bool failed = false;
        bool validated = false;
        for (const std::string& line : lines) {
            validated = validated || line == file + " validates";
            failed = failed || line == file + " fails to validate";
            if (line.starts_with(file + ":")) {
                const std::string rest = line.substr(file.size() + 1);
                marks.push_back({std::stoi(rest), rest.substr(rest.find(':') + 1)});
            }
        }
        if (validated == failed || failed == marks.empty()) {
            throw std::runtime_error("no verdict on " + file + ":\n" + readFile(folder_.file(file)) +
                                     asText(marks));
        }
        result.push_back(marks);
    }
    return result;
}

std::vector<SMark> CSchemaCheck::marks(const std::string& document) const
{
    return marks(std::vector<std::string>{document}).front();
}

int lineWith(const std::string& document, const std::string& text)
{
    const auto place = document.find(text);
    return place == std::string::npos
               ? 0
               : 1 + static_cast<int>(std::count(
                         document.begin(), document.begin() + static_cast<std::ptrdiff_t>(place), '\n'));
}

bool isMarked(const std::vector<SMark>& marks, int line, const std::string& text)
{
    return std::any_of(marks.begin(), marks.end(), [&](const SMark& mark) {
        return mark.line == line && mark.text.find(text) != std::string::npos;
    });
}

std::string asText(const std::vector<SMark>& marks)
{
    std::string text;
    for (const SMark& mark : marks) {
        text += std::to_string(mark.line) + ":" + mark.text + "\n";
    }
    return text;
}

} // namespace Rvl::Test
