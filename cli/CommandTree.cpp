#include "CommandTree.h"

#include <VersionFlags.h>
#include <httplib.h>

#include "commands/Commands.h"
#include "doctor/Doctor.h"
#include "output/ExitStatus.h"
#include "shell/Shell.h"
#include "trace/TraceCommand.h"

namespace VarnelBase {

namespace {

constexpr std::size_t NameColumns = 30;
constexpr int MostRetries = 20;

/// Help that shows the options of every command with each command.
class HelpFormatter : public CLI::Formatter {
public:
    std::string make_footer(const CLI::App* app) const override {
        const CLI::App* root = app;
        while (root->get_parent() != nullptr) { root = root->get_parent(); }
        if (root == app) { return Formatter::make_footer(app); }
        const std::string common =
            make_group(CommonOptionsGroup, false, root->get_options([](const CLI::Option* option) {
                return option->get_group() == CommonOptionsGroup;
            }));
        return common.substr(1) + "\n" + Formatter::make_footer(app);
    }
};

void AddCommonOptions(CLI::App& root, CommonOptions& options) {
    const std::vector<CLI::Option*> added{
        root.add_option("--environment", options.environment,
                        "Use this environment, and ignore variables set for another one")
            ->type_name("local|staging|production"),
        root.add_flag("--offline", options.isOffline, "Send nothing"),
        root.add_flag("-q,--quiet", options.isQuiet, "Suppress everything but results and errors"),
        root.add_option("-o,--output", options.output.format,
                        "Format of results; by default a table on a terminal and JSON elsewhere")
            ->type_name("table|json|jsonl")
            ->check(CLI::IsMember({"table", "json", "jsonl"}).description("")),
        AddPointerOption(root, "--query", options.output.query,
                         "JSON pointer to the wanted part of the result"),
        AddSecondsOption(
            root, "--timeout", options.timeoutSeconds,
            "Time limit for each call, retries included; 60 by default, 10 for doctor, 3600 "
            "for projects"),
        root.add_option(
                "--retries", options.retries,
                "How many times to repeat a read when nobody answers or the service is overloaded")
            ->type_name("N")
            ->check(CLI::Range(0, MostRetries).description("")),
        root.add_flag("--tls", options.isTls, "Reach the service over TLS")};
    for (CLI::Option* option : added) { option->group(CommonOptionsGroup); }
}

std::string FormatExitStatuses() {
    std::string text = "Exit status:\n";
    for (const ExplainedStatus& explained : ExplainedStatuses) {
        const std::string number = std::to_string(static_cast<int>(explained.status));
        text += std::string(5 - number.size(), ' ') + number + "  " + explained.meaning + "\n";
    }
    return text;
}

/// An unset variable in a script leaves an option empty, which means something else than leaving it
/// out.
void RefuseEmptyValues(CLI::App& app) {
    for (CLI::Option* option : app.get_options()) {
        const bool hasValue = option->nonpositional() && option->get_items_expected_max() > 0;
        if (!hasValue || option->check_name("--query")) { continue; }
        option->check([](const std::string& value) {
            return value.empty() ? std::string("is empty: leave it out, or give it a value")
                                 : std::string();
        });
    }
    for (CLI::App* command : app.get_subcommands({})) { RefuseEmptyValues(*command); }
}

} // namespace

std::unique_ptr<CLI::App> BuildCommandTree(Session& session) {
    auto root =
        std::make_unique<CLI::App>("The simulation service from the command line", "varnel");
    const auto formatter = std::make_shared<HelpFormatter>();
    formatter->column_width(NameColumns);
    root->formatter(formatter);
    root->option_defaults()->always_capture_default()->multi_option_policy(
        CLI::MultiOptionPolicy::TakeLast);
    root->set_help_flag("-h,--help", "Print help and exit");
    root->require_subcommand(1);
    root->fallthrough();
    root->footer(FormatExitStatuses() +
                 "\nExamples:\n  varnel simulation list\n  varnel help simulation list");
    AddVersionFlags(*root, "cpp-httplib " CPPHTTPLIB_VERSION "\n");
    AddCommonOptions(*root, session.options);
    AddServiceCommands(*root, session);
    AddProjectCommands(*root, session);
    AddStudyCommands(*root, session);
    AddApiCommand(*root, session);
    AddOpenCommands(*root, session);
    AddSignInCommands(*root, session);
    AddConfigCommands(*root, session);
    AddDoctorCommand(*root, session);
    AddTraceCommand(*root, session);
    AddHelpCommand(*root, session);
    AddCompletionCommands(*root, session);
    AddManPageCommand(*root, session);
    RefuseEmptyValues(*root);
    return root;
}

} // namespace VarnelBase
