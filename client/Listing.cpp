#include "Listing.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "SeenIdentifiers.h"

namespace VarnelBase {

struct Listing::State {
    PageSource source;
    int pageSize;
    json page;          ///< the entries that are new
    std::size_t at = 0; ///< of the current one
    int offset = 0;     ///< of the next page
    bool isEnded = false;
    SeenIdentifiers seen;

    void Fetch();
    [[noreturn]] static void RejectPage(Outcome outcome, const char* reason);
};

void Listing::State::RejectPage(Outcome outcome, const char* reason) {
    outcome.failure = Failure::Unreadable;
    outcome.message = reason;
    throw CallFailed(std::move(outcome));
}

void Listing::State::Fetch() {
    page = json::array();
    at = 0;
    Outcome outcome = source(pageSize, offset);
    if (!outcome) { throw CallFailed(std::move(outcome)); }
    json& document = outcome.document;
    const bool isList =
        document.is_object() && document.contains("items") && document["items"].is_array();
    if (!isList) { RejectPage(std::move(outcome), "the page of the list has no array \"items\""); }
    json& items = document["items"];
    const std::size_t count = items.size();
    offset += static_cast<int>(count);
    const auto total = document.find("total");
    // Some services send -1 when they do not know it.
    const bool hasTotal = total != document.end() && total->is_number_unsigned();
    isEnded =
        count == 0 || (hasTotal ? static_cast<std::uint64_t>(offset) >= total->get<std::uint64_t>()
                                : count < static_cast<std::size_t>(pageSize));
    std::vector<std::string> identifiers;
    for (const json& item : items) {
        const auto id = item.is_object() ? item.find("id") : item.end();
        // What has no identifier is like nothing else: neither is its place in the list.
        identifiers.push_back(item.is_object() && id != item.end()
                                  ? id->dump()
                                  : "#" + std::to_string(offset) + ":" +
                                        std::to_string(identifiers.size()));
    }
    const std::vector<bool> isNew = seen.Note(identifiers);
    for (std::size_t i = 0; i < count; ++i) {
        if (isNew[i]) { page.push_back(std::move(items[i])); }
    }
    if (page.empty() && !isEnded) {
        // A service that does not look at the offset would never come to an end.
        RejectPage(std::move(outcome),
                   "the page of the list contains only entries of earlier pages");
    }
}

Listing::Listing(PageSource source, int pageSize)
    : state(std::make_unique<State>(State{std::move(source), pageSize, {}, 0, 0, false, {}})) {}

Listing::~Listing() = default;
Listing::Listing(Listing&&) noexcept = default;
Listing& Listing::operator=(Listing&&) noexcept = default;

Listing::Iterator Listing::begin() {
    *state = State{std::move(state->source), state->pageSize, json::array(), 0, 0, false, {}};
    state->Fetch();
    return state->page.empty() ? end() : Iterator(state.get());
}

const json& Listing::Iterator::operator*() const {
    return state->page[state->at];
}

Listing::Iterator& Listing::Iterator::operator++() {
    ++state->at;
    if (state->at == state->page.size() && !state->isEnded) { state->Fetch(); }
    if (state->at == state->page.size()) { state = nullptr; }
    return *this;
}

} // namespace VarnelBase
