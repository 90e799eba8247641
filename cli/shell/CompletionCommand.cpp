#include <KnownSettings.h>
#include <Utf8Text.h>

#include <map>
#include <utility>

#include "session/Interruption.h"
#include "shell/CommandOutline.h"
#include "shell/IdentifierCache.h"
#include "shell/Shell.h"

namespace VarnelBase {

namespace {

// What the scripts are told to do themselves, in place of words to choose from.
constexpr const char* CompleteFiles = ":files";
constexpr const char* CompleteFilesAfterAt = ":files-after-at";
constexpr const char* CompleteProgram = ":program";

constexpr const char* BashScript = R"(# Completion of varnel for bash
_varnel() {
    local line word words=() i
    COMPREPLY=()
    # "@", "=" and "=@" may be words of their own, and a quotation mark may still be open.
    for ((i = 1; i <= COMP_CWORD; i++)); do
        word=${COMP_WORDS[i]#[\"\']}
        if [[ $i -gt 1 && ($word == =* || ${COMP_WORDS[i - 1]} == *[=@]) ]]; then
            words[-1]+=$word
        else
            words+=("$word")
        fi
    done
    while IFS= read -r line; do
        case $line in
        :files) compopt -o default 2>/dev/null ;;
        :files-after-at)
            compopt -o filenames -o nospace 2>/dev/null
            while IFS= read -r line; do
                [[ ! -d $line ]] || line+=/
                COMPREPLY+=("@$line")
            done < <(word=${2#@}; compgen -f -- "${word//\\/}")
            ;;
        :program) mapfile -t COMPREPLY < <(compgen -c -- "$word") ;;
        *)
            line=${line%%$'\t'*}
            [[ $line != --*=* ]] || line=${line#*=}
            COMPREPLY+=("$line")
            ;;
        esac
    done < <(varnel complete -- "${words[@]}" 2>/dev/null)
}
complete -F _varnel varnel
)";

constexpr const char* ZshScript = R"(#compdef varnel
# Completion of varnel for zsh
_varnel() {
    local line
    local -a offered
    for line in "${(@f)$(varnel complete -- "${(@Q)words[2,CURRENT]}" 2>/dev/null)}"; do
        case $line in
        '') ;;
        :files-after-at) compset -P '(--*=|)@'; _files; return ;;
        :files) compset -P '--*='; _files; return ;;
        :program)
            while [[ ${words[1]} != -- ]]; do shift words; (( CURRENT-- )); done
            shift words; (( CURRENT-- ))
            _normal; return ;;
        *) offered+=("${${line%%$'\t'*}//:/\\:}:${line#*$'\t'}") ;;
        esac
    done
    (( ${#offered} )) && _describe varnel offered
}
if [[ ${funcstack[1]} == _varnel ]]; then _varnel "$@"; else compdef _varnel varnel; fi
)";

constexpr const char* FishScript = R"(# Completion of varnel for fish
function __varnel_files
    set -l option (string match -r -- $argv[1] $argv[2])
    for path in (__fish_complete_path (string replace -r -- $argv[1] '' $argv[2]))
        echo "$option$path"
    end
end
function __varnel_complete
    set -l current (commandline -ct | string unescape)
    for line in (varnel complete -- (commandline -opc)[2..-1] "$current" 2>/dev/null)
        switch $line
            case :files
                __varnel_files '^(?:--[^=]*=)?' "$current"
            case :files-after-at
                __varnel_files '^(?:--[^=]*=)?@' "$current"
            case :program
                complete -C "$current"
            case '*'
                echo $line
        end
    end
end
complete -c varnel -f -a '(__varnel_complete)'
)";

struct ScriptOptions {
    std::string shell;
};

struct WordOptions {
    std::vector<std::string> words; ///< after "varnel"; the last one is to be completed
};

/// Where a command line has got to.
struct Place {
    const CLI::App* command = nullptr;
    const CLI::Option* option = nullptr; ///< whose value is to come
    std::vector<std::string> positionals;
    bool isProgram = false; ///< behind "--"
};

const CLI::Option* FindOption(const CLI::App& command, const std::string& word) {
    const std::string name = word.substr(0, word.find('='));
    for (const CLI::App* level = &command; level != nullptr; level = level->get_parent()) {
        const CLI::Option* option = level->get_option_no_throw(name);
        if (option != nullptr && option->nonpositional()) { return option; }
    }
    return nullptr;
}

/// Follows the words that are complete. --environment and --offline take effect at once.
Place FindPlace(const CLI::App& root, const std::vector<std::string>& words,
                CommonOptions& common) {
    Place place;
    place.command = &root;
    for (std::size_t i = 0; i + 1 < words.size(); ++i) {
        const std::string& word = words[i];
        if (place.option != nullptr) {
            if (place.option->check_name("--environment")) { common.environment = word; }
            place.option = nullptr;
        } else if (word == "--") {
            place.isProgram = true;
        } else if (word.size() > 1 && word.front() == '-') {
            const CLI::Option* option = FindOption(*place.command, word);
            const bool takesNext = option != nullptr && option->get_items_expected_max() > 0 &&
                                   word.find('=') == std::string::npos;
            if (takesNext) { place.option = option; }
            common.isOffline = common.isOffline || word == "--offline";
        } else {
            const CLI::App* inner =
                place.positionals.empty() ? FindCommand(*place.command, word) : nullptr;
            if (inner != nullptr) {
                place.command = inner;
            } else {
                place.positionals.push_back(word);
            }
        }
    }
    return place;
}

class Offer {
public:
    explicit Offer(std::string begun) : current(std::move(begun)) {}

    void Add(const std::string& word, const std::string& description = "") {
        if (word.rfind(current, 0) == 0) { text += word + "\t" + description + "\n"; }
    }
    void AddAll(const std::vector<std::string>& words) {
        for (const std::string& word : words) { Add(word); }
    }
    void Direct(const char* directive) { text += std::string(directive) + "\n"; }
    const std::string& GetText() const { return text; }

    const std::string current;

private:
    std::string text;
};

/// @param name what precedes the value in the same word: "--output="
void OfferValues(Offer& offer, const CLI::Option& option, const std::string& name) {
    const std::string kind = option.get_type_name();
    if (kind == "FILE") { offer.Direct(CompleteFiles); }
    if (kind == DataKind && offer.current.compare(name.size(), 1, "@") == 0) {
        offer.Direct(CompleteFilesAfterAt);
    }
    for (const std::string& choice : ListChoices(kind)) { offer.Add(name + choice); }
}

void OfferCommands(Offer& offer, const CLI::App& command) {
    for (const CLI::App* inner : ListVisibleCommands(command)) {
        offer.Add(inner->get_name(), inner->get_description());
    }
}

/// The lists that hold the identifiers which an argument may have.
const std::map<std::string, std::string> IdentifierLists{
    {"SIMULATION", GetPath("GetSimulations") + "?scope=user&"},
    {"EXECUTION", GetPath("GetExecutions") + "?"},
    {"USER", GetPath("GetUsers") + "?"}};

void OfferIdentifiers(Offer& offer, Session& session, const Place& place, const std::string& list) {
    ApplyEnvironmentOptions(session.options);
    Identifiers identifiers;
    if (!place.positionals.empty()) {
        identifiers.values["SIMULATION"] = place.positionals.front();
    }
    offer.AddAll(FindKnownIdentifiers(session, identifiers.Fill(list) + "limit=100&offset=0"));
}

/// Words for the next positional argument.
void OfferPositional(Offer& offer, Session& session, const Place& place) {
    std::vector<const CLI::Option*> positionals;
    for (const CLI::Option* option : place.command->get_options()) {
        if (!option->nonpositional()) { positionals.push_back(option); }
    }
    if (positionals.empty()) { return; }
    std::size_t next = place.positionals.size();
    if (next >= positionals.size() && positionals.back()->get_items_expected_max() > 1) {
        next = positionals.size() - 1;
    }
    if (next >= positionals.size()) { return; }
    const std::string name = positionals[next]->get_name(true);
    offer.AddAll(ListChoices(positionals[next]->get_type_name()));
    const auto list = IdentifierLists.find(name);
    if (list != IdentifierLists.end()) {
        OfferIdentifiers(offer, session, place, list->second);
    } else if (name == "NAME") {
        for (const KnownSetting& setting : KnownSettings) {
            offer.Add(setting.name, setting.variable);
        }
    } else if (name == "COMMAND" && place.command->get_name() == "help") {
        const CLI::App* described = place.command->get_parent();
        for (const std::string& word : place.positionals) {
            const CLI::App* inner = FindCommand(*described, word);
            described = inner == nullptr ? described : inner;
        }
        OfferCommands(offer, *described);
    }
}

void Complete(Session& session, const CLI::App& root, const WordOptions& options) {
    const std::vector<std::string>& words = options.words;
    if (words.empty()) { return; }
    Offer offer(words.back());
    const Place place = FindPlace(root, words, session.options);
    const std::size_t nameLength =
        words.back().rfind("--", 0) == 0 ? words.back().find('=') + 1 : 0;
    if (place.option != nullptr) {
        OfferValues(offer, *place.option, "");
    } else if (place.isProgram) {
        offer.Direct(place.positionals.empty() ? CompleteProgram : CompleteFiles);
    } else if (nameLength > 0) {
        const CLI::Option* option = FindOption(*place.command, words.back());
        if (option != nullptr) { OfferValues(offer, *option, words.back().substr(0, nameLength)); }
    } else if (words.back().rfind('-', 0) == 0) {
        for (const CLI::App* level = place.command; level != nullptr; level = level->get_parent()) {
            const bool isOwn = level == place.command;
            for (const CLI::Option* option : level->get_options()) {
                for (const std::string& name : ListNames(*option)) {
                    if (isOwn || option->get_group() == CommonOptionsGroup) {
                        offer.Add(name, option->get_description());
                    }
                }
            }
        }
    } else {
        OfferCommands(offer, *place.command);
        OfferPositional(offer, session, place);
    }
    WriteOutput(offer.GetText());
}

void PrintScript(Session& /*session*/, const ScriptOptions& options) {
    WriteOutput(options.shell == "bash"  ? BashScript
                : options.shell == "zsh" ? ZshScript
                                         : FishScript);
}

} // namespace

void AddCompletionCommands(CLI::App& root, Session& session) {
    const auto script = AddCommand<ScriptOptions>(
        root, session, "completion", "Print the completion script for a shell", PrintScript,
        {"source <(varnel completion bash)", "varnel completion zsh > _varnel",
         "varnel completion fish > varnel.fish"});
    script.app.add_option("SHELL", script.options.shell, "The shell")
        ->required()
        ->type_name("bash|zsh|fish")
        ->check(CLI::IsMember({"bash", "zsh", "fish"}).description(""));

    // For these scripts: without a group, help leaves it out.
    const auto words = std::make_shared<WordOptions>();
    CLI::App& complete =
        AddCommand(root, session, "complete", "Print the words that can complete the last one",
                   [&root, words](Session& used) { Complete(used, root, *words); }, {});
    complete.group("");
    complete.add_option("WORD", words->words, "Words after varnel")->type_name("");
}

} // namespace VarnelBase
