#pragma once

#include <string>

#include "session/Session.h"

namespace VarnelBase {

/// One kind of list that the service gives page by page.
struct Listing {
    std::string target; ///< up to the number of entries: "/users?limit="
    json (*read)(ApiConnector& connector, const Arguments& arguments, int limit, int offset);
};

/// Prints the page that the arguments want, or with --all every page as one list.
///
/// @throws CommandError when a page cannot be read; nothing is printed then
void PrintListing(Session& session, const Listing& listing);

} // namespace VarnelBase
