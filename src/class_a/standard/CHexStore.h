#pragma once

#include <cstddef>
#include <string>

#include "class_a/standard/CBuffer.h"
#include "class_a/standard/CObject.h"

namespace ksl {

class CIPAddress;

// A string of bytes whose text form is pairs of hexadecimal digits with a separator between them: "0A-FF".
//
// Up to 64 bytes lie inside the object. A store owns its bytes alone; it belongs to one thread at a time.
// Setting and clearing wipe the whole storage that was in use before.
class CHexStore : public CObject {
  public:
    using Buffer = CBuffer<unsigned char, 64>;

    static constexpr std::size_t defaultCapacity = 64;

    // An empty store with room for `capacity` bytes.
    explicit CHexStore(std::size_t capacity = defaultCapacity, std::string separator = "-");
    // These read `text` as `set` does, and throw as it does. A null separator is "-".
    CHexStore(std::string text, std::string separator = "-", std::size_t capacity = defaultCapacity);
    CHexStore(const char* text, const char* separator = "-", std::size_t capacity = defaultCapacity);
    CHexStore(const void* bytes, std::size_t length, const char* separator = "-",
              std::size_t capacity = defaultCapacity);
    CHexStore(const CHexStore& other);
    ~CHexStore() override;

    // Takes over bytes and separator.
    CHexStore& operator=(const CHexStore& other);
    // Reads the text with the separator set back to "-".
    CHexStore& operator=(const char* text);
    // Takes over the bytes of the address in network byte order; the separator stays. An address of unknown
    // kind empties the store and throws.
    CHexStore& operator=(const CIPAddress& address);

    // Reads pairs of digits of either case, up to the first zero byte of the text. Between two pairs as many
    // characters as the separator has are skipped, whatever they are; they may also end the text. Returns
    // true; throws a `CException` at a character that is no digit, and keeps the bytes read so far. A null
    // text counts as an empty one.
    bool set(const std::string& text) override;
    // The bytes in upper case pairs, with the separator between two of them.
    std::string string() const override;
    virtual bool set(const char* text);

    void separator(const std::string& separator) { _separator = separator; }

    // Empties the store and takes `length` bytes, which must not be those of this store.
    void set(const void* bytes, std::size_t length);
    // Adds bytes, which may be those of this store. A null pointer adds nothing.
    void append(const void* bytes, std::size_t length);
    void append(unsigned char value, std::size_t count) { _buffer.append(value, count); }
    void assign(std::size_t count, unsigned char value) { _buffer.assign(count, value); }
    void push_back(unsigned char value) { _buffer.push_back(value); }
    void pop_back() { _buffer.pop_back(); }
    void clear() { _buffer.clear(); }
    // Inserts at the iterator's index. That is the front for `end()` itself, which belongs to no store, and
    // the place after the last byte for an iterator that was stepped to the end.
    void insert(CBufferIterator<unsigned char, 64> position, unsigned char value);

    std::size_t size() const { return _buffer.size(); }
    std::size_t capacity() const { return _buffer.capacity(); }
    bool empty() const { return _buffer.empty(); }
    unsigned char* data() { return _buffer.data(); }
    const unsigned char* data() const { return _buffer.data(); }
    // As `data`, but null for an empty store.
    unsigned char* raw() { return empty() ? nullptr : data(); }
    const unsigned char* raw() const { return empty() ? nullptr : data(); }
    // The index, which the caller keeps below `size()`, is not tested.
    unsigned char& at(std::size_t i) { return _buffer.at(i); }
    const unsigned char& at(std::size_t i) const { return _buffer.at(i); }
    unsigned char& operator[](std::size_t i) { return _buffer[i]; }
    const unsigned char& operator[](std::size_t i) const { return _buffer[i]; }

    Buffer::iterator begin() { return _buffer.begin(); }
    Buffer::const_iterator begin() const { return _buffer.begin(); }
    const Buffer::iterator& end() { return _buffer.end(); }
    const Buffer::const_iterator& end() const { return _buffer.end(); }
    Buffer::reverse_iterator rbegin() { return _buffer.rbegin(); }
    Buffer::const_reverse_iterator rbegin() const { return _buffer.rbegin(); }
    const Buffer::reverse_iterator& rend() { return _buffer.rend(); }
    const Buffer::const_reverse_iterator& rend() const { return _buffer.rend(); }

    CHexStore& operator+=(const CHexStore& other);
    CHexStore operator+(const CHexStore& other) const { return CHexStore(*this) += other; }

    // Compare the bytes; the separator takes no part.
    bool operator==(const CHexStore& other) const { return _buffer == other._buffer; }
    bool operator!=(const CHexStore& other) const { return _buffer != other._buffer; }
    bool operator<(const CHexStore& other) const { return _buffer < other._buffer; }
    bool operator<=(const CHexStore& other) const { return _buffer <= other._buffer; }
    bool operator>(const CHexStore& other) const { return _buffer > other._buffer; }
    bool operator>=(const CHexStore& other) const { return _buffer >= other._buffer; }

  protected:
    // Writes the two digits of a byte, and no terminator.
    virtual void _byte2Hex(unsigned char byte, char* out) const;
    // Reads two digits; the second character is not looked at when the first is none.
    virtual unsigned char _hex2Byte(const char* pair) const;

  private:
    unsigned char _char2Nybble(char c) const;

    Buffer _buffer;
    std::string _separator;
};

}  // namespace ksl
