#pragma once

#include <cstddef>
#include <iterator>
#include <type_traits>

namespace ksl {

template <typename T, std::size_t N>
class CBuffer;

// A position in a buffer, the common text of the four iterator classes named at the end of this header.
//
// `Buffer` is the buffer's type, const in the const classes. An iterator is a plain value that borrows its
// buffer: the buffer must outlive it. It names its element by index, so growing the buffer leaves it valid.
// A forward iterator steps from the first element to the last. A reverse iterator steps from the last to
// the first; its index is one more than that of the element it refers to.
//
// An iterator that has run off the buffer equals every other such iterator, and must not be dereferenced.
template <typename Buffer, bool Reverse>
class CBufferPosition {
  public:
    using value_type = typename Buffer::value_type;
    using reference = std::conditional_t<std::is_const_v<Buffer>, const value_type&, value_type&>;
    using pointer = std::remove_reference_t<reference>*;
    using difference_type = std::ptrdiff_t;
    using iterator_category = std::forward_iterator_tag;

    // The end iterator: it belongs to no buffer.
    CBufferPosition() = default;
    CBufferPosition(Buffer* buffer, std::size_t index, bool atEnd)
        : _buffer(buffer), _index(index), _atEnd(atEnd) {}
    CBufferPosition(const CBufferPosition&) = default;
    CBufferPosition& operator=(const CBufferPosition&) = default;
    virtual ~CBufferPosition() = default;

    std::size_t index() const { return _index; }

    reference operator*() const { return _buffer->at(Reverse ? _index - 1 : _index); }

    // Steps to the next element. Stepping on from the end changes nothing.
    CBufferPosition& operator++() {
        if (_atEnd) return *this;
        if constexpr (Reverse) {
            --_index;
            _atEnd = _index == 0;
        } else {
            ++_index;
            _atEnd = _index >= _buffer->size();
        }
        return *this;
    }

    CBufferPosition operator++(int) {
        CBufferPosition before(*this);
        ++*this;
        return before;
    }

    bool operator==(const CBufferPosition& other) const {
        if (_atEnd && other._atEnd) return true;
        return _atEnd == other._atEnd && _index == other._index && _buffer == other._buffer;
    }

  private:
    Buffer* _buffer = nullptr;
    std::size_t _index = 0;
    bool _atEnd = true;
};

template <typename T, std::size_t N>
using CBufferIterator = CBufferPosition<CBuffer<T, N>, false>;
template <typename T, std::size_t N>
using CBufferConstIterator = CBufferPosition<const CBuffer<T, N>, false>;
template <typename T, std::size_t N>
using CBufferReverseIterator = CBufferPosition<CBuffer<T, N>, true>;
template <typename T, std::size_t N>
using CBufferConstReverseIterator = CBufferPosition<const CBuffer<T, N>, true>;

}  // namespace ksl
