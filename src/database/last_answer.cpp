#include "database/last_answer.h"

#include "database/lookup/client_index.h"

namespace {

std::atomic_ref<std::uint64_t> WordOf(const ClientEntry* entry) {
    return std::atomic_ref(const_cast<ClientEntry*>(entry)->lastAnswer);
}

}  // namespace

LastAnswer LastAnswerOf(const ClientEntry* entry) {
    const std::uint64_t word = WordOf(entry).load(std::memory_order_relaxed);
    return {static_cast<std::int64_t>(word >> LastAnswerTimeShift),
            static_cast<std::uint8_t>(word >> LastAnswerKindShift), static_cast<std::uint8_t>(word)};
}

void CarryLastAnswers(const ClientEntry* from, ClientEntry* to) {
    if (from == nullptr || from->index == nullptr) return;
    for (ClientEntry* entry = to; entry != nullptr; entry = entry->next) {
        const IndexedClient* const former =
            FindIndexedClient(from->index, entry->packet.chaddr, HardwareAddressSize);
        if (former == nullptr) continue;
        std::uint64_t none = 0;
        WordOf(entry).compare_exchange_strong(none, WordOf(former->entry).load(std::memory_order_relaxed),
                                              std::memory_order_relaxed);
    }
}
