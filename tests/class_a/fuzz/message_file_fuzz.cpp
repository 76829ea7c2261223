#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "class_a/fuzz/expect.h"
#include "class_a/standard/CException.h"
#include "class_a/standard/CMessageStore.h"

namespace {

// The file of this process, removed at its end.
struct MessageFile {
    std::string directory = std::filesystem::temp_directory_path().string();
    std::string name = "ksl-fuzz-messages-" + std::to_string(getpid());
    ~MessageFile() { std::filesystem::remove(directory + '/' + name); }
};

}  // namespace

// The input is a message locale file. What was stored before a broken record stays.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const MessageFile file;
    {
        std::ofstream out(file.directory + '/' + file.name, std::ios::binary);
        out << "id=7\nen_US=first\n\n";
        out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    }
    ksl::CMessageStore store;
    store.setLocales("*");
    try {
        store.execute(file.directory, file.name);
    } catch (ksl::CException& failure) {
        expect(failure.function() == "CMessageStore::_processRecord" ||
                   failure.function().starts_with("CNumberConversion::"),
               "only records without text and numbers are refused");
    }
    ksl::CMessage message("first");
    store.translate(message, "de_DE");
    const std::string text(reinterpret_cast<const char*>(data), size);
    expect(message.id() == 7 || text.find("first") != std::string::npos,
           "only a record like it replaces the first");
    return 0;
}
