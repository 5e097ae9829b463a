#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace Rvl {

/// The folders that are searched for plug-ins, in their order.
class CPluginPath
{
public:
    explicit CPluginPath(std::vector<std::filesystem::path> folders);

    /// The folders given, then those of the environment variable RIVLINK_PLUGIN_PATH (separated as in PATH),
    /// then plugins, ../plugins and ../lib/rivlink/plugins beside the program.
    static CPluginPath withDefaults(const std::vector<std::string>& given);

    const std::vector<std::filesystem::path>& folders() const { return folders_; }
    /// The library of a plug-in of that name, in the first folder that has one.
    std::optional<std::filesystem::path> findLibrary(const std::string& plugin) const;
    /// A file of that name, in the first folder that has it.
    std::optional<std::filesystem::path> findFile(const std::string& fileName) const;
    /// Every plug-in of the path, that is every library with its description beside it, in ascending order.
    std::vector<std::string> plugins() const;

private:
    std::vector<std::filesystem::path> folders_;
};

/// The file beside a library that describes the types of the plug-in.
std::filesystem::path descriptionBeside(const std::filesystem::path& library, const std::string& plugin);

} // namespace Rvl
