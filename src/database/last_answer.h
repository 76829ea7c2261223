// What a client in the list was answered last. It is told to an operator; no answer depends on it.
//
// Any thread may read and write it at any time, without a lock.
#pragma once

#include <atomic>

#include "database/client_entry.h"

struct LastAnswer {
    std::int64_t time;  // seconds since 1970; 0 if there was no answer
    std::uint8_t kind;  // the caller's numbers
    std::uint8_t route;
};

// All of it in one word, so that nobody sees half of an answer. On the road of each reply.
inline constexpr int LastAnswerTimeShift = 16;
inline constexpr int LastAnswerKindShift = 8;
inline void NoteLastAnswer(ClientEntry* entry, std::int64_t time, std::uint8_t kind, std::uint8_t route) {
    const std::uint64_t word = static_cast<std::uint64_t>(time) << LastAnswerTimeShift |
                               std::uint64_t{kind} << LastAnswerKindShift | route;
    std::atomic_ref(entry->lastAnswer).store(word, std::memory_order_relaxed);
}
LastAnswer LastAnswerOf(const ClientEntry* entry);

// A reload builds all entries anew. Gives those of the list `to` the answers that the client with the same
// address had in the loaded list `from`, unless they have got newer ones. Either may be null.
void CarryLastAnswers(const ClientEntry* from, ClientEntry* to);
