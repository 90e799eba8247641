#pragma once

#include <stdexcept>

namespace VarnelBase {

/// There is no session, and a person can begin one.
class SignInNeeded : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace VarnelBase
