#include <KnownSettings.h>

#include "CommandTree.h"
#include "output/ExitStatus.h"
#include "shell/CommandOutline.h"

namespace VarnelBase {

namespace {

/// Text as the manual's language (man(7)) wants it.
std::string Escape(const std::string& text) {
    std::string escaped = CLI::detail::find_and_replace(text, "\\", "\\e");
    escaped = CLI::detail::find_and_replace(escaped, "-", "\\-");
    escaped = CLI::detail::find_and_replace(escaped, "'", "\\(aq");
    // A line that begins with one of these would be a request.
    return !escaped.empty() && escaped.front() == '.' ? "\\&" + escaped : escaped;
}

std::string FormatOption(const OutlinedOption& option) {
    std::string names;
    for (const std::string& name : option.names) {
        names += (names.empty() ? "\\fB" : ", \\fB") + Escape(name) + "\\fR";
    }
    if (!option.valueName.empty()) { names += " \\fI" + Escape(option.valueName) + "\\fR"; }
    return ".TP\n" + names + "\n" + Escape(option.description) + ".\n";
}

std::string FormatCommand(const OutlinedCommand& command) {
    const std::string words = CLI::detail::find_and_replace(command.place, "/", " ");
    const std::string positionals =
        command.positionals.empty() ? "" : " \\fI" + Escape(command.positionals) + "\\fR";
    std::string text =
        ".SS \"varnel" + Escape(words) + positionals + "\"\n" + Escape(command.description) + ".\n";
    for (const OutlinedOption& option : command.options) { text += FormatOption(option); }
    if (command.examples.empty()) { return text; }
    text += ".PP\n.EX\n";
    for (const std::string& example : command.examples) { text += Escape(example) + "\n"; }
    return text + ".EE\n";
}

std::string FormatManPage(const std::vector<OutlinedCommand>& commands) {
    const OutlinedCommand& varnel = commands.front();
    std::string text =
        ".TH VARNEL 1 \"\" \"VarnelBase " VARNEL_VERSION
        "\" \"User Commands\"\n"
        ".SH NAME\nvarnel \\- " +
        Escape(varnel.description) +
        "\n.SH SYNOPSIS\n.B varnel\n[\\fIoptions\\fR] \\fIcommand\\fR ...\n"
        ".SH DESCRIPTION\nResults go to standard output, everything else to standard "
        "error.\n.SH OPTIONS\n";
    for (const OutlinedOption& option : varnel.options) { text += FormatOption(option); }
    text += ".SH COMMANDS\n";
    for (std::size_t i = 1; i < commands.size(); ++i) { text += FormatCommand(commands[i]); }
    text += ".SH EXIT STATUS\n";
    for (const ExplainedStatus& explained : ExplainedStatuses) {
        text += ".TP\n" + std::to_string(static_cast<int>(explained.status)) + "\n" +
                Escape(explained.meaning) + ".\n";
    }
    text +=
        ".SH ENVIRONMENT\n.TP\n\\fBVARNEL_CONFIG\\fR\nThe configuration file.\n"
        ".TP\n\\fBVARNEL_TOKEN\\fR\nThe access token, in place of a stored one.\n";
    for (const KnownSetting& setting : KnownSettings) {
        text += std::string(".TP\n\\fB") + setting.variable + "\\fR\nGoes before \"" +
                setting.name + "\" in the configuration file.\n";
    }
    return text + ".TP\n\\fBNO_COLOR\\fR\nNo bold type on a terminal.\n";
}

void PrintManPage(Session& /*session*/) {
    Session unused;
    WriteOutput(FormatManPage(OutlineCommands(*BuildCommandTree(unused))));
}

} // namespace

void AddManPageCommand(CLI::App& root, Session& session) {
    // For the build, which makes the manual with it: without a group, help leaves it out.
    AddCommand(root, session, "man-page", "Print the manual page", PrintManPage, {}).group("");
}

} // namespace VarnelBase
