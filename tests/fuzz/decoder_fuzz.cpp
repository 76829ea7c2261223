// What quillonctl reads: a message, and the files of an instance.
#include <cstdlib>
#include <fstream>

#include "class_a/fuzz/expect.h"
#include "quillonctl/event_tail.h"
#include "quillonctl/message_decoder.h"
#include "quillonctl/message_printer.h"
#include "quillonctl/service_port.h"
#include "temporary_folder.h"
#include "tools/json_syntax.h"

namespace {

void Decode(const std::uint8_t* data, std::size_t size) {
    const quillonctl::Bytes message(data, size);
    const quillonctl::DecodedMessage decoded = quillonctl::DecodeMessage(message);
    expect(decoded.length == size, "the length is the message's");
    std::size_t bytes = 0;
    for (const quillonctl::DecodedOption& option : decoded.options)
        bytes += 2 + option.data.size();
    expect(bytes + (decoded.options.empty() ? 0 : sizeof(BootPacket)) <= size,
           "options come out of the message");
    const std::string text = MessageText(decoded, "10.0.0.1:67");
    for (const char c : text)
        expect(c == '\n' || (c >= ' ' && c <= '~'), "what is shown is printable");
    expect(JsonSyntax::IsValid(MessageJson(decoded, "10.0.0.1:67", message)), "the other form is JSON");
}

void ReadFiles(const TemporaryFolder& folder, const std::uint8_t* data, std::size_t size) {
    const auto write = [&](const char* name, std::ios::openmode mode) {
        std::ofstream(folder.Path(name), mode)
            .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    };
    const quillonctl::EventTail tail;
    write("events.log", std::ios::binary | std::ios::app);
    expect(tail.Lines().size() <= 20, "the last few lines are shown");
    for (const std::string& line : tail.Lines())
        expect(!line.empty() && line.find('\n') == std::string::npos, "a line is a line");
    write("services", std::ios::binary);
    quillonctl::ServicePort();
    if (size % 64 == 0) std::remove(folder.Path("events.log").c_str());
}

}  // namespace

// The first byte says what the others are.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const TemporaryFolder folder;
    static const int home = setenv("QUILLON_HOME", folder.Path().c_str(), 1);
    expect(home == 0, "there is a home");
    if (size == 0) return 0;
    if (data[0] % 4 == 0)
        ReadFiles(folder, data + 1, size - 1);
    else
        Decode(data + 1, size - 1);
    return 0;
}
