#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "Definition.h"

namespace VarnelBase::Studies {

/// The points of a study: all combinations of the rows of its axes, the last axis changing fastest.
/// Nothing is kept for a point, so that a million of them cost no more than a few.
class PointSet {
public:
    /// @param studied outlives the point set
    explicit PointSet(const Definition& studied);

    /// How many points there are, equal ones included.
    std::size_t GetCount() const { return count; }

    /// The values of the parameters, in the order of the file.
    ///
    /// @param number from 0 up to below `GetCount()`
    std::vector<json> ReadValues(std::size_t number) const;

    /// The document that an execution of the point starts with, without a mark.
    json BuildBody(std::size_t number) const;

    /// What tells the point from every other one, whatever its number: a hash of simulation and
    /// document, 43 characters. Points that are equal have the same.
    std::string IdentifyPoint(std::size_t number) const;

    /// How many points are equal to one before them. They are executed once.
    std::size_t CountDuplicates() const;

private:
    /// Calls `visit` with each axis and the row of it that the point takes.
    template <typename Visit>
    void VisitRows(std::size_t number, Visit visit) const;

    const Definition& definition;
    std::size_t count = 1;
};

} // namespace VarnelBase::Studies
