#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "Messages.h"

namespace VarnelBase::Emulation {

/// Where the documents of one kind (simulations, executions, users) and their lists hold what the
/// emulator looks for and what it computes: a JSON Pointer for each, or nowhere.
class DocumentShape {
public:
    /// @param kind     what messages call it
    /// @param defaults a pointer for each name
    DocumentShape(std::string kind, const std::map<std::string, std::string>& defaults);

    /// Takes over what a seed says about this kind.
    ///
    /// @throws Refusal 422 naming the member that cannot be used
    void Read(const json& document);

    /// The value at a name's place; null pointer: the place is nowhere or the document lacks it.
    const json* Find(const json& document, const std::string& name) const;

    /// The text at a name's place, of a number its digits; empty without either.
    std::string FindText(const json& document, const std::string& name) const;

    /// Puts a value where the name's place is; nothing where that is nowhere.
    ///
    /// @throws Refusal 422 when the document has something else on the way
    void Put(json& document, const std::string& name, json value) const;

    void Remove(json& document, const std::string& name) const;

    json MakeList(json items, std::int64_t total) const;

    const std::string& GetKind() const { return kind; }

    /// What a new entry consists of, apart from what is put into it.
    const json& GetStart() const { return start; }

private:
    using Place = std::optional<json::json_pointer>;

    std::string kind;
    std::map<std::string, Place> places;
    json list = json::object();
    json start = json::object();
};

/// The shapes of everything that a seed can say them of.
struct DocumentShapes {
    DocumentShapes();

    /// @param given the member "shapes" of a seed; null: as they are
    void Read(const json& given);

    DocumentShape simulations;
    DocumentShape executions;
    DocumentShape users;
    std::map<std::string, json> states;  ///< what stands for "queued", "running", ...
    std::map<std::string, json> results; ///< what an execution in a state has besides, merged
    json document;                       ///< what was read
};

} // namespace VarnelBase::Emulation
