#include "session/Command.h"

#include <AsciiCase.h>

#include <nlohmann/json.hpp>

namespace VarnelBase {

namespace {

std::string FormatExamples(const std::vector<std::string>& examples) {
    std::string text = "Examples:";
    for (const std::string& example : examples) { text += "\n  " + example; }
    return text;
}

} // namespace

CLI::App& AddNoun(CLI::App& parent, const std::string& name, const std::string& description,
                  const std::string& example) {
    CLI::App& noun = *parent.add_subcommand(name, description);
    noun.group("Commands");
    noun.require_subcommand(1);
    noun.footer(FormatExamples({example}));
    return noun;
}

CLI::App& AddCommand(CLI::App& parent, Session& session, const std::string& name,
                     const std::string& description, std::function<void(Session&)> run,
                     const std::vector<std::string>& examples) {
    CLI::App& command = *parent.add_subcommand(name, description);
    command.group("Commands");
    command.callback([&session, chosen = std::move(run)] {
        // A command with commands of its own comes after the one that was chosen.
        if (!session.run) { session.run = chosen; }
    });
    command.footer(FormatExamples(examples));
    return command;
}

void AddIdentifiers(CLI::App& command, Identifiers& identifiers, const std::string& target) {
    for (const std::string& name : ListArguments(target)) {
        command.add_option(name, identifiers.values[name], "Identifier of the " + LowerCase(name))
            ->required()
            ->type_name("");
    }
    command.add_flag("--raw-id", identifiers.isRaw,
                     "Send identifiers that contain / ? # & % or .. unchanged");
}

CLI::Option* AddPointerOption(CLI::App& command, const std::string& name, std::string& pointer,
                              const std::string& description) {
    const auto refuse = [](const std::string& text) {
        try {
            const json::json_pointer parsed(text);
            return std::string();
        } catch (const json::exception&) {
            return "\"" + text + "\" is not a JSON pointer: write it like /items/0/id";
        }
    };
    return command.add_option(name, pointer, description)->type_name("POINTER")->check(refuse);
}

CLI::Option* AddDataOption(CLI::App& command, std::string& data, const std::string& description) {
    return command
        .add_option("--data", data,
                    description + ": JSON, @ and the name of a file, or - for standard input")
        ->type_name(DataKind);
}

void AddDryRunFlag(CLI::App& command, bool& isDryRun) {
    command.add_flag("--dry-run", isDryRun, "Show the request instead of sending it");
}

} // namespace VarnelBase
