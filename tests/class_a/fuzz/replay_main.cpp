#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

// Runs a fuzz target over the files of the folders it is given. A folder without files is an error: it would
// prove nothing.
int main(int count, char** arguments) {
    for (int i = 1; i < count; ++i) {
        int files = 0;
        for (const auto& entry : std::filesystem::directory_iterator(arguments[i])) {
            std::ifstream file(entry.path(), std::ios::binary);
            std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
            bytes.shrink_to_fit();  // so that a read past the input is a read past its block
            std::printf("%s\n", entry.path().filename().c_str());
            std::fflush(stdout);
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
            ++files;
        }
        if (files == 0) {
            std::fprintf(stderr, "%s: no inputs\n", arguments[i]);
            return 1;
        }
    }
    return count > 1 ? 0 : 1;
}
