// bootptab as a load of the service makes it: the catalogue, the entries, and what the load says of them.
#pragma once

#include <string>
#include <vector>

#include "database/client_entry.h"
#include "service/server_parameters.h"

namespace quillonctl {

// Releases what it loaded when it goes.
class LoadedDatabase {
  public:
    // Loads at most `record.CacheSize` clients, as the service would, with its other settings.
    LoadedDatabase(const std::string& path, const ServerParameters& record);
    ~LoadedDatabase();
    LoadedDatabase(const LoadedDatabase&) = delete;
    LoadedDatabase& operator=(const LoadedDatabase&) = delete;

    // Results of ReadOptionCatalogue and LoadClientDatabase (database_result.h). The latter counts only if
    // the former is DatabaseOk.
    DWORD CatalogueResult() const { return catalogueResult_; }
    DWORD ListResult() const { return listResult_; }

    // A load of the service with this file fails.
    bool IsRefused() const { return catalogueResult_ != 0 || listResult_ != 0; }

    // Ends in an empty row; that alone if it couldn't be read.
    const OptionDefinition* Catalogue() const { return catalogue_; }
    const ClientEntry* FirstEntry() const { return head_; }

    // The names of the sections that the load reports as malformed, in file order.
    const std::vector<std::string>& Malformed() const { return malformed_; }

    HANDLE Heap() const { return heap_; }

  private:
    void ReadCatalogue(const std::string& path);

    HANDLE heap_;
    DWORD catalogueResult_ = 0;
    DWORD listResult_ = 0;
    OptionDefinition* catalogue_ = nullptr;
    ClientEntry* head_ = nullptr;
    std::vector<std::string> malformed_;
};

}  // namespace quillonctl
