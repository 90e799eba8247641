#include <functional>

#include "CommandTree.h"
#include "shell/CommandOutline.h"

namespace VarnelBase {

namespace {

using Outlines = std::vector<OutlinedCommand>;

std::string Join(const std::vector<std::string>& words, const std::string& separator) {
    return CLI::detail::join(words, separator);
}

/// A word in single quotes, inside of which the shell escapes a quote in its own way.
std::string Quote(const std::string& text, const std::string& quote) {
    return "'" + CLI::detail::find_and_replace(text, "'", quote) + "'";
}

/// The places of all commands but the first, for a pattern of `case`.
std::string JoinPlaces(const Outlines& commands, const std::string& separator) {
    std::vector<std::string> places;
    for (const OutlinedCommand& command : commands) {
        if (!command.place.empty()) { places.push_back(command.place); }
    }
    return Join(places, separator);
}

std::vector<std::string> ListOptionNames(const OutlinedCommand& command) {
    std::vector<std::string> names;
    for (const OutlinedOption& option : command.options) {
        names.insert(names.end(), option.names.begin(), option.names.end());
    }
    return names;
}

std::vector<std::string> ListWords(const OutlinedCommand& command) {
    std::vector<std::string> words = command.positionalChoices;
    for (const auto& inner : command.commands) { words.push_back(inner.first); }
    return words;
}

/// The branches of a `case` on the place and the word before the one to complete: what an option's
/// value can be. "varnel" itself stands for every place.
std::string FormatValueCases(const Outlines& commands, const std::string& files,
                             const std::function<std::string(const std::string&)>& choose) {
    std::string cases;
    for (const OutlinedCommand& command : commands) {
        for (const OutlinedOption& option : command.options) {
            if (option.valueName.empty()) { continue; }
            std::vector<std::string> patterns;
            for (const std::string& name : option.names) {
                patterns.push_back((command.place.empty() ? "*" : command.place) + "\\ " + name);
            }
            cases += "        " + Join(patterns, "|") + ") ";
            if (option.valueName == "FILE") { cases += files + "; "; }
            if (!option.choices.empty()) { cases += choose(Join(option.choices, " ")) + "; "; }
            cases += "return ;;\n";
        }
    }
    return cases;
}

std::string FormatBash(const Outlines& commands) {
    std::string text = R"(# Completion of varnel for bash
_varnel() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]}
    local place='' words='' options='' i
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; i++)); do
        if [[ ${COMP_WORDS[i]} == -- ]]; then
            mapfile -t COMPREPLY < <(compgen -c -- "$current")
            return
        fi
        case "$place/${COMP_WORDS[i]}" in
        )" + JoinPlaces(commands, "|") +
                       R"() place=$place/${COMP_WORDS[i]} ;;
        esac
    done
    case "$place $previous" in
)" +
                       FormatValueCases(commands,
                                        R"(mapfile -t COMPREPLY < <(compgen -f -- "$current"))",
                                        [](const std::string& words) {
                                            return "mapfile -t COMPREPLY < <(compgen -W '" + words +
                                                   "' -- \"$current\")";
                                        }) +
                       "    esac\n    case \"$place\" in\n";
    for (const OutlinedCommand& command : commands) {
        text += "        " + (command.place.empty() ? "''" : command.place) + ") words='" +
                Join(ListWords(command), " ") + "' options='" +
                Join(ListOptionNames(command), " ") + "' ;;\n";
    }
    return text + "    esac\n    [[ $current == -* ]] && words=\"$options " +
           Join(ListOptionNames(commands.front()), " ") + R"("
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}
complete -F _varnel varnel
)";
}

/// Words with their descriptions, as zsh's _describe takes them.
std::string DescribeForZsh(const OutlinedCommand& command) {
    std::vector<std::string> words;
    for (const auto& [name, description] : command.commands) {
        words.push_back(Quote(name + ":" + description, "'\\''"));
    }
    for (const std::string& choice : command.positionalChoices) { words.push_back(choice); }
    return Join(words, " ");
}

std::string DescribeOptionsForZsh(const OutlinedCommand& command) {
    std::vector<std::string> words;
    for (const OutlinedOption& option : command.options) {
        for (const std::string& name : option.names) {
            words.push_back(Quote(name + ":" + option.description, "'\\''"));
        }
    }
    return Join(words, " ");
}

std::string FormatZsh(const Outlines& commands) {
    std::string text = R"(#compdef varnel
# Completion of varnel for zsh
_varnel() {
    local place='' word
    local -a offered options common
    for word in ${words[2,CURRENT-1]}; do
        if [[ $word == -- ]]; then
            _command_names
            return
        fi
        case "$place/$word" in
        )" + JoinPlaces(commands, "|") +
                       R"() place=$place/$word ;;
        esac
    done
    case "$place ${words[CURRENT-1]}" in
)" +
                       FormatValueCases(
                           commands, "_files",
                           [](const std::string& words) { return "compadd -- " + words; }) +
                       "    esac\n    common=(" + DescribeOptionsForZsh(commands.front()) +
                       ")\n    case \"$place\" in\n";
    for (const OutlinedCommand& command : commands) {
        text += "        " + (command.place.empty() ? "''" : command.place) + ") offered=(" +
                DescribeForZsh(command) + ")";
        if (!command.place.empty()) { text += " options=(" + DescribeOptionsForZsh(command) + ")"; }
        text += " ;;\n";
    }
    return text + R"(    esac
    if [[ $PREFIX == -* ]]; then
        options+=($common)
        _describe option options
    else
        _describe command offered
    fi
}
if [[ ${funcstack[1]} == _varnel ]]; then _varnel "$@"; else compdef _varnel varnel; fi
)";
}

std::string FormatFish(const Outlines& commands) {
    std::string text = R"(# Completion of varnel for fish
function __varnel_is_at
    set -l place ''
    for word in (commandline -opc)[2..-1]
        switch "$place/$word"
            case )" + JoinPlaces(commands, " ") +
                       R"(
                set place "$place/$word"
        end
    end
    test "$place" = "$argv[1]"
end
complete -c varnel -f
)";
    for (const OutlinedCommand& command : commands) {
        const std::string here = "complete -c varnel -n \"__varnel_is_at '" + command.place + "'\"";
        for (const auto& [name, description] : command.commands) {
            text += here + " -a " + name + " -d " + Quote(description, "\\'") + "\n";
        }
        if (!command.positionalChoices.empty()) {
            text += here + " -a " + Quote(Join(command.positionalChoices, " "), "\\'") + "\n";
        }
        for (const OutlinedOption& option : command.options) {
            text += command.place.empty() ? "complete -c varnel" : here;
            for (const std::string& name : option.names) {
                text +=
                    name.rfind("--", 0) == 0 ? " -l " + name.substr(2) : " -s " + name.substr(1);
            }
            if (!option.valueName.empty()) {
                text += option.valueName == "FILE" ? " -r -F" : " -x";
            }
            if (!option.choices.empty()) {
                text += " -a " + Quote(Join(option.choices, " "), "\\'");
            }
            text += " -d " + Quote(option.description, "\\'") + "\n";
        }
    }
    return text;
}

void PrintCompletion(Session& session) {
    Session unused;
    const Outlines commands = OutlineCommands(*BuildCommandTree(unused));
    const std::string& shell = session.arguments.shell;
    WriteOutput(shell == "bash"  ? FormatBash(commands)
                : shell == "zsh" ? FormatZsh(commands)
                                 : FormatFish(commands));
}

} // namespace

void AddCompletionCommand(CLI::App& root, Session& session) {
    CLI::App& completion =
        AddCommand(root, session, "completion", "Print a script that completes varnel's commands",
                   PrintCompletion,
                   {"source <(varnel completion bash)", "varnel completion zsh > _varnel",
                    "varnel completion fish > varnel.fish"});
    completion.add_option("SHELL", session.arguments.shell, "The shell that is to read it")
        ->required()
        ->type_name("bash|zsh|fish")
        ->check(CLI::IsMember({"bash", "zsh", "fish"}).description(""));
}

} // namespace VarnelBase
