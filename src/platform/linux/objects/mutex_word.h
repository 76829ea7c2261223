// The state of a mutex in one word, and every decision on it. Within the layer only.
//
// The protocol:
// - The word says who owns the mutex, whether threads stand in line for it (kQueued), whether one of them has
//   been woken and hasn't looked yet (kWaking), and whether the handles are closed.
// - A free mutex may be taken by any thread. The owner gives it back by itself if no thread stands in line,
// or if
//   one that was woken is still on its way. So a thread that takes a mutex again and again pays for one
//   wake-up, not for one each time.
// - The line has a lock. Under it alone threads line up, leave after a time-out and are called out of it, and
//   under it alone kQueued changes: with the lock held it says exactly whether the line is empty. A thread
//   lines up only while the mutex is owned; seen free or closed, it looks again instead.
// - An owner that finds a line takes its lock and calls the first thread: it frees the mutex and wakes that
//   thread (kWaking), or, once the thread has been passed over kPatience times, makes it the owner. A
//   time-out that comes after the call changes nothing: a thread that was called looks, and an owner stays
//   one.
// - A thread that was woken looks once at least, clearing kWaking in the same step: it takes the mutex, or
//   lines up in front.
//
// Why no mutex is lost: a free mutex with a line has kWaking set. Lining up needs an owner; giving back with
// a line and without kWaking sets kWaking or names a new owner; and kWaking goes only with a look, after
// which the mutex is owned or closed. With kWaking set, the thread that was woken is running and will look.
// An owned mutex with a line has kQueued set, so its owner calls the next one. The decision is made on the
// line as it is under its lock, and on the word that the same step replaces; nothing is decided on an earlier
// look.
#pragma once

#include <cstdint>
#include <optional>

namespace mutex_word {

using Word = std::uint32_t;

inline constexpr Word kClosed = 1;     // stays
inline constexpr Word kAbandoned = 2;  // of a free mutex only
inline constexpr Word kQueued = 4;
inline constexpr Word kWaking = 8;
inline constexpr Word kOwner = ~(kClosed | kAbandoned | kQueued | kWaking);  // 0 is free
inline constexpr unsigned kPatience = 4;

inline constexpr std::uint32_t kLastThreadId = kOwner >> 2;

// The owner's part for a thread with that id, which is a multiple of 4.
constexpr Word OwnedBy(std::uint32_t threadId) {
    return threadId << 2;
}

enum class Attempt : std::uint8_t { Taken, TakenAbandoned, TakenAgain, Busy, Closed };

struct Look {
    Attempt attempt;
    Word next;
};

// A look of a thread at the mutex, which may be a look after it was woken.
constexpr Look LookAt(Word word, Word self, bool woken) {
    const Word seen = woken ? word & ~kWaking : word;
    if ((word & kClosed) != 0) return {Attempt::Closed, seen};
    if ((word & kOwner) == self) return {Attempt::TakenAgain, seen};
    if ((word & kOwner) != 0) return {Attempt::Busy, seen};
    return {(word & kAbandoned) != 0 ? Attempt::TakenAbandoned : Attempt::Taken, self | (seen & ~kAbandoned)};
}

// What the owner leaves; `abandoned` is kAbandoned or 0.
constexpr Word Freed(Word word, Word abandoned) {
    return (word & ~kOwner) | abandoned;
}

// Whether an owner that gives the mutex back has to call a thread out of the line.
constexpr bool HasToCall(Word word) {
    return (word & kQueued) != 0 && (word & kWaking) == 0;
}

// With a thread in line; nothing if it has to look again.
constexpr std::optional<Word> LinedUp(Word word) {
    if ((word & kClosed) != 0 || (word & kOwner) == 0) return std::nullopt;
    return word | kQueued;
}

constexpr Word WithLine(Word word, bool isEmpty) {
    return isEmpty ? word & ~kQueued : word;
}

// Whether the first in line becomes the owner instead of being woken.
constexpr bool IsHandedOver(unsigned passedOver) {
    return passedOver >= kPatience;
}

// Given back with a call to the first in line, whom it leaves.
constexpr Word Called(Word word, Word abandoned, Word first, unsigned passedOver, bool isLastInLine) {
    const Word rest = WithLine(word, isLastInLine) & ~kOwner;
    return IsHandedOver(passedOver) ? rest | first : rest | abandoned | kWaking;
}

constexpr Word Closed(Word word) {
    return (word | kClosed) & ~kQueued;
}

}  // namespace mutex_word
