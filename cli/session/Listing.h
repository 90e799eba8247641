#pragma once

#include <string>
#include <vector>

#include "session/Command.h"

namespace VarnelBase {

/// Which part of a list is wanted.
struct PageOptions {
    int limit = 50;
    int offset = 0;
    bool isAll = false;
    std::string state; ///< of the entries that are wanted; empty: any
};

/// --limit, --offset, --all and --state.
CLI::App& AddPageOptions(CLI::App& command, PageOptions& options);

/// A list that the service gives page by page.
struct PagedList {
    std::string target;         ///< without limit and offset: "/users"
    std::string entries;        ///< what they are: "users"
    bool isNewestFirst = false; ///< whether people want to see the last ones first
};

/// Every entry of a list, page after page, each identifier once, in a document like the service's.
///
/// @throws CommandError when a page cannot be read
std::string ReadAll(Session& session, const PagedList& list, const PageOptions& options);

/// The identifiers in a list.
std::vector<std::string> ListIdentifiers(const std::string& document);

/// Prints the entries that the options want, and says on standard error what they leave out.
///
/// @throws CommandError when a page cannot be read; nothing is printed then
void PrintList(Session& session, const PagedList& list, const PageOptions& options);

} // namespace VarnelBase
