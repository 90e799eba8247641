#include "session/Listing.h"

#include <algorithm>
#include <limits>
#include <set>
#include <vector>

#include "output/Progress.h"
#include "output/Table.h"

namespace VarnelBase {

namespace {

constexpr const char* StateMember = "state";
constexpr const char* TimeMember = "createdAt";

/// A page of a list, or what was put together from several.
struct Page {
    std::string document;             ///< the service's
    std::vector<std::string> entries; ///< the list's in it
    bool isList = false;              ///< there is a list in it
    std::optional<std::size_t> total; ///< of entries that the service has
    bool isCut = false;               ///< there may be further entries that are wanted
};

Page ParsePage(std::string text) {
    Page page;
    page.document = std::move(text);
    const JsonView view(page.document);
    const std::optional<JsonView> items = FindItems(view);
    page.isList = items.has_value();
    if (items) {
        for (const JsonView& item : items->ReadElements()) {
            page.entries.push_back(item.Format(0));
        }
    }
    const std::optional<JsonView> total = view.Find("total");
    if (total && total->IsNumber() && total->GetNumber() >= 0) {
        page.total = static_cast<std::size_t>(total->GetNumber());
    }
    return page;
}

Page ReadPage(Session& session, const PagedList& list, int limit, long long offset) {
    const char* separator = list.target.find('?') == std::string::npos ? "?" : "&";
    return ParsePage(session.Read(list.target + separator + "limit=" + std::to_string(limit) +
                                  "&offset=" + std::to_string(offset)));
}

/// The text of a member; empty: it is missing.
std::string FindText(const std::string& entry, const char* member) {
    const std::optional<JsonView> value = JsonView(entry).Find(member);
    return value && value->IsString() ? value->GetString() : "";
}

/// What tells one entry from another.
std::string FindIdentity(const std::string& entry) {
    const std::optional<JsonView> id = JsonView(entry).Find("id");
    return id ? id->Format(0) : entry;
}

/// Reads page after page until there are `wanted` entries in the state that is wanted, or as many
/// as the service has, or one page is short where it does not tell, or brings nothing new.
Page ReadPages(Session& session, const PagedList& list, const PageOptions& options,
               std::size_t wanted) {
    Progress progress(session.options.isQuiet);
    std::set<std::string> known;
    std::vector<std::string> entries;
    Page page;
    auto offset = static_cast<std::size_t>(std::max(options.offset, 0));
    while (offset <= static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        page = ReadPage(session, list, options.limit, static_cast<long long>(offset));
        if (!page.isList) { return page; }
        const std::size_t before = known.size();
        for (const std::string& entry : page.entries) {
            const bool isWanted =
                options.state.empty() || FindText(entry, StateMember) == options.state;
            const bool isNew = known.insert(FindIdentity(entry)).second;
            if (!isNew || !isWanted) { continue; }
            page.isCut = entries.size() == wanted;
            if (!page.isCut) { entries.push_back(entry); }
        }
        offset += page.entries.size();
        const bool isShort =
            options.limit < 0 || page.entries.size() < static_cast<std::size_t>(options.limit);
        const bool isLast = page.total ? offset >= *page.total : isShort;
        page.isCut = page.isCut || (entries.size() == wanted && !isLast);
        if (known.size() == before || entries.size() == wanted || isLast) { break; }
        progress.Show(std::to_string(known.size()) + " " + list.entries,
                      page.total ? std::optional(static_cast<double>(offset) /
                                                 static_cast<double>(*page.total))
                                 : std::nullopt);
    }
    page.entries = std::move(entries);
    return page;
}

/// The service's document around other entries.
std::string Assemble(const Page& page) {
    if (!page.isList) { return page.document; }
    std::string entries;
    for (const std::string& entry : page.entries) {
        entries += (entries.empty() ? "" : ",") + entry;
    }
    entries = "[" + entries + "]";
    const JsonView view(page.document);
    if (view.IsArray()) { return entries; }
    std::string members;
    for (const auto& [name, value] : view.ReadMembers()) {
        members += (members.empty() ? "" : ",") + json(name).dump() + ":" +
                   (name == "items" ? entries : value.Format(0));
    }
    return "{" + members + "}";
}

/// Whether the entries are in the order of their times, which all of them tell.
bool IsOldestFirst(const std::vector<std::string>& entries) {
    std::string last;
    for (const std::string& entry : entries) {
        const std::string time = FindText(entry, TimeMember);
        if (time.empty() || time < last) { return false; }
        last = time;
    }
    return true;
}

/// 10,000
std::string GroupDigits(std::size_t number) {
    std::string digits = std::to_string(number);
    for (std::size_t at = digits.size(); at > 3;) { digits.insert(at -= 3, ","); }
    return digits;
}

/// Tells what was left out.
void NoteRest(const Session& session, const PagedList& list, const PageOptions& options,
              const Page& page, const std::string& which) {
    const std::size_t shown = page.entries.size();
    const std::size_t first = static_cast<std::size_t>(std::max(options.offset, 0));
    const bool isFull = options.limit > 0 && shown >= static_cast<std::size_t>(options.limit);
    if (options.state.empty() && page.total && (first > 0 || *page.total > shown)) {
        session.Note(which + GroupDigits(shown) + " of " + GroupDigits(*page.total) + " " +
                     list.entries + ", --all for the rest");
    } else if (page.isCut || (!page.total && isFull)) {
        session.Note(which + GroupDigits(shown) + " " + list.entries +
                     ", and there may be more: --all for the rest");
    }
}

} // namespace

CLI::App& AddPageOptions(CLI::App& command, PageOptions& options) {
    command.add_option("--limit", options.limit, "Entries in a page")->type_name("N");
    command.add_option("--offset", options.offset, "Entries to skip")->type_name("N");
    command.add_flag("--all", options.isAll, "Read every page");
    command
        .add_option("--state", options.state, "Only entries in this state, at most --limit of them")
        ->type_name("STATE");
    return command;
}

std::string ReadAll(Session& session, const PagedList& list, const PageOptions& options) {
    return Assemble(ReadPages(session, list, options, std::numeric_limits<std::size_t>::max()));
}

std::vector<std::string> ListIdentifiers(const std::string& document) {
    std::vector<std::string> identifiers;
    for (const std::string& entry : ParsePage(document).entries) {
        const std::string identifier = FindText(entry, "id");
        if (!identifier.empty()) { identifiers.push_back(identifier); }
    }
    return identifiers;
}

void PrintList(Session& session, const PagedList& list, const PageOptions& options) {
    const bool isReversed = list.isNewestFirst && WantsTable(session.options.output) &&
                            session.options.output.query.empty() && options.offset == 0;
    std::string which;
    Page page;
    if (options.isAll || !options.state.empty()) {
        const bool isLimited = !options.isAll && options.limit >= 0;
        const std::size_t all = std::numeric_limits<std::size_t>::max();
        const std::size_t wanted = isLimited ? static_cast<std::size_t>(options.limit) : all;
        PageOptions pages = options;
        if (isLimited) { pages.limit = std::max(options.limit, PageOptions().limit); }
        // Which entries are the newest is known once all have been read.
        page = ReadPages(session, list, pages, isReversed ? all : wanted);
        if (page.entries.size() > wanted) {
            const bool isNewestLast = IsOldestFirst(page.entries);
            const auto begin = page.entries.end() - static_cast<std::ptrdiff_t>(wanted);
            if (isNewestLast) { page.entries.erase(page.entries.begin(), begin); }
            page.entries.resize(wanted);
            page.isCut = true;
            which = isNewestLast ? "the newest " : "";
        }
    } else {
        page = ReadPage(session, list, options.limit, options.offset);
        const std::size_t shown = page.entries.size();
        if (isReversed && page.total && *page.total > shown && IsOldestFirst(page.entries)) {
            page =
                ReadPage(session, list, options.limit, static_cast<long long>(*page.total - shown));
            which = "the newest ";
        }
    }
    if (isReversed && IsOldestFirst(page.entries)) {
        std::reverse(page.entries.begin(), page.entries.end());
    }
    session.Print(Assemble(page));
    if (!options.isAll) { NoteRest(session, list, options, page, which); }
}

} // namespace VarnelBase
