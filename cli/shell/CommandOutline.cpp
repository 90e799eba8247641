#include "shell/CommandOutline.h"

namespace VarnelBase {

std::vector<std::string> ListChoices(const std::string& typeName) {
    const bool isList =
        typeName.find('|') != std::string::npos && typeName.find('@') == std::string::npos;
    return isList ? CLI::detail::split(typeName, '|') : std::vector<std::string>();
}

std::vector<std::string> ListNames(const CLI::Option& option) {
    std::vector<std::string> names;
    for (const std::string& name : option.get_snames()) { names.push_back("-" + name); }
    for (const std::string& name : option.get_lnames()) { names.push_back("--" + name); }
    return names;
}

std::string FormatPath(const CLI::App& command) {
    const CLI::App* parent = command.get_parent();
    return (parent == nullptr ? "" : FormatPath(*parent) + " ") + command.get_name();
}

const CLI::App* FindCommand(const CLI::App& noun, const std::string& name) {
    const auto commands = noun.get_subcommands(
        [&name](const CLI::App* command) { return command->check_name(name); });
    return commands.empty() ? nullptr : commands.front();
}

std::vector<const CLI::App*> ListVisibleCommands(const CLI::App& noun) {
    return noun.get_subcommands(
        [](const CLI::App* command) { return !command->get_group().empty(); });
}

} // namespace VarnelBase
