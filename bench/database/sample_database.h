// A database of any size for the measurements: clients of twenty vendors with ten keys each.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "database/load/client_list.h"
#include "database/option_catalogue.h"
#include "platform/windows_api.h"

struct SampleDatabase {
    HANDLE heap;
    HANDLE listMutex;
    std::string path;
    std::vector<OptionDefinition> catalogue;
    ClientEntry* list = nullptr;
    DWORD total = 0;

    explicit SampleDatabase(DWORD clients);
    ~SampleDatabase();
    SampleDatabase(const SampleDatabase&) = delete;
    SampleDatabase& operator=(const SampleDatabase&) = delete;

    DWORD Load();
    void Unload();  // closes the mutexes and trades the heap for a new one
};

// The address of the client with that number: six bytes, no two alike.
void SampleAddress(DWORD number, BYTE* address);
