#include "shell/Suggestion.h"

#include <algorithm>
#include <numeric>
#include <vector>

#include "shell/CommandOutline.h"

namespace VarnelBase {

namespace {

constexpr std::size_t MaxMistakes = 2;

/// Insertions, deletions, replacements and swaps of neighbours that lead from one word to another.
std::size_t CountMistakes(const std::string& typed, const std::string& meant) {
    std::vector<std::vector<std::size_t>> counts(typed.size() + 1,
                                                 std::vector<std::size_t>(meant.size() + 1));
    for (std::size_t i = 0; i <= typed.size(); ++i) {
        for (std::size_t j = 0; j <= meant.size(); ++j) {
            if (i == 0 || j == 0) {
                counts[i][j] = i + j;
                continue;
            }
            const std::size_t replaced =
                counts[i - 1][j - 1] + (typed[i - 1] == meant[j - 1] ? 0 : 1);
            counts[i][j] = std::min({replaced, counts[i - 1][j] + 1, counts[i][j - 1] + 1});
            if (i > 1 && j > 1 && typed[i - 1] == meant[j - 2] && typed[i - 2] == meant[j - 1]) {
                counts[i][j] = std::min(counts[i][j], counts[i - 2][j - 2] + 1);
            }
        }
    }
    return counts.back().back();
}

const CLI::App& FindDeepest(const CLI::App& tree) {
    const CLI::App* command = &tree;
    while (!command->get_subcommands().empty()) { command = command->get_subcommands().front(); }
    return *command;
}

std::vector<std::string> ListWords(const CLI::App& command) {
    std::vector<std::string> words;
    for (const CLI::App* inner : ListVisibleCommands(command)) {
        words.push_back(inner->get_name());
    }
    for (const CLI::App* level = &command; level != nullptr; level = level->get_parent()) {
        for (const CLI::Option* option : level->get_options()) {
            for (const std::string& name : option->get_lnames()) { words.push_back("--" + name); }
        }
    }
    return words;
}

/// The word that was probably meant; empty: no idea.
std::string FindNearest(const std::string& typed, const std::vector<std::string>& words) {
    std::string nearest;
    std::size_t fewest = MaxMistakes + 1;
    for (const std::string& word : words) {
        const bool isBeginning = typed.size() > 1 && word.rfind(typed, 0) == 0;
        const std::size_t mistakes = isBeginning ? 1 : CountMistakes(typed, word);
        if (mistakes < fewest && mistakes < word.size() / 2 + 1) {
            fewest = mistakes;
            nearest = word;
        }
    }
    return nearest;
}

} // namespace

std::string DescribeParseError(const CLI::App& tree, const CLI::ParseError& error) {
    const CLI::App& command = FindDeepest(tree);
    std::string text = error.what();
    const bool isNoun = !command.get_subcommands({}).empty();
    if (isNoun && dynamic_cast<const CLI::RequiredError*>(&error) != nullptr) {
        text = "a command is missing";
    }
    std::vector<std::string> unknown = tree.remaining();
    unknown.erase(std::remove(unknown.begin(), unknown.end(), "--"), unknown.end());
    if (!unknown.empty()) {
        const std::string typed = unknown.front().substr(0, unknown.front().find('='));
        const bool isOption = typed.rfind('-', 0) == 0;
        text = DescribeUnknown(isOption ? "option"
                               : isNoun ? "command"
                                        : "argument",
                               typed, command);
    }
    return text + "\nSee: " + FormatPath(command) + " --help";
}

std::string DescribeUnknown(const std::string& kind, const std::string& word,
                            const CLI::App& command) {
    const std::string nearest = FindNearest(word, ListWords(command));
    return "unknown " + kind + " \"" + word + "\"" +
           (nearest.empty() ? "" : ": did you mean \"" + nearest + "\"?");
}

} // namespace VarnelBase
