#include "database/boot_file.h"

#include <cstring>

#include "database/load/shared_sections.h"

namespace {

// The bytes after the last zero byte of the field.
std::size_t MediaTextLength(const BootPacket* packet) {
    std::size_t length = 0;
    while (length < BootFileSize && packet->file[BootFileSize - 1 - length] != '\0')
        ++length;
    return length;
}

// A field without text has its name and NUL only: the zero byte in front of the text is the text's own.
bool Fits(std::size_t nameLength, std::size_t textLength) {
    const std::size_t tail = textLength == 0 ? 0 : textLength + 1;
    return nameLength + 1 + tail <= BootFileSize;
}

}  // namespace

std::size_t BootFileLength(const BootPacket* packet) {
    const void* terminator = std::memchr(packet->file, '\0', BootFileSize);
    if (terminator == nullptr) return BootFileSize;
    return static_cast<std::size_t>(static_cast<const char*>(terminator) - packet->file);
}

bool StoreBootFile(BootPacket* packet, const char* name) {
    const std::size_t length = std::strlen(name);
    if (!Fits(length, MediaTextLength(packet))) return false;
    std::memcpy(packet->file, name, length + 1);
    return true;
}

bool StoreMediaText(BootPacket* packet, const char* text) {
    const std::size_t length = std::strlen(text);
    if (length >= MediaTextSize || !Fits(BootFileLength(packet), length)) return false;
    char* tail = packet->file + BootFileSize - length;
    tail[-1] = '\0';
    std::memcpy(tail, text, length);
    return true;
}

void CopyMediaText(const BootPacket* packet, char* text) {
    if (packet->cookie.bytes[0] == 0) return;
    std::size_t length = MediaTextLength(packet);
    if (length >= MediaTextSize) length = MediaTextSize - 1;
    std::memcpy(text, packet->file + BootFileSize - length, length);
    text[length] = '\0';
}

void ReadAlias(const char* bootFile, const char* otherwise, char* alias, DWORD size, const char* path) {
    GetPrivateProfileStringA("File Aliases", bootFile, otherwise, alias, size, path);
}

bool ReplaceByAlias(BootPacket* packet, const char* path, SectionMemo* memo) {
    if (packet->file[0] == '\0') return true;
    const std::string* known = memo != nullptr ? RecallAlias(memo, packet->file, path) : nullptr;
    if (known != nullptr) return StoreBootFile(packet, known->c_str());
    char alias[BootFileSize + 1];  // an alias of 128 characters shows that it is too long
    ReadAlias(packet->file, packet->file, alias, sizeof alias, path);
    return StoreBootFile(packet, alias);
}
