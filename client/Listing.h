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
/// A page is asked for when the loop comes to it. An entry whose "id" was there before is left out,
/// so that entries which move between pages while the loop runs come once. The list ends with
/// its "total", where the pages have one, else with a page that is not full.
///
/// A page that cannot be read throws `CallFailed`, from the loop itself: a failure cannot be
/// mistaken for the end. Keeps one page in memory. The client must outlive it.
class Listing {
public:
    /// Asks for one page: limit and offset.
    using PageSource = std::function<Outcome(int, int)>;

    struct State; ///< is the implementation's

    /// An input iterator: it moves forward, once.
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
        State* state; ///< none at the end
    };

    /// The list whose pages `source` returns.
    Listing(PageSource source, int pageSize);
    ~Listing();
    Listing(Listing&&) noexcept;            ///< The other one may only be destroyed or assigned to.
    Listing& operator=(Listing&&) noexcept; ///< The other one may only be destroyed or assigned to.

    /// Starts again from the first page.
    ///
    /// @throws CallFailed when the page cannot be read
    // NOLINTNEXTLINE(readability-identifier-naming): a range-based for looks for this name
    Iterator begin();

    /// Behind the last entry.
    // NOLINTNEXTLINE(readability-identifier-naming): a range-based for looks for this name
    Iterator end() { return Iterator(nullptr); }

private:
    std::unique_ptr<State> state;
};

} // namespace VarnelBase
