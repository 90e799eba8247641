#include "session/Listing.h"

#include <limits>
#include <set>
#include <utility>

#include "output/Progress.h"
#include "output/Table.h"
#include "session/Diagnosis.h"

namespace VarnelBase {

namespace {

json ReadPage(Session& session, const Listing& listing, int offset) {
    const Arguments& given = session.arguments;
    const std::string target =
        listing.target + std::to_string(given.limit) + "&offset=" + std::to_string(offset);
    return RequireAnswer(session, target,
                         listing.read(session.ConnectOnline(), given, given.limit, offset));
}

/// What tells one entry from another.
std::string FindIdentity(const json& item) {
    return item.is_object() && item.contains("id") ? item.at("id").dump() : item.dump();
}

/// Adds the entries that are new, and tells how many these are.
std::size_t AddNewItems(json& all, std::set<std::string>& known, const json& items) {
    std::size_t added = 0;
    for (const json& item : items) {
        if (!known.insert(FindIdentity(item)).second) { continue; }
        all.push_back(item);
        ++added;
    }
    return added;
}

/// How many entries the service says that there are; 0: it does not say.
std::size_t FindTotal(const json& document) {
    if (!document.is_object() || !document.contains("total")) { return 0; }
    const json& total = document.at("total");
    return total.is_number_unsigned() ? total.get<std::size_t>() : 0;
}

/// Reads page after page until one is short, though not short of the service's own total, or
/// brings nothing new.
json ReadAllPages(Session& session, const Listing& listing) {
    Progress progress(session.arguments.isQuiet);
    json all = json::array();
    std::set<std::string> known;
    json page;
    std::size_t offset = static_cast<std::size_t>(std::max(session.arguments.offset, 0));
    while (offset <= static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        page = ReadPage(session, listing, static_cast<int>(offset));
        RequireShallow(page);
        const json* items = FindItems(page);
        if (items == nullptr) { return page; }
        const std::size_t added = AddNewItems(all, known, *items);
        offset += items->size();
        const std::size_t total = FindTotal(page);
        const bool isShort = session.arguments.limit < 0 ||
                             items->size() < static_cast<std::size_t>(session.arguments.limit);
        if (added == 0 || (isShort && offset >= total)) { break; }
        progress.Show(
            std::to_string(all.size()) + " entries",
            total == 0 ? std::nullopt
                       : std::optional(static_cast<double>(offset) / static_cast<double>(total)));
    }
    if (page.is_array()) { return all; }
    page["items"] = std::move(all);
    return page;
}

} // namespace

void PrintListing(Session& session, const Listing& listing) {
    session.Print(session.arguments.isAll ? ReadAllPages(session, listing)
                                          : ReadPage(session, listing, session.arguments.offset));
}

} // namespace VarnelBase
