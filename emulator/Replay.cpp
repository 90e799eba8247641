#include "Replay.h"

#include <RequestTarget.h>

#include <utility>

#include "JsonDepth.h"

namespace VarnelBase::Emulation {

namespace {

constexpr int NotRecorded = 501;

/// A document, where a body is one: so spaces and the order of members do not matter.
json ReadBody(const std::string& body) {
    json document = MeasureJsonDepth(body) > MaxJsonDepth ? json(json::value_t::discarded)
                                                          : json::parse(body, nullptr, false);
    return document.is_discarded() ? json(WriteJson(body)) : document;
}

/// How a request differs from a recorded one, and by how much.
std::pair<int, std::string> Compare(const Request& recorded, const Request& asked) {
    int distance = 0;
    std::string difference;
    const auto add = [&](int weight, const std::string& text) {
        distance += weight;
        difference += (difference.empty() ? "" : "; ") + text;
    };
    if (recorded.method != asked.method) { add(3, "the method is " + asked.method); }
    const auto there = SplitText(recorded.GetPath(), '/');
    const auto here = SplitText(asked.GetPath(), '/');
    for (std::size_t i = 0; i < std::max(there.size(), here.size()); ++i) {
        if (i < there.size() && i < here.size() && there[i] == here[i]) { continue; }
        add(4, "in the path, \"" + (i < here.size() ? here[i] : "") + "\" is in place of \"" +
                   (i < there.size() ? there[i] : "") + "\"");
    }
    if (ParseQuery(recorded.target) != ParseQuery(asked.target)) { add(2, "the query differs"); }
    const json before = ReadBody(recorded.body);
    const json now = ReadBody(asked.body);
    if (before != now) {
        const json changes = json::diff(before, now);
        const auto place = changes[0].at("path").get<std::string>();
        const int weight = place.empty() || changes.size() > 2 ? 3 : 1;
        add(weight, "the body differs" + (place.empty() ? "" : " at " + place));
    }
    return {distance, difference};
}

} // namespace

Replay::Replay(const std::vector<RecordedExchange>& exchanges, Redaction secrets)
    : redaction(std::move(secrets)) {
    for (const RecordedExchange& exchange : exchanges) { Add(exchange); }
}

void Replay::Add(const RecordedExchange& exchange) {
    Occurrences& occurrences = record[MakeKey(exchange.request)];
    occurrences.request = exchange.request;
    occurrences.answers.push_back(exchange.answer);
}

std::optional<Answer> Replay::Take(const Request& request) {
    const auto found = record.find(MakeKey(request));
    if (found == record.end()) { return std::nullopt; }
    Occurrences& occurrences = found->second;
    if (occurrences.taken == occurrences.answers.size()) { return std::nullopt; }
    return occurrences.answers[occurrences.taken++];
}

std::optional<Answer> Replay::GetLast(const Request& request) const {
    const auto found = record.find(MakeKey(request));
    return found == record.end() ? std::nullopt : std::optional(found->second.answers.back());
}

std::string Replay::DescribeNearest(const Request& request) const {
    const Occurrences* nearest = nullptr;
    std::pair<int, std::string> least;
    for (const auto& [key, occurrences] : record) {
        auto difference = Compare(occurrences.request, request);
        if (nearest == nullptr || difference.first < least.first) {
            nearest = &occurrences;
            least = std::move(difference);
        }
    }
    return nearest == nullptr ? "the record is empty"
                              : "the closest is " + nearest->request.method + " " +
                                    nearest->request.target + ": " + least.second;
}

void Replay::Restart() {
    for (auto& [key, occurrences] : record) { occurrences.taken = 0; }
}

std::string Replay::MakeKey(Request request) const {
    redaction.Redact({&request.headers, nullptr, {&request.target}, {&request.body}});
    std::string key = request.method + "\n" + request.GetPath() + "\n";
    for (const auto& [name, value] : ParseQuery(request.target)) {
        key += name + "=" + value + "\n";
    }
    return key + "\n" + WriteJson(ReadBody(request.body));
}

Answer MakeUnrecordedAnswer(const Replay& replay, const Request& request) {
    return MakeErrorAnswer(NotRecorded, "not_recorded",
                           request.method + " " + request.target + " is not in the record; " +
                               replay.DescribeNearest(request));
}

} // namespace VarnelBase::Emulation
