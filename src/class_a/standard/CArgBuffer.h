#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <exception>
#include <limits>
#include <new>
#include <string>
#include <type_traits>
#include <utility>

#include "class_a/standard/CArgBufferErrors.h"
#include "class_a/standard/detail/number_text.h"

namespace ksl {

// A list of typed values that become text only when they are asked for. At most `MaxArgs` of them lie one
// after the other in `BufferSize` bytes inside the object. A string of more than `MaxInlineString` bytes,
// terminator included, lies on the heap and takes the 8 bytes of its record there. So numbers and short
// strings cost no allocation.
//
// A `long` takes 4 bytes. A value that needs more is kept as its text, so that it comes out unchanged.
//
// A push that fails throws and leaves the buffer as it was. One buffer belongs to one thread at a time; a
// copy shares nothing with its source.
template <unsigned MaxArgs, unsigned BufferSize, unsigned MaxInlineString>
class CArgBuffer {
  public:
    CArgBuffer() = default;
    CArgBuffer(const CArgBuffer& other) : CArgBuffer() { _copy(other); }
    CArgBuffer& operator=(const CArgBuffer& other);
    virtual ~CArgBuffer() { CArgBuffer::clear(); }

    // Drops all arguments.
    virtual void clear();

    // Throws unless one more argument with `size` bytes fits.
    virtual void _checkSpace(unsigned long size);

    CArgBuffer& pushc(signed char value) { return _store(value, Kind::signedChar); }
    CArgBuffer& pushuc(unsigned char value) { return _store(value, Kind::unsignedChar); }
    CArgBuffer& pushh(short value) { return _store(value, Kind::signedShort); }
    CArgBuffer& pushuh(unsigned short value) { return _store(value, Kind::unsignedShort); }
    CArgBuffer& pushl(long value);
    CArgBuffer& pushul(unsigned long value);
    CArgBuffer& pushx(unsigned long value);  // shown in hexadecimal
    CArgBuffer& pushi(int value) { return _store(value, Kind::signedInt); }
    CArgBuffer& pushui(unsigned int value) { return _store(value, Kind::unsignedInt); }
    CArgBuffer& pushd(double value) { return _store(value, Kind::floating); }

    // The text up to its first zero byte; null is refused.
    CArgBuffer& pushs(const char* text);
    CArgBuffer& pushs(const std::string& text) { return pushs(text.c_str()); }

    // The text of argument `index`, counted from 0.
    std::string arg(unsigned long index) const;

    unsigned long size() const { return _count; }

  private:
    enum class Kind : std::uint32_t {
        signedChar,
        unsignedChar,
        signedShort,
        unsignedShort,
        signedLong,
        unsignedLong,
        hexLong,
        signedInt,
        unsignedInt,
        floating,
        inlineString,
        heapString
    };

    struct Slot {
        std::uint32_t offset;  // counted from the start of _buffer
        Kind kind;
    };

    // What stands in the buffer for a heap string. `block` is a place in _blocks, since a pointer may need
    // more than its share of the 8 bytes.
    struct HeapRecord {
        std::uint32_t size;  // terminator included
        std::uint32_t block;
    };
    static_assert(sizeof(HeapRecord) == 8);

    // A callback throws. One that came back would leave nothing to go on with.
    template <class... Details>
    [[noreturn]] static void _refuse(void (*callback)(Details...), std::type_identity_t<Details>... details) {
        callback(details...);
        std::terminate();
    }

    template <class Value>
    CArgBuffer& _store(const Value& value, Kind kind);
    template <class Value>
    Value _load(const Slot& slot) const;
    void _append(const void* data, std::uint32_t size, Kind kind);
    void _push(const char* data, std::size_t size);
    void _copy(const CArgBuffer& other);
    std::uint32_t _used() const { return static_cast<std::uint32_t>(_next - _buffer.data()); }

    std::array<char, BufferSize> _buffer{};
    char* _next = _buffer.data();
    std::array<Slot, MaxArgs> _args{};
    std::uint32_t _count = 0;
    void (*_tooManyArguments)(const char*) = arg_buffer_too_many_arguments;
    void (*_noSpace)(const char*) = arg_buffer_no_space;
    void (*_noMemory)(const char*) = arg_buffer_no_memory;
    void (*_invalidPointer)(const char*) = arg_buffer_invalid_pointer;
    void (*_outOfBounds)(const char*, unsigned long) = arg_buffer_out_of_bounds;
    std::array<char*, MaxArgs> _blocks{};  // owned; null where the argument is no heap string
};

template <unsigned MaxArgs, unsigned BufferSize, unsigned MaxInlineString>
CArgBuffer<MaxArgs, BufferSize, MaxInlineString>& CArgBuffer<MaxArgs, BufferSize, MaxInlineString>::operator=(
    const CArgBuffer& other) {
    if (this != &other) {
        CArgBuffer::clear();
        _copy(other);
    }
    return *this;
}

template <unsigned MaxArgs, unsigned BufferSize, unsigned MaxInlineString>
void CArgBuffer<MaxArgs, BufferSize, MaxInlineString>::clear() {
    for (std::uint32_t i = 0; i < _count; ++i)
        delete[] std::exchange(_blocks[i], nullptr);
    _buffer.fill(0);
    _args.fill({});
    _next = _buffer.data();
    _count = 0;
}

// Takes over everything from `other` into an empty buffer. The arguments come one at a time, so that a failed
// allocation leaves a buffer that owns what it holds.
template <unsigned MaxArgs, unsigned BufferSize, unsigned MaxInlineString>
void CArgBuffer<MaxArgs, BufferSize, MaxInlineString>::_copy(const CArgBuffer& other) {
    _buffer = other._buffer;
    _args = other._args;
    _next = _buffer.data() + other._used();
    _tooManyArguments = other._tooManyArguments;
    _noSpace = other._noSpace;
    _noMemory = other._noMemory;
    _invalidPointer = other._invalidPointer;
    _outOfBounds = other._outOfBounds;
    for (; _count < other._count; ++_count) {
        const Slot& slot = _args[_count];
        if (slot.kind != Kind::heapString) continue;
        const auto size = _load<HeapRecord>(slot).size;
        _blocks[_count] = new char[size];
        std::memcpy(_blocks[_count], other._blocks[_count], size);
    }
}

template <unsigned MaxArgs, unsigned BufferSize, unsigned MaxInlineString>
void CArgBuffer<MaxArgs, BufferSize, MaxInlineString>::_checkSpace(unsigned long size) {
    if (_count >= MaxArgs) _refuse(_tooManyArguments, "CArgBuffer::_checkSpace");
    if (size > BufferSize - _used()) _refuse(_noSpace, "CArgBuffer::_checkSpace");
}

template <unsigned MaxArgs, unsigned BufferSize, unsigned MaxInlineString>
void CArgBuffer<MaxArgs, BufferSize, MaxInlineString>::_append(const void* data, std::uint32_t size,
                                                               Kind kind) {
    std::memcpy(_next, data, size);
    _args[_count] = {_used(), kind};
    ++_count;
    _next += size;
}

template <unsigned MaxArgs, unsigned BufferSize, unsigned MaxInlineString>
template <class Value>
CArgBuffer<MaxArgs, BufferSize, MaxInlineString>& CArgBuffer<MaxArgs, BufferSize, MaxInlineString>::_store(
    const Value& value, Kind kind) {
    _checkSpace(sizeof value);
    _append(&value, sizeof value, kind);
    return *this;
}

template <unsigned MaxArgs, unsigned BufferSize, unsigned MaxInlineString>
template <class Value>
Value CArgBuffer<MaxArgs, BufferSize, MaxInlineString>::_load(const Slot& slot) const {
    Value value;
    std::memcpy(&value, _buffer.data() + slot.offset, sizeof value);
    return value;
}

template <unsigned MaxArgs, unsigned BufferSize, unsigned MaxInlineString>
CArgBuffer<MaxArgs, BufferSize, MaxInlineString>& CArgBuffer<MaxArgs, BufferSize, MaxInlineString>::pushl(
    long value) {
    if (!std::in_range<std::int32_t>(value)) return pushs(decimal_text(static_cast<long long>(value)));
    return _store(static_cast<std::int32_t>(value), Kind::signedLong);
}

template <unsigned MaxArgs, unsigned BufferSize, unsigned MaxInlineString>
CArgBuffer<MaxArgs, BufferSize, MaxInlineString>& CArgBuffer<MaxArgs, BufferSize, MaxInlineString>::pushul(
    unsigned long value) {
    if (!std::in_range<std::uint32_t>(value)) {
        return pushs(decimal_text(static_cast<unsigned long long>(value)));
    }
    return _store(static_cast<std::uint32_t>(value), Kind::unsignedLong);
}

template <unsigned MaxArgs, unsigned BufferSize, unsigned MaxInlineString>
CArgBuffer<MaxArgs, BufferSize, MaxInlineString>& CArgBuffer<MaxArgs, BufferSize, MaxInlineString>::pushx(
    unsigned long value) {
    if (!std::in_range<std::uint32_t>(value)) return pushs(hex_text(value));
    return _store(static_cast<std::uint32_t>(value), Kind::hexLong);
}

template <unsigned MaxArgs, unsigned BufferSize, unsigned MaxInlineString>
CArgBuffer<MaxArgs, BufferSize, MaxInlineString>& CArgBuffer<MaxArgs, BufferSize, MaxInlineString>::pushs(
    const char* text) {
    if (text == nullptr) _refuse(_invalidPointer, "CArgBuffer::pushs");
    const std::size_t size = std::strlen(text) + 1;
    if (size > MaxInlineString) {
        _push(text, size);
    } else {
        _checkSpace(size);
        _append(text, static_cast<std::uint32_t>(size), Kind::inlineString);
    }
    return *this;
}

template <unsigned MaxArgs, unsigned BufferSize, unsigned MaxInlineString>
void CArgBuffer<MaxArgs, BufferSize, MaxInlineString>::_push(const char* data, std::size_t size) {
    if (data == nullptr) _refuse(_invalidPointer, "CArgBuffer::_push");
    _checkSpace(sizeof(HeapRecord));
    char* block = nullptr;
    if (size <= std::numeric_limits<std::uint32_t>::max()) block = new (std::nothrow) char[size];
    if (block == nullptr) _refuse(_noMemory, "CArgBuffer::_push");
    std::memcpy(block, data, size);
    _blocks[_count] = block;
    const HeapRecord record{static_cast<std::uint32_t>(size), _count};
    _append(&record, sizeof record, Kind::heapString);
}

template <unsigned MaxArgs, unsigned BufferSize, unsigned MaxInlineString>
std::string CArgBuffer<MaxArgs, BufferSize, MaxInlineString>::arg(unsigned long index) const {
    if (index >= _count) _refuse(_outOfBounds, "CArgBuffer::arg", index);
    const Slot& slot = _args[index];
    const auto asSigned = [&](auto value) { return decimal_text(static_cast<long long>(value)); };
    const auto asUnsigned = [&](auto value) { return decimal_text(static_cast<unsigned long long>(value)); };
    switch (slot.kind) {
        case Kind::signedChar:
            return asSigned(_load<signed char>(slot));
        case Kind::unsignedChar:
            return asUnsigned(_load<unsigned char>(slot));
        case Kind::signedShort:
            return asSigned(_load<short>(slot));
        case Kind::unsignedShort:
            return asUnsigned(_load<unsigned short>(slot));
        case Kind::signedLong:
            return asSigned(_load<std::int32_t>(slot));
        case Kind::unsignedLong:
            return asUnsigned(_load<std::uint32_t>(slot));
        case Kind::hexLong:
            return hex_text(_load<std::uint32_t>(slot));
        case Kind::signedInt:
            return asSigned(_load<int>(slot));
        case Kind::unsignedInt:
            return asUnsigned(_load<unsigned int>(slot));
        case Kind::floating:
            return general_text(_load<double>(slot));
        case Kind::inlineString:
            return _buffer.data() + slot.offset;
        case Kind::heapString:
            break;
    }
    const auto record = _load<HeapRecord>(slot);
    return {_blocks[record.block], record.size - 1};
}

}  // namespace ksl
