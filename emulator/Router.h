#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "Messages.h"

namespace VarnelBase::Emulation {

/// A request on its way to the function that answers it.
struct Call {
    const Request& request;
    std::vector<std::string> ids; ///< what stands in the path for the pattern's "*", decoded
    std::multimap<std::string, std::string> query;

    /// The value of a query parameter; empty without one.
    ///
    /// @throws Refusal 422 when it is given twice
    std::string FindQuery(const std::string& name) const;
};

/// Finds the function that answers a request by its method and path.
class Router {
public:
    using Handler = std::function<Answer(const Call&)>;

    /// @param pattern a path in which "*" stands for one segment that is not empty
    void Add(const std::string& method, const std::string& pattern, Handler handler);

    /// Answers: 404 and 405 by itself, and what the handler throws as an error document.
    Answer Dispatch(const Request& request) const;

private:
    struct Route {
        std::string method;
        std::vector<std::string> segments;
        Handler handler;
    };

    std::vector<Route> routes;
};

} // namespace VarnelBase::Emulation
