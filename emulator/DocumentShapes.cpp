#include "DocumentShapes.h"

#include "ComputedResults.h"
#include "MemberReader.h"

namespace VarnelBase::Emulation {

DocumentShape::DocumentShape(std::string kindName,
                             const std::map<std::string, std::string>& defaults)
    : kind(std::move(kindName)) {
    for (const auto& [name, pointer] : defaults) { places[name] = json::json_pointer(pointer); }
}

void DocumentShape::Read(const json& document) {
    MemberReader members(document, "shapes." + kind);
    for (auto& [name, place] : places) {
        if (!members.IsGiven(name)) { continue; }
        const json& given = members.Find(name);
        const bool isNeeded = name == "id" || name == "items";
        if (given.is_null() && !isNeeded) {
            place.reset();
            continue;
        }
        try {
            place = json::json_pointer(given.get<std::string>());
        } catch (const json::exception&) {
            members.Refuse(name, "must be a JSON Pointer such as \"/" + name + "\"" +
                                     (isNeeded ? "" : ", or null for nowhere"));
        }
    }
    if (places.at("items")->empty() && !members.IsGiven("total")) { places["total"].reset(); }
    if (members.Has("list")) { list = members.Find("list"); }
    if (members.Has("new")) { start = members.Find("new"); }
    members.RefuseOthers();
    MakeList(json::array(), 0);
}

const json* DocumentShape::Find(const json& document, const std::string& name) const {
    const Place& place = places.at(name);
    return place && document.contains(*place) ? &document.at(*place) : nullptr;
}

std::string DocumentShape::FindText(const json& document, const std::string& name) const {
    const json* found = Find(document, name);
    if (found == nullptr) { return ""; }
    if (found->is_string()) { return found->get<std::string>(); }
    return found->is_number() ? found->dump() : "";
}

void DocumentShape::Put(json& document, const std::string& name, json value) const {
    const Place& place = places.at(name);
    if (!place) { return; }
    try {
        document[*place] = std::move(value);
    } catch (const json::exception&) {
        throw Refusal(422, "invalid",
                      "shapes." + kind + "." + name + ": \"" + place->to_string() +
                          "\" leads through something that is not an object");
    }
}

void DocumentShape::Remove(json& document, const std::string& name) const {
    if (Find(document, name) == nullptr) { return; }
    const json::json_pointer& place = *places.at(name);
    json& parent = document[place.parent_pointer()];
    if (parent.is_object()) { parent.erase(place.back()); }
}

json DocumentShape::MakeList(json items, std::int64_t total) const {
    json made = list;
    Put(made, "items", std::move(items));
    Put(made, "total", total);
    return made;
}

DocumentShapes::DocumentShapes()
    : simulations("simulations",
                  {{"items", "/items"}, {"total", "/total"}, {"id", "/id"}, {"scope", "/scope"}}),
      executions("executions", {{"items", "/items"},
                                {"total", "/total"},
                                {"id", "/id"},
                                {"name", "/name"},
                                {"simulationId", "/simulationId"},
                                {"createdAt", "/createdAt"},
                                {"data", "/data"},
                                {"state", "/state"},
                                {"progress", "/progress"}}),
      users("users", {{"items", "/items"},
                      {"total", "/total"},
                      {"id", "/id"},
                      {"email", "/email"},
                      {"role", "/role"},
                      {"createdAt", "/createdAt"}}) {
    for (const char* state : {"queued", "running", "finished", "failed"}) {
        states[state] = state;
        results[state] = json::object();
    }
    results["failed"]["error"] =
        json::object({{"code", "diverged"}, {"message", "The emulated solver did not converge."}});
}

void DocumentShapes::Read(const json& given) {
    if (given.is_null()) { return; }
    MemberReader members(given, "shapes");
    for (DocumentShape* shape : {&simulations, &executions, &users}) {
        if (members.Has(shape->GetKind())) { shape->Read(members.Find(shape->GetKind())); }
    }
    for (auto [name, known] : {std::pair{"states", &states}, std::pair{"results", &results}}) {
        if (!members.Has(name)) { continue; }
        MemberReader entries(members.Find(name), std::string("shapes.") + name);
        for (auto& [state, value] : *known) {
            if (!entries.IsGiven(state)) { continue; }
            value = entries.Find(state);
            const std::string problem = FindProductProblem(value);
            if (!problem.empty()) { entries.Refuse(state, problem); }
        }
        entries.RefuseOthers();
    }
    members.RefuseOthers();
    document = given;
}

} // namespace VarnelBase::Emulation
