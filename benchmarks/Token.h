#pragma once

#include <string>

/// An access token of about 1.2 KB that is valid for a day; the claim "exp" comes last.
std::string MakeToken();
