#pragma once

#include <algorithm>
#include <cstddef>
#include <limits>
#include <memory>
#include <new>
#include <utility>

#include "class_a/standard/CBufferIterator.h"

namespace ksl {

// A growable array whose first `N` elements live inside the object.
//
// The buffer owns its storage alone: a copy has its own. Capacity doubles when more room is needed and never
// shrinks. `T` is a plain value that can be copied without failing. An allocation that fails leaves the
// buffer as it was and passes `std::bad_alloc` on. No locks: a buffer belongs to one thread at a time.
template <typename T, std::size_t N>
class CBuffer {
    static_assert(N > 0, "the capacity doubles, so it cannot start at nothing");

  public:
    using value_type = T;
    using iterator = CBufferIterator<T, N>;
    using const_iterator = CBufferConstIterator<T, N>;
    using reverse_iterator = CBufferReverseIterator<T, N>;
    using const_reverse_iterator = CBufferConstReverseIterator<T, N>;

    // An empty buffer with room for `capacity` elements, for `N` at the least.
    explicit CBuffer(std::size_t capacity) {
        if (capacity <= N) return;
        _data = new T[capacity]();
        _capacity = capacity;
    }

    // An equal buffer of the other's capacity.
    CBuffer(const CBuffer& other) : CBuffer(other._capacity) { *this = other; }

    virtual ~CBuffer() {
        if (_capacity > N) delete[] _data;
    }

    // Takes over the other's elements; the capacity only grows.
    CBuffer& operator=(const CBuffer& other) {
        if (this == &other) return *this;
        reserve(other._capacity);
        std::copy_n(other._data, other._size, _data);
        _size = other._size;
        return *this;
    }

    std::size_t size() const { return _size; }
    std::size_t capacity() const { return _capacity; }
    bool empty() const { return _size == 0; }
    T* data() { return _data; }
    const T* data() const { return _data; }

    // The element at `i`, which the caller keeps below `size()`: it is not tested.
    T& operator[](std::size_t i) { return _data[i]; }
    const T& operator[](std::size_t i) const { return _data[i]; }
    T& at(std::size_t i) { return _data[i]; }
    const T& at(std::size_t i) const { return _data[i]; }

    // Makes room for `n` elements in all.
    void reserve(std::size_t n) { _grow(n); }

    // Makes the buffer `count` times `value`.
    void assign(std::size_t count, T value) {
        _grow(count);
        std::fill_n(_data, count, value);
        _size = count;
    }

    // Copies `count` elements to the end. `source` may lie in this buffer.
    void append(const T* source, std::size_t count) {
        const std::unique_ptr<T[]> replaced = _grow(_sizeWith(count));
        std::copy_n(source, count, _data + _size);
        _size += count;
    }

    void append(T value, std::size_t count) {
        _grow(_sizeWith(count));
        std::fill_n(_data + _size, count, value);
        _size += count;
    }

    void push_back(T value) { append(std::move(value), 1); }

    // Puts `value` before the element at `index`, which the caller keeps at or below `size()`.
    void insert(std::size_t index, T value) {
        _grow(_sizeWith(1));
        if (index < _size) std::copy_backward(_data + index, _data + _size, _data + _size + 1);
        _data[index] = std::move(value);
        ++_size;
    }

    // Drops the last element, if there is one.
    void pop_back() {
        if (_size != 0) --_size;
    }

    // Empties the buffer and wipes its whole storage, also what lies after the elements in use.
    void clear() {
        std::fill_n(_data, _capacity, T());
        _size = 0;
    }

    iterator begin() { return iterator(this, 0, empty()); }
    const_iterator begin() const { return const_iterator(this, 0, empty()); }
    reverse_iterator rbegin() { return reverse_iterator(this, _size, empty()); }
    const_reverse_iterator rbegin() const { return const_reverse_iterator(this, _size, empty()); }

    const iterator& end() { return _endOf<iterator>(); }
    const const_iterator& end() const { return _endOf<const_iterator>(); }
    const reverse_iterator& rend() { return _endOf<reverse_iterator>(); }
    const const_reverse_iterator& rend() const { return _endOf<const_reverse_iterator>(); }

    bool operator==(const CBuffer& other) const {
        return _size == other._size && std::equal(_data, _data + _size, other._data);
    }
    bool operator!=(const CBuffer& other) const { return !(*this == other); }
    // Element by element; of two buffers of which one begins the other, the shorter is the lesser.
    bool operator<(const CBuffer& other) const {
        return std::lexicographical_compare(_data, _data + _size, other._data, other._data + other._size);
    }
    bool operator>(const CBuffer& other) const { return !(*this < other) && !(*this == other); }
    bool operator>=(const CBuffer& other) const { return !(*this < other); }
    bool operator<=(const CBuffer& other) const { return !(*this > other); }

  private:
    // One end iterator serves all buffers; it is never destroyed, so that buffers in static storage may use
    // it.
    template <typename Iterator>
    static const Iterator& _endOf() {
        static const Iterator* const end = new Iterator();
        return *end;
    }

    std::size_t _sizeWith(std::size_t count) const {
        if (count > std::numeric_limits<std::size_t>::max() - _size) throw std::bad_array_new_length();
        return _size + count;
    }

    // Makes room for `n` elements in all. Returns the block that was replaced, if there was one, so that a
    // caller whose source lies in it can keep it until the copying is done.
    std::unique_ptr<T[]> _grow(std::size_t n) {
        if (n <= _capacity) return nullptr;
        std::size_t capacity = _capacity;
        while (capacity < n)
            capacity = capacity > std::numeric_limits<std::size_t>::max() / 2 ? n : capacity * 2;
        T* const block = new T[capacity]();
        std::copy_n(_data, _size, block);
        std::unique_ptr<T[]> replaced(_capacity > N ? _data : nullptr);
        _data = block;
        _capacity = capacity;
        return replaced;
    }

    T _inlined[N] = {};  // not `_inline`, which compilers for Windows take for a keyword
    T* _data = _inlined;
    std::size_t _size = 0;
    std::size_t _capacity = N;
};

}  // namespace ksl
