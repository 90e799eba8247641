#include <KnownSettings.h>

#include "output/ExitStatus.h"
#include "shell/CommandOutline.h"
#include "shell/Shell.h"

namespace VarnelBase {

namespace {

/// Text as the manual's language (man(7)) wants it.
std::string EscapeForMan(const std::string& text) {
    std::string escaped = CLI::detail::find_and_replace(text, "\\", "\\e");
    escaped = CLI::detail::find_and_replace(escaped, "-", "\\-");
    escaped = CLI::detail::find_and_replace(escaped, "'", "\\(aq");
    // A line that begins with one of these would be a request.
    return !escaped.empty() && escaped.front() == '.' ? "\\&" + escaped : escaped;
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

std::string FormatOption(const CLI::Option& option) {
    std::string names;
    for (const std::string& name : ListNames(option)) {
        names += (names.empty() ? "\\fB" : ", \\fB") + EscapeForMan(name) + "\\fR";
    }
    const bool hasValue = option.get_items_expected_max() > 0;
    if (hasValue) { names += " \\fI" + EscapeForMan(option.get_type_name()) + "\\fR"; }
    const std::string& usual = option.get_default_str();
    return ".TP\n" + names + "\n" + EscapeForMan(option.get_description()) +
           (hasValue && !usual.empty() ? EscapeForMan(" (default: " + usual + ")") : "") + ".\n";
}

std::string FormatOptions(const CLI::App& command) {
    std::string text;
    for (const CLI::Option* option : command.get_options()) {
        if (option->nonpositional() && option != command.get_help_ptr()) {
            text += FormatOption(*option);
        }
    }
    return text;
}

std::string FormatCommands(const CLI::App& noun, const std::string& words) {
    std::string text;
    for (const CLI::App* command : ListVisibleCommands(noun)) {
        const std::string name = words + " " + command->get_name();
        std::string positionals;
        for (const CLI::Option* option : command->get_options()) {
            if (option->nonpositional()) { continue; }
            positionals += " \\fI" + EscapeForMan(option->get_name(true)) +
                           (option->get_items_expected_max() > 1 ? "...\\fR" : "\\fR");
        }
        text += ".SS \"" + EscapeForMan(name) + positionals + "\"\n" +
                EscapeForMan(command->get_description()) + ".\n" + FormatOptions(*command) +
                ".PP\n.EX\n";
        for (const std::string& example : ReadExamples(command->get_footer())) {
            text += EscapeForMan(example) + "\n";
        }
        text += ".EE\n" + FormatCommands(*command, name);
    }
    return text;
}

std::string FormatManPage(const CLI::App& varnel) {
    std::string text =
        ".TH VARNEL 1 \"\" \"VarnelBase " VARNEL_VERSION
        "\" \"User Commands\"\n"
        ".SH NAME\nvarnel \\- " +
        EscapeForMan(varnel.get_description()) +
        "\n.SH SYNOPSIS\n.B varnel\n[\\fIoptions\\fR] \\fIcommand\\fR ...\n"
        ".SH DESCRIPTION\nResults go to standard output, everything else to standard "
        "error.\n.SH OPTIONS\n" +
        FormatOptions(varnel) + ".SH COMMANDS\n" + FormatCommands(varnel, "varnel") +
        ".SH EXIT STATUS\n";
    for (const ExplainedStatus& explained : ExplainedStatuses) {
        text += ".TP\n" + std::to_string(static_cast<int>(explained.status)) + "\n" +
                EscapeForMan(explained.meaning) + ".\n";
    }
    text +=
        ".SH ENVIRONMENT\n.TP\n\\fBVARNEL_CONFIG\\fR\nThe configuration file.\n"
        ".TP\n\\fBVARNEL_TOKEN\\fR\nThe access token, in place of a stored one.\n"
        ".TP\n\\fBVARNEL_API_TLS\\fR\n1: requests go over TLS, as with \\-\\-tls.\n";
    for (const KnownSetting& setting : KnownSettings) {
        text += std::string(".TP\n\\fB") + setting.variable + "\\fR\nOverrides \"" + setting.name +
                "\" in the configuration file.\n";
    }
    return text + ".TP\n\\fBNO_COLOR\\fR\nNo bold type on a terminal.\n";
}

} // namespace

void AddManPageCommand(CLI::App& root, Session& session) {
    // For the build, which makes the manual with it: without a group, help leaves it out.
    AddCommand(root, session, "man-page", "Print the manual page",
               [&root](Session& /*used*/) { WriteOutput(FormatManPage(root)); }, {})
        .group("");
}

} // namespace VarnelBase
