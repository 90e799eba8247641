#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "Definition.h"

namespace VarnelBase::Studies {

/// The points of a study: all combinations of the rows of its axes, the last axis changing fastest.
/// Stores nothing per point, so a million points need no more memory than a few.
class PointSet {
public:
    /// @param studied must outlive the point set
    explicit PointSet(const Definition& studied);

    /// How many points there are, equal ones included.
    std::size_t GetCount() const { return count; }

    /// The values of the parameters, in the order of the file.
    ///
    /// @param number from 0, less than `GetCount()`
    std::vector<json> ReadValues(std::size_t number) const;

    /// The document that an execution of the point starts with, without a mark.
    json BuildBody(std::size_t number) const;

    /// Identifies the point independently of its number: a hash of simulation and document, 43
    /// characters. Equal points have the same.
    std::string IdentifyPoint(std::size_t number) const;

    /// How many points are equal to an earlier one, and so are not executed.
    std::size_t CountDuplicates() const;

private:
    /// Calls `visit` with each axis and the row of it that the point takes.
    template <typename Visit>
    void VisitRows(std::size_t number, Visit visit) const;

    const Definition& definition;
    std::size_t count = 1;
};

} // namespace VarnelBase::Studies
