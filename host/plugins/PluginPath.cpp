#include "host/plugins/PluginPath.h"

#include "host/base/SystemText.h"

#include <boost/dll/runtime_symbol_info.hpp>
#include <boost/dll/shared_library.hpp>

#include <set>
#include <sstream>

namespace Rvl {

namespace {

constexpr const char* descriptionSuffix = ".types.json";

std::optional<std::filesystem::path> libraryIn(const std::filesystem::path& folder, const std::string& plugin)
{
    const std::string suffix = boost::dll::shared_library::suffix().string();
    for (const std::string& fileName : {"lib" + plugin + suffix, plugin + suffix}) {
        std::error_code ignored;
        const std::filesystem::path library = folder / pathOf(fileName);
        if (std::filesystem::is_regular_file(library, ignored)) {
            return library;
        }
    }
    return std::nullopt;
}

} // namespace

CPluginPath::CPluginPath(std::vector<std::filesystem::path> folders) : folders_(std::move(folders)) {}

CPluginPath CPluginPath::withDefaults(const std::vector<std::string>& given)
{
    std::vector<std::filesystem::path> folders;
    for (const std::string& folder : given) {
        folders.push_back(pathOf(folder));
    }
    if (const auto fromEnvironment = environmentVariable("RIVLINK_PLUGIN_PATH")) {
        std::istringstream list(*fromEnvironment);
        std::string folder;
        while (std::getline(list, folder, pathListSeparator())) {
            if (!folder.empty()) {
                folders.push_back(pathOf(folder));
            }
        }
    }
    const std::filesystem::path program = boost::dll::program_location().parent_path().native();
    folders.push_back(program / "plugins");
    folders.push_back(program / ".." / "plugins");
    folders.push_back(program / ".." / "lib" / "rivlink" / "plugins");
    return CPluginPath(std::move(folders));
}

std::optional<std::filesystem::path> CPluginPath::findLibrary(const std::string& plugin) const
{
    for (const auto& folder : folders_) {
        if (auto library = libraryIn(folder, plugin)) {
            return library;
        }
    }
    return std::nullopt;
}

std::optional<std::filesystem::path> CPluginPath::findFile(const std::string& fileName) const
{
    for (const auto& folder : folders_) {
        std::error_code ignored;
        if (std::filesystem::is_regular_file(folder / pathOf(fileName), ignored)) {
            return folder / pathOf(fileName);
        }
    }
    return std::nullopt;
}

std::vector<std::string> CPluginPath::plugins() const
{
    std::set<std::string> names;
    for (const auto& folder : folders_) {
        std::error_code ignored;
        for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) {
            const std::string fileName = textOf(entry.path().filename());
            if (fileName.ends_with(descriptionSuffix)) {
                const std::string plugin =
                    fileName.substr(0, fileName.size() - std::string(descriptionSuffix).size());
                if (libraryIn(folder, plugin)) {
                    names.insert(plugin);
                }
            }
        }
    }
    return {names.begin(), names.end()};
}

std::filesystem::path descriptionBeside(const std::filesystem::path& library, const std::string& plugin)
{
    return library.parent_path() / pathOf(plugin + descriptionSuffix);
}

} // namespace Rvl
