#include "output/ExitStatus.h"
#include "shell/CommandOutline.h"
#include "shell/Shell.h"
#include "shell/Suggestion.h"

namespace VarnelBase {

namespace {

struct HelpOptions {
    std::vector<std::string> words;
};

void PrintHelp(const CLI::App& root, const HelpOptions& options) {
    const CLI::App* command = &root;
    for (const std::string& word : options.words) {
        const CLI::App* inner = FindCommand(*command, word);
        if (inner == nullptr) {
            throw CommandError(ExitStatus::Usage, DescribeUnknown("command", word, *command));
        }
        command = inner;
    }
    // CLI11's help() would describe the command that was chosen: this one.
    WriteOutput(command->get_formatter()->make_help(command, FormatPath(*command),
                                                    CLI::AppFormatMode::Normal));
}

} // namespace

void AddHelpCommand(CLI::App& root, Session& session) {
    const auto options = std::make_shared<HelpOptions>();
    CLI::App& help = AddCommand(root, session, "help", "Show help for a command, as --help does",
                                [&root, options](Session& /*used*/) { PrintHelp(root, *options); },
                                {"varnel help simulation list"});
    help.add_option("COMMAND", options->words, "The command")->type_name("");
}

} // namespace VarnelBase
