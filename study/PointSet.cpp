#include "PointSet.h"

#include <CryptoText.h>

#include <unordered_set>

namespace VarnelBase::Studies {

PointSet::PointSet(const Definition& studied) : definition(studied) {
    for (const Axis& axis : definition.axes) { count *= axis.rows.size(); }
}

template <typename Visit>
void PointSet::VisitRows(std::size_t number, Visit visit) const {
    std::size_t block = count;
    for (const Axis& axis : definition.axes) {
        block /= axis.rows.size();
        visit(axis, axis.rows[number / block]);
        number %= block;
    }
}

std::vector<json> PointSet::ReadValues(std::size_t number) const {
    std::vector<json> values;
    VisitRows(number, [&](const Axis& /*axis*/, const std::vector<json>& row) {
        values.insert(values.end(), row.begin(), row.end());
    });
    return values;
}

json PointSet::BuildBody(std::size_t number) const {
    json body = definition.base;
    VisitRows(number, [&](const Axis& axis, const std::vector<json>& row) {
        for (std::size_t index = 0; index < row.size(); ++index) {
            body[axis.parameters[index].pointer] = row[index];
        }
    });
    return body;
}

std::string PointSet::IdentifyPoint(std::size_t number) const {
    return HashToBase64Url(json::array({definition.simulation, BuildBody(number)}).dump());
}

std::size_t PointSet::CountDuplicates() const {
    std::unordered_set<std::string> seen;
    for (std::size_t number = 0; number < count; ++number) { seen.insert(IdentifyPoint(number)); }
    return count - seen.size();
}

} // namespace VarnelBase::Studies
