#pragma once

#include <string>

#include "Messages.h"

namespace VarnelBase::Emulation {

/// Why a document's products cannot be computed; empty: they can, or there are none.
std::string FindProductProblem(const json& document);

/// Replaces each {"$product": [...]} in a document by the product of its factors: numbers, and JSON
/// Pointers to numbers in what the execution was started with. Where such a number is missing, the
/// member that was to hold the product is left out, and so is an object that is empty without it.
///
/// @param data what the execution was started with
void ComputeProducts(json& document, const json& data);

} // namespace VarnelBase::Emulation
