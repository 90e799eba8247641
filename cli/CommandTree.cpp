#include "CommandTree.h"

#include "output/ExitStatus.h"

namespace VarnelBase {

namespace {

constexpr const char* CommonOptions = "Options of every command";
constexpr std::size_t NameColumns = 30;

/// Help that shows the options of every command with each command.
class HelpFormatter : public CLI::Formatter {
public:
    std::string make_footer(const CLI::App* app) const override {
        const CLI::App* root = app;
        while (root->get_parent() != nullptr) { root = root->get_parent(); }
        if (root == app) { return Formatter::make_footer(app); }
        const std::string common =
            make_group(CommonOptions, false, root->get_options([](const CLI::Option* option) {
                return option->get_group() == CommonOptions;
            }));
        return common.substr(1) + "\n" + Formatter::make_footer(app);
    }
};

void AddCommonOptions(CLI::App& root, Arguments& given) {
    root.add_option("--environment", given.environment,
                    "Use this environment; variables of another one are left aside")
        ->type_name("local|staging|production")
        ->group(CommonOptions);
    root.add_flag("--offline", given.isOffline, "Send nothing")->group(CommonOptions);
    root.add_flag("-q,--quiet", given.isQuiet, "Write nothing but results and errors")
        ->group(CommonOptions);
    root.add_option("-o,--output", given.output.format,
                    "Form of results; a table on a terminal and JSON elsewhere unless given")
        ->type_name("table|json|jsonl")
        ->check(CLI::IsMember({"table", "json", "jsonl"}).description(""))
        ->group(CommonOptions);
    AddPointerOption(root, "--query", given.output.query,
                     "JSON pointer to the part of the result that is wanted")
        ->group(CommonOptions);
}

std::string FormatExitStatuses() {
    std::string text = "Exit status:\n";
    for (const ExplainedStatus& explained : ExplainedStatuses) {
        const std::string number = std::to_string(static_cast<int>(explained.status));
        text += std::string(5 - number.size(), ' ') + number + "  " + explained.meaning + "\n";
    }
    return text;
}

std::string FormatExamples(const std::vector<std::string>& examples) {
    std::string text = "Examples:";
    for (const std::string& example : examples) { text += "\n  " + example; }
    return text;
}

} // namespace

std::unique_ptr<CLI::App> BuildCommandTree(Session& session) {
    auto root =
        std::make_unique<CLI::App>("The simulation service from the command line", "varnel");
    const auto formatter = std::make_shared<HelpFormatter>();
    formatter->column_width(NameColumns);
    root->formatter(formatter);
    root->set_help_flag("-h,--help", "Print help and exit");
    root->set_version_flag("--version", "varnel " VARNEL_VERSION,
                           "Print this program's version and exit");
    root->require_subcommand(1);
    root->fallthrough();
    root->footer(FormatExitStatuses() + "\n" +
                 FormatExamples({"varnel simulation list", "varnel simulation show --help"}));
    AddCommonOptions(*root, session.arguments);
    AddSimulationCommands(*root, session);
    AddExecutionCommands(*root, session);
    AddProjectCommands(*root, session);
    AddUserCommands(*root, session);
    AddServiceCommands(*root, session);
    AddSignInCommands(*root, session);
    AddConfigCommands(*root, session);
    AddDoctorCommand(*root, session);
    AddTraceCommand(*root, session);
    AddCompletionCommand(*root, session);
    AddManPageCommand(*root, session);
    return root;
}

CLI::App& AddNoun(CLI::App& parent, const std::string& name, const std::string& description,
                  const std::string& example) {
    CLI::App& noun = *parent.add_subcommand(name, description);
    noun.group("Commands");
    noun.require_subcommand(1);
    noun.footer(FormatExamples({example}));
    return noun;
}

CLI::App& AddCommand(CLI::App& parent, Session& session, const std::string& name,
                     const std::string& description, void (*run)(Session&),
                     const std::vector<std::string>& examples) {
    CLI::App& command = *parent.add_subcommand(name, description);
    command.group("Commands");
    command.callback([&session, run] {
        // A command with commands of its own comes after the one that was chosen.
        if (session.run == nullptr) { session.run = run; }
    });
    command.footer(FormatExamples(examples));
    return command;
}

void AddIdentifier(CLI::App& command, Session& session, const std::string& name,
                   std::string& identifier) {
    command.add_option(name, identifier, "Identifier of the " + CLI::detail::to_lower(name))
        ->required()
        ->type_name("");
    if (command.get_option_no_throw("--raw-id") == nullptr) {
        command.add_flag("--raw-id", session.arguments.isRawId,
                         "Send identifiers that hold / ? # & % or .. as they stand");
    }
}

void AddPageOptions(CLI::App& command, Session& session) {
    Arguments& given = session.arguments;
    command.add_option("--limit", given.limit, "Entries in a page (50 unless given)")
        ->type_name("N");
    command.add_option("--offset", given.offset, "Entries to skip")->type_name("N");
    command.add_flag("--all", given.isAll, "Ask for page after page until there are no more");
}

CLI::Option* AddPointerOption(CLI::App& command, const std::string& name, std::string& pointer,
                              const std::string& description) {
    const auto refuse = [](const std::string& text) {
        try {
            const json::json_pointer parsed(text);
            return std::string();
        } catch (const json::exception&) {
            return "\"" + text + "\" is no JSON pointer: write it like /items/0/id";
        }
    };
    return command.add_option(name, pointer, description)->type_name("POINTER")->check(refuse);
}

CLI::Option* AddDataOption(CLI::App& command, Session& session, const std::string& description) {
    return command
        .add_option("--data", session.arguments.data,
                    description + ": JSON, @ and the name of a file, or - for standard input")
        ->type_name("JSON|@FILE|-");
}

void AddDryRunOption(CLI::App& command, Session& session) {
    command.add_flag("--dry-run", session.arguments.isDryRun,
                     "Show the request instead of sending it");
}

void AddDeleteOptions(CLI::App& command, Session& session) {
    command.add_flag("-y,--yes", session.arguments.isConfirmed, "Do not ask");
    AddDryRunOption(command, session);
}

} // namespace VarnelBase
