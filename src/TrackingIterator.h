#pragma once

#include <cstddef>
#include <iterator>

namespace VarnelBase {

/// Lets the JSON parser read a text and tells how far it has read, which its events do not.
class TrackingIterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    TrackingIterator(pointer start, pointer& furthestRead) : at(start), furthest(&furthestRead) {}
    reference operator*() const { return *at; }
    TrackingIterator& operator++() {
        *furthest = ++at;
        return *this;
    }
    bool operator==(const TrackingIterator& other) const { return at == other.at; }
    bool operator!=(const TrackingIterator& other) const { return at != other.at; }

private:
    pointer at;
    pointer* furthest;
};

} // namespace VarnelBase
