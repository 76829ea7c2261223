// The state of a mutex in one word, and every decision on it. Within the layer only.
//
// The protocol:
// - The word says who owns the mutex, whether threads stand in line for it (QueuedMark), whether one of them
// has
//   been woken and hasn't looked yet (Waking), and whether the handles are closed.
// - A free mutex may be taken by any thread. The owner gives it back by itself if no thread stands in line,
// or if
//   one that was woken is still on its way. So a thread that takes a mutex again and again pays for one
//   wake-up, not for one each time.
// - The line has a lock. Under it alone threads line up, leave after a time-out and are called out of it, and
//   under it alone QueuedMark changes: with the lock held it says exactly whether the line is empty. A thread
//   lines up only while the mutex is owned; seen free or closed, it looks again instead.
// - An owner that finds a line takes its lock and calls the first thread: it frees the mutex and wakes that
//   thread (Waking), or, once the thread has been passed over Patience times, makes it the owner. A
//   time-out that comes after the call changes nothing: a thread that was called looks, and an owner stays
//   one.
// - A thread that was woken looks once at least, clearing Waking in the same step: it takes the mutex, or
//   lines up in front.
//
// - An owner may also give the mutex back without a call, if it promises to look at it once more (promise.h):
// it
//   takes it again, or takes it and gives it back as usual before anything else may hold it up.
//
// Why no mutex is lost: a free mutex with a line has Waking set, or is the promise of a thread. Lining up
// needs an owner; giving back with a line and without Waking sets Waking, names a new owner or is a promise;
// and Waking goes only with a look, as a promise does, after which the mutex is owned or closed. With Waking
// set, the thread that was woken is running and will look; so is the one that has promised. An owned mutex
// with a line has QueuedMark set, so its owner calls the next one. The decision is made on the line as it is
// under its lock, and on the word that the same step replaces; nothing is decided on an earlier look.
#pragma once

#include <cstdint>
#include <optional>

namespace mutex_word {

using Word = std::uint32_t;

inline constexpr Word ClosedMark = 1;     // stays
inline constexpr Word AbandonedMark = 2;  // of a free mutex only
inline constexpr Word QueuedMark = 4;
inline constexpr Word Waking = 8;
inline constexpr Word OwnerMask = ~(ClosedMark | AbandonedMark | QueuedMark | Waking);  // 0 is free
inline constexpr unsigned Patience = 4;

inline constexpr std::uint32_t LastThreadId = OwnerMask >> 2;

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
    const Word seen = woken ? word & ~Waking : word;
    if ((word & ClosedMark) != 0) return {Attempt::Closed, seen};
    if ((word & OwnerMask) == self) return {Attempt::TakenAgain, seen};
    if ((word & OwnerMask) != 0) return {Attempt::Busy, seen};
    return {(word & AbandonedMark) != 0 ? Attempt::TakenAbandoned : Attempt::Taken,
            self | (seen & ~AbandonedMark)};
}

// What the owner leaves; `abandoned` is AbandonedMark or 0.
constexpr Word Freed(Word word, Word abandoned) {
    return (word & ~OwnerMask) | abandoned;
}

// Whether an owner that gives the mutex back has to call a thread out of the line.
constexpr bool HasToCall(Word word) {
    return (word & QueuedMark) != 0 && (word & Waking) == 0;
}

// With a thread in line; nothing if it has to look again.
constexpr std::optional<Word> LinedUp(Word word) {
    if ((word & ClosedMark) != 0 || (word & OwnerMask) == 0) return std::nullopt;
    return word | QueuedMark;
}

constexpr Word WithLine(Word word, bool isEmpty) {
    return isEmpty ? word & ~QueuedMark : word;
}

// Whether the first in line becomes the owner instead of being woken.
constexpr bool IsHandedOver(unsigned passedOver) {
    return passedOver >= Patience;
}

// Given back with a call to the first in line, whom it leaves.
constexpr Word Called(Word word, Word abandoned, Word first, unsigned passedOver, bool isLastInLine) {
    const Word rest = WithLine(word, isLastInLine) & ~OwnerMask;
    return IsHandedOver(passedOver) ? rest | first : rest | abandoned | Waking;
}

constexpr Word Closed(Word word) {
    return (word | ClosedMark) & ~QueuedMark;
}

}  // namespace mutex_word
