#include "SeedFromRecord.h"

#include <RequestTarget.h>

#include <algorithm>
#include <cctype>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>

namespace VarnelBase::Emulation {

namespace {

constexpr std::size_t MaxPlaceDepth = 3;

using Place = json::json_pointer;
using Test = std::function<bool(const std::string& name, const json& value)>;

std::string Simplify(const std::string& name) {
    std::string simple;
    for (const char c : name) {
        const auto byte = static_cast<unsigned char>(c);
        if (std::isalnum(byte) != 0) { simple += static_cast<char>(std::tolower(byte)); }
    }
    return simple;
}

/// The places in a document's objects whose member passes a test, the outer ones first.
std::vector<Place> FindPlaces(const json& document, const Test& isMeant) {
    std::vector<Place> found;
    std::vector<Place> level{Place()};
    for (std::size_t depth = 0; depth < MaxPlaceDepth; ++depth) {
        std::vector<Place> next;
        for (const Place& place : level) {
            const json& holder = document.at(place);
            if (!holder.is_object()) { continue; }
            for (const auto& member : holder.items()) {
                if (isMeant(member.key(), member.value())) {
                    found.push_back(place / member.key());
                }
                next.push_back(place / member.key());
            }
        }
        level = std::move(next);
    }
    return found;
}

/// The place of a member with one of these names, the earlier of which count more.
std::optional<Place> FindNamed(const json& document, const std::vector<std::string>& names,
                               const std::function<bool(const json&)>& isFit) {
    for (const std::string& name : names) {
        const auto places = FindPlaces(document, [&](const std::string& key, const json& value) {
            return Simplify(key) == name && isFit(value);
        });
        if (!places.empty()) { return places.front(); }
    }
    return std::nullopt;
}

bool IsId(const json& value) {
    return value.is_string() || value.is_number_integer();
}

std::string ReadId(const json& value) {
    return value.is_string() ? value.get<std::string>() : value.dump();
}

json WritePlace(const std::optional<Place>& place) {
    return place ? json(place->to_string()) : json();
}

/// What a record shows of one kind of documents.
struct Kind {
    std::vector<std::string> order;      ///< identifiers as they were met
    std::map<std::string, json> details; ///< documents of their own paths, by identifier
    std::vector<json> lists;
    std::map<std::string, json> own; ///< members "_local" by identifier
    std::set<std::string> pathIds;
    json asked;   ///< what a POST has sent
    json created; ///< what it was answered
    json shape = json::object();

    void Meet(const std::string& id) {
        if (std::find(order.begin(), order.end(), id) == order.end()) { order.push_back(id); }
    }
};

/// Where the entries of a list are: the longest array of objects, else the first array.
std::optional<Place> FindItems(const json& list) {
    if (list.is_array()) { return Place(); }
    std::optional<Place> best;
    for (const Place& place :
         FindPlaces(list, [](const std::string&, const json& value) { return value.is_array(); })) {
        if (!best || list.at(place).size() > list.at(*best).size()) { best = place; }
    }
    return best;
}

/// Where the identifier is: where a value is one of a path, else by its name.
std::optional<Place> FindId(const json& item, const std::set<std::string>& pathIds) {
    const auto used = FindPlaces(item, [&](const std::string&, const json& value) {
        return IsId(value) && pathIds.count(ReadId(value)) > 0;
    });
    if (!used.empty()) { return used.front(); }
    return FindNamed(item, {"id", "uuid", "uid", "guid", "key", "identifier", "name"}, IsId);
}

/// Takes the lists apart: their shape, and their entries with their identifiers.
std::map<std::string, json> ReadLists(Kind& kind) {
    std::map<std::string, json> items;
    std::optional<Place> idPlace;
    for (const json& list : kind.lists) {
        const auto place = FindItems(list);
        if (!place) { continue; }
        const auto total = FindNamed(list,
                                     {"total", "totalcount", "count", "totalelements", "totalitems",
                                      "totalsize", "size", "length"},
                                     [](const json& value) { return value.is_number_integer(); });
        for (const json& item : list.at(*place)) {
            if (!item.is_object()) { continue; }
            if (!idPlace) { idPlace = FindId(item, kind.pathIds); }
            if (!idPlace || !item.contains(*idPlace) || !IsId(item.at(*idPlace))) { continue; }
            const std::string id = ReadId(item.at(*idPlace));
            kind.Meet(id);
            items[id] = item;
        }
        json around = list;
        around[*place] = json::array();
        kind.shape["list"] = place->empty() ? json::object() : around;
        kind.shape["items"] = place->to_string();
        kind.shape["total"] = WritePlace(total);
    }
    if (!idPlace && !kind.details.empty()) {
        idPlace = FindId(kind.details.begin()->second, kind.pathIds);
    }
    if (idPlace) { kind.shape["id"] = idPlace->to_string(); }
    return items;
}

/// The entries as a seed has them.
json MakeEntries(Kind& kind) {
    const std::map<std::string, json> items = ReadLists(kind);
    const Place idPlace(kind.shape.value("id", "/id"));
    json entries = json::array();
    for (const std::string& id : kind.order) {
        const auto detail = kind.details.find(id);
        const auto item = items.find(id);
        json entry = detail != kind.details.end() ? detail->second
                     : item != items.end()        ? item->second
                                                  : json::object();
        if (!entry.is_object()) { continue; }
        json own = kind.own.count(id) > 0 ? kind.own.at(id) : json::object();
        if (!entry.contains(idPlace) || !IsId(entry.at(idPlace)) ||
            ReadId(entry.at(idPlace)) != id) {
            own["id"] = id;
        }
        if (detail != kind.details.end() && item != items.end() && item->second != entry) {
            own["listed"] = item->second;
        }
        if (!own.empty()) { entry["_local"] = std::move(own); }
        entries.push_back(std::move(entry));
    }
    return entries;
}

/// Says where a kind has something, with null where its documents have it nowhere.
void DescribePlaces(Kind& kind, const json& example,
                    const std::map<std::string, std::vector<std::string>>& names,
                    const std::function<bool(const json&)>& isFit) {
    for (const auto& [name, others] : names) {
        kind.shape[name] = WritePlace(FindNamed(example, others, isFit));
    }
}

/// The emulator's name of a state that the service calls otherwise; empty: unknown.
std::string RecogniseState(const json& value) {
    const std::map<std::string, std::vector<std::string>> known{
        {"queued", {"queued", "pending", "waiting", "created", "submitted", "scheduled", "new"}},
        {"running", {"running", "inprogress", "active", "started", "processing", "executing"}},
        {"finished", {"finished", "completed", "complete", "done", "succeeded", "success"}},
        {"failed", {"failed", "error", "errored", "aborted", "failure"}}};
    const std::string name = value.is_string() ? Simplify(value.get<std::string>()) : "";
    for (const auto& [state, names] : known) {
        if (std::find(names.begin(), names.end(), name) != names.end()) { return state; }
    }
    return "";
}

/// What new executions look like, and what those that have ended have besides.
void DescribeExecutions(Kind& executions, json& shapes) {
    const auto isText = [](const json& value) { return value.is_string(); };
    const json example = !executions.created.is_null() ? executions.created
                         : !executions.details.empty() ? executions.details.begin()->second
                                                       : json();
    if (!example.is_object()) { return; }
    DescribePlaces(
        executions, example,
        {{"state", {"state", "status", "phase", "stage"}},
         {"name", {"name", "title"}},
         {"createdAt", {"createdat", "created", "starttime", "startedat", "submittedat"}},
         {"simulationId", {"simulationid", "simulation"}}},
        isText);
    DescribePlaces(executions, example, {{"progress", {"progress", "percent", "completion"}}},
                   [](const json& value) { return value.is_number(); });
    DescribePlaces(executions, example, {{"data", {"data", "inputs", "parameters", "request"}}},
                   [](const json& value) { return value.is_structured(); });
    const auto echoed = FindPlaces(example, [&executions](const std::string&, const json& value) {
        return value.is_structured() && value == executions.asked;
    });
    if (!echoed.empty()) { executions.shape["data"] = echoed.front().to_string(); }
    executions.shape["new"] = example;
    if (executions.shape["state"].is_null()) { return; }
    const Place statePlace(executions.shape["state"].get<std::string>());
    std::vector<json> seen{example};
    for (const auto& [id, document] : executions.details) { seen.push_back(document); }
    for (const json& document : seen) {
        if (!document.contains(statePlace)) { continue; }
        const std::string state = RecogniseState(document.at(statePlace));
        if (state.empty()) { continue; }
        shapes["states"][state] = document.at(statePlace);
        json besides = json::object();
        for (const auto& member : document.items()) {
            if (!example.contains(member.key())) { besides[member.key()] = member.value(); }
        }
        if (state == "failed" || !besides.empty()) { shapes["results"][state] = besides; }
    }
}

/// Takes over what one exchange shows.
class Reader {
public:
    void Read(const RecordedExchange& exchange) {
        const json asked = json::parse(exchange.request.body, nullptr, false);
        const json document = json::parse(exchange.answer.body, nullptr, false);
        if (exchange.answer.status >= 300 || document.is_discarded()) { return; }
        std::vector<std::string> path;
        for (const std::string& segment : SplitText(exchange.request.GetPath(), '/')) {
            if (!segment.empty()) { path.push_back(DecodePercent(segment)); }
        }
        if (path.empty()) { return; }
        const std::string& method = exchange.request.method;
        const bool isRead = method == "GET";
        if (path.size() == 1 && isRead && (path[0] == "version" || path[0] == "agent")) {
            seed[path[0]] = document;
        } else if (path[0] == "users" && path.size() <= 2) {
            ReadEntry(users, path.size() == 2 ? path[1] : "", method, asked, document);
        } else if (path[0] == "simulations" && path.size() <= 2) {
            ReadEntry(simulations, path.size() == 2 ? path[1] : "", method, asked, document);
        } else if (path[0] == "simulations" && path.size() == 3 && path[2] == "inputs") {
            simulations.Meet(path[1]);
            simulations.own[path[1]]["inputs"] = isRead ? document : asked;
        } else if (path[0] == "simulations" && path.size() <= 4 && path[2] == "executions") {
            simulations.Meet(path[1]);
            ReadEntry(executions[path[1]], path.size() == 4 ? path[3] : "", method, asked,
                      document);
        }
    }

    json MakeSeed() {
        json shapes = json::object();
        seed["simulations"] = MakeEntries(simulations);
        seed["users"] = MakeEntries(users);
        Kind all;
        seed["executions"] = json::array();
        for (auto& [simulationId, kind] : executions) {
            for (json& entry : MakeEntries(kind)) {
                const auto named = entry.find("simulationId");
                if (named == entry.end() || *named != simulationId) {
                    entry["_local"]["simulationId"] = simulationId;
                }
                seed["executions"].push_back(std::move(entry));
            }
            all.details.insert(kind.details.begin(), kind.details.end());
            if (!kind.created.is_null()) {
                all.asked = kind.asked;
                all.created = kind.created;
            }
            all.shape.update(kind.shape);
        }
        DescribeExecutions(all, shapes);
        if (!seed["users"].empty()) { DescribeUsers(); }
        const std::map<std::string, const Kind*> kinds{
            {"simulations", &simulations}, {"executions", &all}, {"users", &users}};
        for (const auto& [name, kind] : kinds) {
            if (!kind->shape.empty()) { shapes[name] = kind->shape; }
        }
        seed["shapes"] = std::move(shapes);
        return seed;
    }

private:
    void DescribeUsers() {
        const json& example = seed["users"][0];
        const auto mail = FindPlaces(example, [](const std::string&, const json& value) {
            return value.is_string() &&
                   value.get_ref<const std::string&>().find('@') != std::string::npos;
        });
        users.shape["email"] = mail.empty() ? json() : json(mail.front().to_string());
        DescribePlaces(users, example,
                       {{"role", {"role", "type"}}, {"createdAt", {"createdat", "created"}}},
                       [](const json& value) { return value.is_string(); });
    }

    static void ReadEntry(Kind& kind, const std::string& id, const std::string& method,
                          const json& asked, const json& document) {
        if (id.empty() && method == "GET") { kind.lists.push_back(document); }
        if (id.empty() && method == "POST") {
            kind.asked = asked;
            kind.created = document;
        }
        if (!id.empty() && (method == "GET" || method == "PATCH")) {
            kind.Meet(id);
            kind.pathIds.insert(id);
            kind.details[id] = document;
        }
    }

    json seed = json::object();
    Kind simulations;
    Kind users;
    std::map<std::string, Kind> executions; ///< by simulation
};

} // namespace

json MakeSeedFromRecord(const std::vector<RecordedExchange>& exchanges) {
    Reader reader;
    for (const RecordedExchange& exchange : exchanges) { reader.Read(exchange); }
    return reader.MakeSeed();
}

} // namespace VarnelBase::Emulation
