#pragma once

#include <cstddef>
#include <functional>
#include <iterator>
#include <memory>

#include "Outcome.h"

namespace VarnelBase {

/// The entries of a list, page by page, as a range for one loop:
///
///     for (const json& simulation : client.Simulations("user")) { ... }
///
/// Each page is requested when the loop reaches it. An entry whose "id" has occurred before is
/// skipped, so that an entry which moves between pages during the loop appears once. The list ends
/// at its "total" if the pages have one, else after a page that is not full.
///
/// If a page cannot be read, the loop throws `CallFailed`: a failure is never mistaken for the end.
/// Keeps one page in memory. The client must outlive the listing.
class Listing {
public:
    /// Requests one page, by limit and offset.
    using PageSource = std::function<Outcome(int, int)>;

    struct State; ///< private

    /// An input iterator: forward only, one pass.
    class Iterator {
    public:
        /// @cond what every input iterator has
        using iterator_category = std::input_iterator_tag;
        using value_type = json;
        using difference_type = std::ptrdiff_t;
        using pointer = const json*;
        using reference = const json&;

        explicit Iterator(State* list) : state(list) {}
        reference operator*() const;
        pointer operator->() const { return &**this; }
        Iterator& operator++();
        void operator++(int) { ++*this; }
        bool operator==(const Iterator& other) const { return state == other.state; }
        bool operator!=(const Iterator& other) const { return state != other.state; }
        /// @endcond

    private:
        State* state; ///< null at the end
    };

    /// The list whose pages `source` returns.
    Listing(PageSource source, int pageSize);
    ~Listing();
    Listing(Listing&&) noexcept;            ///< The other may only be destroyed or assigned to.
    Listing& operator=(Listing&&) noexcept; ///< The other may only be destroyed or assigned to.

    /// Starts again from the first page.
    ///
    /// @throws CallFailed when the page cannot be read
    // NOLINTNEXTLINE(readability-identifier-naming): a range-based for looks for this name
    Iterator begin();

    /// The position after the last entry.
    // NOLINTNEXTLINE(readability-identifier-naming): a range-based for looks for this name
    Iterator end() { return Iterator(nullptr); }

private:
    std::unique_ptr<State> state;
};

} // namespace VarnelBase
