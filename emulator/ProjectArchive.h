#pragma once

#include "Messages.h"

namespace VarnelBase::Emulation {

/// Answers with a zip archive and its name: a folder "NAME" with the request and the files that it
/// asks for. The same request always yields the same bytes.
///
/// @param request an object with "name" and "files" (an object of texts by file name), each of
/// which
///                may be missing, and whatever else; or null
/// @throws Refusal 422 when a name or a file cannot be used
Answer GenerateProject(const json& request);

} // namespace VarnelBase::Emulation
