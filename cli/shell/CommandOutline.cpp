#include "shell/CommandOutline.h"

#include <CLI/CLI.hpp>

namespace VarnelBase {

namespace {

/// The values that a type's name lists: "table|json|jsonl"; none: it takes any.
std::vector<std::string> ListChoices(const std::string& typeName) {
    const bool isList =
        typeName.find('|') != std::string::npos && typeName == CLI::detail::to_lower(typeName);
    return isList ? CLI::detail::split(typeName, '|') : std::vector<std::string>();
}

OutlinedOption OutlineOption(const CLI::Option& option) {
    OutlinedOption outline;
    for (const std::string& name : option.get_snames()) { outline.names.push_back("-" + name); }
    for (const std::string& name : option.get_lnames()) { outline.names.push_back("--" + name); }
    if (option.get_items_expected_max() > 0) { outline.valueName = option.get_type_name(); }
    outline.choices = ListChoices(outline.valueName);
    outline.description = option.get_description();
    return outline;
}

/// The lines below "Examples:", without their indentation.
std::vector<std::string> ReadExamples(const std::string& footer) {
    std::vector<std::string> examples;
    const std::string text = footer.substr(footer.find("Examples:"));
    for (const std::string& line : CLI::detail::split(text, '\n')) {
        if (line.rfind("  ", 0) == 0) { examples.push_back(line.substr(2)); }
    }
    return examples;
}

void AddOutlines(const CLI::App& app, const std::string& place,
                 std::vector<OutlinedCommand>& outlines) {
    OutlinedCommand outline;
    outline.place = place;
    outline.name = app.get_name();
    outline.description = app.get_description();
    outline.examples = ReadExamples(app.get_footer());
    for (const CLI::Option* option : app.get_options()) {
        if (!place.empty() && option == app.get_help_ptr()) { continue; }
        if (option->nonpositional()) {
            outline.options.push_back(OutlineOption(*option));
            continue;
        }
        outline.positionals += (outline.positionals.empty() ? "" : " ") + option->get_name(true) +
                               (option->get_items_expected_max() > 1 ? "..." : "");
        outline.positionalChoices = ListChoices(option->get_type_name());
    }
    const auto inner =
        app.get_subcommands([](const CLI::App* command) { return !command->get_group().empty(); });
    for (const CLI::App* command : inner) {
        outline.commands.emplace_back(command->get_name(), command->get_description());
    }
    outlines.push_back(std::move(outline));
    for (const CLI::App* command : inner) {
        AddOutlines(*command, place + "/" + command->get_name(), outlines);
    }
}

} // namespace

std::vector<OutlinedCommand> OutlineCommands(const CLI::App& tree) {
    std::vector<OutlinedCommand> outlines;
    AddOutlines(tree, "", outlines);
    return outlines;
}

} // namespace VarnelBase
