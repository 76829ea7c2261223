#include "quillonctl/check/loaded_database.h"

#include <stdexcept>

#include "database/database_result.h"
#include "database/load/client_list.h"

namespace quillonctl {
namespace {

// The load's callback takes no argument beside the name, and one check runs at a time.
std::vector<std::string>* Reported;

int NoteMalformed(const char* section) {
    Reported->emplace_back(section);
    return 1;
}

OptionDefinition NoOptions = {};

}  // namespace

LoadedDatabase::LoadedDatabase(const std::string& path, const ServerParameters& record)
    : heap_(HeapCreate(0, ClientHeapSize(record.CacheSize), 0)), catalogue_(&NoOptions) {
    if (heap_ == nullptr) throw std::runtime_error("there is no memory for that CacheSize");
    ReadCatalogue(path);
    if (catalogueResult_ != DatabaseOk) return;
    DWORD total = 0;
    DWORD cacheSize = record.CacheSize;
    Reported = &malformed_;
    listResult_ = LoadClientDatabase(record.TerminateStrings, heap_, path.c_str(), &total, &head_, &cacheSize,
                                     catalogue_, NoteMalformed);
}

LoadedDatabase::~LoadedDatabase() {
    for (const ClientEntry* entry = head_; entry != nullptr; entry = entry->next)
        CloseHandle(entry->mutex);
    HeapDestroy(heap_);
}

void LoadedDatabase::ReadCatalogue(const std::string& path) {
    for (DWORD capacity = 128;; capacity *= 2) {
        const SIZE_T size = (capacity + 1) * sizeof(OptionDefinition);
        auto* rows = static_cast<OptionDefinition*>(HeapAlloc(heap_, HEAP_ZERO_MEMORY, size));
        if (rows == nullptr) throw std::bad_alloc();
        catalogueResult_ = ReadOptionCatalogue(heap_, path.c_str(), capacity, rows);
        if (catalogueResult_ == DatabaseOk) catalogue_ = rows;
        if (catalogueResult_ != CatalogueTooSmall) return;
        HeapFree(heap_, 0, rows);
    }
}

}  // namespace quillonctl
