#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace VarnelBase {

/// Why a text is not a JSON document that can be shown and passed on: "not JSON at byte offset 5"
/// (counted from 0); empty: it is one.
std::string FindJsonProblem(const std::string& text);

/// Whether two valid JSON texts say the same, whatever the order of members and the space between
/// them. Integers are compared digit by digit.
bool IsSameJson(const std::string& one, const std::string& other);

/// Whether an object in a valid JSON text has two members of the same name.
bool HasDuplicateMembers(const std::string& text);

/// One value in a JSON document as it was written: numbers of any size and members that occur twice
/// stay as they are. The document's text must be valid (`FindJsonProblem`) and outlive the view.
class JsonView {
public:
    explicit JsonView(std::string_view value);

    bool IsObject() const { return text.front() == '{'; }
    bool IsArray() const { return text.front() == '['; }
    bool IsString() const { return text.front() == '"'; }
    bool IsNull() const { return text.front() == 'n'; }
    bool IsNumber() const {
        return text.front() == '-' || (text.front() >= '0' && text.front() <= '9');
    }

    /// The elements of an array; none for anything else.
    std::vector<JsonView> ReadElements() const;

    /// The members of an object in their order; none for anything else.
    std::vector<std::pair<std::string, JsonView>> ReadMembers() const;

    /// An object's first member of that name.
    std::optional<JsonView> Find(const std::string& name) const;

    /// The value as it was written.
    std::string_view GetText() const { return text; }

    /// The characters of a string.
    std::string GetString() const;

    /// A number, as precisely as a double can hold it.
    double GetNumber() const;

    /// The value on one line, or with each member on a line of its own.
    ///
    /// @param indentation of each level; 0: one line
    std::string Format(std::size_t indentation) const;

private:
    std::vector<std::string_view> Split() const;

    std::string_view text;
};

} // namespace VarnelBase
