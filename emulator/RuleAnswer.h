#pragma once

#include <memory>
#include <string>

#include "MemberReader.h"
#include "Messages.h"

namespace VarnelBase::Emulation {

/// Reads the answer that a rule gives in place of the service: "status", "headers" and one of
/// "body" (JSON), "text" and "file".
///
/// @param directory where files come from; empty: from nowhere
/// @throws Refusal 422 naming the member that cannot be used
std::shared_ptr<const Answer> ReadRuleAnswer(MemberReader& members, const std::string& directory);

} // namespace VarnelBase::Emulation
